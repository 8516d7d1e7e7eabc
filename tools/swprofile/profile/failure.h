// How the command fails: a message, its causes, the next step, and an exit code.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

enum ExitCode { DONE = 0, FAILED = 1, USAGE = 2, NO_PROFILE = 3, INVALID_DATA = 4 };

// The exit codes of yes/no subcommands follow grep: 0 yes, 1 no, 2 failed.
enum AnswerCode { YES = 0, NO = 1, TROUBLE = 2 };

// After this call, report() returns TROUBLE (2) for FAILED (1).
void use_answer_codes();

// Ends the command with YES or NO.
[[noreturn]] void answer(bool is_yes);

// Thrown by answer().
struct Answer {
    AnswerCode code;
};

struct Failure : std::runtime_error {
    Failure(int code, const std::string &message, std::vector<std::string> lines = {}, std::string command = "")
        : std::runtime_error(message), exit_code(code), details(std::move(lines)), hint(std::move(command))
    {
    }

    int exit_code;                    // an ExitCode, or 128 + a signal
    std::vector<std::string> details; // one line each
    std::string hint;                 // a command to type, or ""
};

// Prints a failure and returns the exit code for it.
int report(const Failure &failure);

// The error text of a call into the library; pass slot() as its err_msg_p.
class ErrorText
{
public:
    ErrorText() = default;
    ErrorText(const ErrorText &) = delete;
    ErrorText &operator=(const ErrorText &) = delete;
    ~ErrorText() { std::free(text); }

    char **slot() { return &text; }
    std::vector<std::string> entries() const; // without tags and ';'

private:
    char *text = nullptr;
};

// The Failure of a library call: its error text and the meaning of its result code. The code itself is logged.
Failure failure_of(uint64_t rc, const std::string &what, const ErrorText &text = {});

// A note to standard error; it does not make the command fail.
void note(const std::string &text);
