// Runs the command, as a person or a script does.
#pragma once

#include "support/repository_test.h"

#include <map>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <sys/wait.h>

inline const std::string SWPROFILE = fs::read_symlink("/proc/self/exe").parent_path() / "swprofile";

struct Ran {
    int code;
    std::string out;
    std::string err;
};

inline testing::AssertionResult has(const std::string &text, const std::string &part)
{
    return text.find(part) != std::string::npos
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << "no '" << part << "' in: " << text << "\n";
}

inline const std::string create = "create --image image.iso --version 1.4.0 ";

inline Ran run(const std::string &arguments, const std::string &wrapper = "")
{
    const std::string command = wrapper + SWPROFILE + " " + arguments + " >/tmp/out 2>/tmp/err";
    const int status = std::system(command.c_str());
    const Ran result = {WEXITSTATUS(status), read_file("/tmp/out"), read_file("/tmp/err")};
    const bool is_answer = result.code == 1 && (result.err == "" || result.err.starts_with("swprofile: note: "));
    if (result.code != 0 && !is_answer) {
        EXPECT_EQ(result.out, "") << arguments; // failures print nothing to standard output
        EXPECT_TRUE(result.err.starts_with("swprofile: ")) << result.err;
    }
    return result;
}

struct Step {
    std::string arguments;
    int code;
    std::string output; // all of standard output and error if it ends with a newline, otherwise a part of them
};
inline const std::string NO_OUTPUT = "(no output)";

inline void expect(const std::vector<Step> &steps)
{
    for (const auto &[arguments, code, expected] : steps) {
        const Ran result = run(arguments);
        const std::string output = result.out + result.err;
        EXPECT_EQ(result.code, code) << arguments << "\n" << result.err;
        EXPECT_TRUE(expected == NO_OUTPUT      ? output.empty()
                    : expected.ends_with('\n') ? output == expected
                                               : output.find(expected) != std::string::npos)
            << arguments << "\n"
            << expected << "\ninstead of " << output;
    }
}

inline nlohmann::json json_of(const std::string &arguments)
{
    const nlohmann::json json = nlohmann::json::parse(run(arguments).out);
    EXPECT_EQ(json["schema"], 1);
    return json;
}

using Files = std::map<std::string, std::string>; // path to content, which is "directory" for a directory

// The files of the repository without the headers of text twins, which contain the time, and without logs.
inline Files repository(bool with_times = false)
{
    Files files;
    for (const char *const folder : {"/install_repo/gl", "/install_repo/local", "/install_repo/tmp"}) {
        if (!fs::exists(folder)) {
            continue;
        }
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(folder)) {
            std::string &content = files[entry.path()] = "directory";
            if (entry.is_regular_file()) {
                content = read_file(entry.path());
                content.erase(0, entry.path().extension() == ".txt" ? content.find("\n\n") : 0);
                content += with_times ? std::to_string(entry.last_write_time().time_since_epoch().count()) : "";
            }
        }
    }
    files.erase("/install_repo/gl/instdb"); // created by the first command that locks it
    return files;
}

class CommandTest : public RepositoryTest
{
protected:
    // Adds a run with its exit code and output to the transcript.
    void record_run(const std::string &arguments)
    {
        const Ran result = run(arguments);
        record_line("$ swprofile " + arguments + "\n" + result.out + result.err + "(exit code " +
                    std::to_string(result.code) + ")");
    }
};
