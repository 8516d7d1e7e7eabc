// Disturbs changes of profiles, and compares the files afterwards with those before and after an undisturbed change.
#pragma once

#include "support/command_test.h"
#include "support/traced_process.h"

#include <map>

using Files = std::map<std::string, std::string>; // path to content

Files repository(); // without the headers of text twins, which contain the time

inline constexpr char JOURNAL[] = "/install_repo/gl/instdb/.swprofile-undo";

// A change, by a command or by a call of the library, of a repository that commands have prepared.
struct Operation {
    const char *name;
    std::vector<std::string> preparation;
    std::string arguments; // of the command; for a call: of the command that completes it after a kill, or none
    std::function<uint64_t()> call = nullptr;
};

struct State {
    Files files;
    std::string checked; // output of check
    bool operator==(const State &) const = default;
};

class SafetyTest : public CommandTest
{
protected:
    static State state();

    // Prepares the repository and runs the operation once undisturbed.
    void prepare(const Operation &to_disturb);

    // Prepares each operation, and calls `disturb` with the number of every sample-th system call, or of every
    // SWP_STEP-th. Returns how often.
    int at_system_calls(const std::vector<Operation> &operations, int sample, const std::function<void(int)> &disturb);

    static void restore(); // the prepared repository

    // Restores the prepared repository, runs the operation again, and returns its status.
    int intervene(const AtCall &at_call) const;

    // The next command undoes an unfinished change, so that the state is the one before or after the operation. Returns
    // whether it is the one after it.
    bool expect_old_or_new() const;

    // Runs shell scripts at the same time, with output to /tmp/log, and returns how many failed.
    static int run_at_once(const std::vector<std::string> &scripts);

    static int trace(const std::string &arguments, const AtCall &at_call)
    {
        return run_traced(SWPROFILE " " + arguments, at_call).status;
    }

    Operation operation;
    State before, after;
    int calls = 0; // of the undisturbed operation
};

inline AtCall at_number(int number, Intervention what)
{
    return [=](const SystemCall &call) { return call.number == number ? what : Intervention(); };
}
