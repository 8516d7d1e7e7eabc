// Disturbs changes of profiles, and compares the files afterwards with those before and after an undisturbed change.
#pragma once

#include "support/command_test.h"
#include "support/traced_process.h"

inline constexpr char JOURNAL[] = "/install_repo/gl/instdb/.swprofile-undo";

// A change, by a command or by a call of the library, of a repository that commands have prepared.
struct Operation {
    const char *name;
    std::vector<std::string> preparation;
    // If `call` is null, the arguments of the command that makes the change; otherwise, those of a command that repeats
    // the change after a kill, or "".
    std::string arguments;
    std::function<uint64_t()> call = nullptr;
};

struct State {
    Files files;
    std::string checked; // output of check
    bool operator==(const State &) const = default;
};

// Builds by clang and with AddressSanitizer disturb each operation less often.
class SafetyTest : public CommandTest
{
protected:
    // Prepares the repository and runs the operation once undisturbed.
    void prepare(const Operation &to_disturb);

    // Prepares each operation. For every step-th of its system calls (fewer in some builds; every SWP_STEP-th, if that
    // is set), restores the prepared repository and calls `disturb` with the system call's number. Returns how often it
    // has called `disturb`.
    int at_system_calls(const std::vector<Operation> &operations, int step, const std::function<void(int)> &disturb);

    // Prepares each operation in a small file system, and runs it with more and more free pages. `is_complete` gets the
    // status, and returns whether the space sufficed.
    void in_little_space(const std::vector<Operation> &operations, const std::function<bool(int)> &is_complete);

    TracedRun run_operation(const AtCall &at_call) const;

    // The next command undoes an unfinished change, so that the state is the one before or after the operation. Returns
    // whether it is the one after it.
    bool expect_old_or_new() const;

    // After a change by the library, which has no journal: check must report each file that is neither the old nor the
    // new one, and every mixture of both.
    enum Outcome { OLD, NEW, MIXTURE };
    Outcome expect_old_new_or_reported() const;

    // Runs shell scripts at the same time, with output to /tmp/log, and returns how many failed.
    static int run_at_once(const std::vector<std::string> &scripts);

    static int trace(const std::string &arguments, const AtCall &at_call)
    {
        return run_traced(SWPROFILE + " " + arguments, at_call).status;
    }

    Operation operation;
    State before, after;
    int calls = 0; // of the undisturbed operation
};

inline AtCall at_number(int number, Intervention what)
{
    return [=](const SystemCall &call) { return call.number == number ? what : Intervention(); };
}
