// How the command fails: a message, an exit code, and what the library said.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

enum ExitCode { DONE = 0, FAILED = 1, USAGE = 2, NO_PROFILE = 3, INVALID_DATA = 4 };

// The exit code of subcommands that answer with it: NO isn't a failure, and what elsewhere is FAILED is TROUBLE.
enum AnswerCode { YES = 0, NO = 1, TROUBLE = 2 };

// From here on the subcommand answers; and ends the command with its answer.
void begin_to_answer();
[[noreturn]] void answer(bool is_yes);

// Thrown by answer().
struct Answer {
    AnswerCode code;
};

// What the command exits with after a failure.
int exit_code_of_failure(int code);

struct Failure : std::runtime_error {
    Failure(ExitCode code, const std::string &message, std::vector<std::string> reasons = {})
        : std::runtime_error(message), exit_code(code), details(std::move(reasons))
    {
    }

    ExitCode exit_code;
    std::vector<std::string> details; // a line each
};

// The error text of a call into the library; pass slot() as its err_msg_p.
class ErrorText
{
public:
    ErrorText() = default;
    ErrorText(const ErrorText &) = delete;
    ErrorText &operator=(const ErrorText &) = delete;
    ~ErrorText();

    char **slot() { return &text; }
    std::vector<std::string> entries() const; // without tags and ';'

private:
    char *text = nullptr;
};

// "INST_RC_NO_MEMORY, 0x40101278ca100802: out of memory"
std::string describe(uint64_t rc);

// What a failed call comes to.
Failure failure_of(uint64_t rc, const std::string &what, const ErrorText &text);
