// Runs a program or a function in a process that stops at every system call, to kill it, to let the call fail, or to
// send a signal. Its sleeps return at once.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

struct SystemCall {
    int number; // counted from 1
    long id;    // SYS_write, ...
    pid_t process;

    std::string path() const; // of the file that the call names or writes to
};

struct Intervention {
    int signal = 0; // is sent before the call; SIGKILL prevents the call
    int error = 0;  // errno with which the call fails, without doing anything
};

using AtCall = std::function<Intervention(const SystemCall &)>; // null: never intervenes

struct TracedRun {
    int status; // as of waitpid()
    int calls;  // counted system calls
};

// Runs a command line, with output to /tmp/out and /tmp/err. Its calls are counted from its first flock() on; earlier
// calls are start-up. Its children are not traced.
TracedRun run_traced(const std::string &command, const AtCall &at_call);

// Calls a function in a new process, and waits for that process and its children. All calls are counted.
TracedRun call_traced(const std::function<uint64_t()> &function, const AtCall &at_call);
