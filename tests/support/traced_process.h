// Runs a program and stops it at every system call, to kill it, to make the call fail, or to send a signal.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

struct SystemCall {
    int number; // counted from 1
    long id;    // SYS_write, ...
    pid_t process;

    std::string path() const; // of the file that the call names or writes to
};

struct Intervention {
    enum { NONE, KILL, FAIL, SIGNAL } kind = NONE;
    int value = 0; // errno or signal
};

struct TracedRun {
    int status; // as of waitpid()
    int calls;  // counted system calls
};

// The calls of a program are counted from its first flock() on; earlier ones are start-up. Its children are not traced.
TracedRun run_traced(const std::vector<std::string> &arguments,
                     const std::function<Intervention(const SystemCall &)> &at_call);

// Makes a call in a process of its own, and waits for that process and its children.
TracedRun run_traced(const std::function<void()> &call, const std::function<Intervention(const SystemCall &)> &at_call);
