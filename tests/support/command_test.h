// Runs the command, as a person or a script does.
#pragma once

#include "support/repository_test.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <sys/wait.h>

struct Ran {
    int code;
    std::string out;
    std::string err;
};

class CommandTest : public RepositoryTest
{
protected:
    static Ran run(const std::string &arguments)
    {
        const int status = std::system((SWPROFILE " " + arguments + " >/tmp/out 2>/tmp/err").c_str());
        const Ran result = {WEXITSTATUS(status), read_file("/tmp/out"), read_file("/tmp/err")};
        const bool is_answer = result.code == 1 && (result.err == "" || result.err.starts_with("swprofile: note: "));
        if (result.code != 0 && !is_answer) {
            EXPECT_EQ(result.out, "") << arguments; // failures print nothing to standard output
            EXPECT_TRUE(result.err.starts_with("swprofile: ")) << result.err;
        }
        return result;
    }

    // Prints a run with its exit code and its output.
    Ran tell_run(const std::string &arguments)
    {
        const Ran result = run(arguments);
        record_line("$ swprofile " + arguments + "\n" + result.out + result.err + "(exit code " +
                    std::to_string(result.code) + ")");
        return result;
    }

    static nlohmann::json json_of(const std::string &arguments)
    {
        const nlohmann::json json = nlohmann::json::parse(run(arguments).out);
        EXPECT_EQ(json["schema"], 1);
        return json;
    }

    const std::string create = "create --image image.iso --version 1.4.0 ";
};
