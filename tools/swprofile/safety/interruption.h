// Signals that ask the command to end: they are remembered, so that the current step completes before the change is
// undone.
#pragma once

// From now on, SIGINT, SIGTERM, SIGHUP and SIGPIPE are remembered, unless they are ignored.
void catch_signals();

// The signal that has arrived, or 0.
int caught_signal();

// If a signal has arrived, throws a Failure with exit code 128 + signal.
void fail_if_interrupted();
