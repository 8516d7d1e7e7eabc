#include "commands.h"
#include "location/repository.h"
#include "selector.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <set>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

struct Options {
    Selector selector;
    int32_t state = 0; // none: all of them
    bool is_sure = false;
};

std::vector<Selector> states_of(const Options &options)
{
    std::vector<Selector> states;
    for (const int32_t state : {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, VERD_SWP_PREPARED}) {
        if (options.state == 0 || options.state == state) {
            states.push_back(options.selector);
            states.back().state = state;
        }
    }
    return states;
}

bool is_there(const fs::path &file)
{
    std::error_code ignored;
    return fs::exists(fs::symlink_status(file, ignored));
}

// Is any file of its own there, be it a flat copy that an earlier failure has left?
bool has_profile(const std::vector<Selector> &states)
{
    return std::any_of(states.begin(), states.end(), [](const Selector &state) {
        const std::vector<fs::path> files = state.files();
        return std::any_of(files.begin(), files.end(), is_there);
    });
}

// What goes with them: also what is named like a flat copy of theirs, whosever it is.
std::set<std::string> files_there(const std::vector<Selector> &states)
{
    std::set<std::string> files;
    for (const Selector &state : states) {
        for (const fs::path &file : state.files()) {
            for (const fs::path &each : {file, repository::LOCAL_DIRECTORY / file.filename()}) {
                if (is_there(each)) {
                    files.insert(each.lexically_normal());
                }
            }
        }
    }
    return files;
}

void ask(const std::set<std::string> &files)
{
    if (isatty(STDIN_FILENO) == 0) {
        throw Failure(USAGE, "delete asks on a terminal only", {"give --yes"});
    }
    for (const std::string &file : files) {
        std::fprintf(stderr, "  %s\n", file.c_str());
    }
    std::fprintf(stderr, "delete these? [y/N] ");
    std::string answer;
    if (!std::getline(std::cin, answer) || (answer != "y" && answer != "yes")) {
        throw Failure(FAILED, "nothing was deleted");
    }
}

void run(const Options &options)
{
    const Selector &selector = options.selector;
    const std::vector<Selector> states = states_of(options);
    const std::set<std::string> files = files_there(states);
    if (!has_profile(states)) {
        throw Failure(NO_PROFILE, "there is no such profile", {"no file " + states.front().path()});
    }
    if (!options.is_sure) {
        ask(files);
    }
    const uint64_t rc = options.state == 0
                            ? inst_ldpath_delete_swprofile(selector.sdr.c_str(), selector.is_local, selector.vm_type)
                            : inst_ldpath_delete_swprofile_file(states.front().path().c_str());
    const std::set<std::string> left = files_there(states);
    if (rc != 0) {
        throw failure_of(rc, "can't delete the profile", ErrorText());
    }
    if (!left.empty()) { // which the library doesn't mind
        std::vector<std::string> details(left.begin(), left.end());
        for (const std::string &file : files) {
            if (!left.contains(file)) {
                details.push_back("deleted: " + file);
            }
        }
        throw Failure(FAILED, "some files can't be deleted", details);
    }
    for (const std::string &file : files) {
        std::printf("deleted %s\n", file.c_str());
    }
}

} // namespace

void add_delete(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const subcommand = command.add_subcommand("delete", "Delete a profile: all of its states, or one");
    add_sdr_option(*subcommand, options->selector);
    add_vm_option(*subcommand, options->selector);
    add_scope_option(*subcommand, options->selector);
    add_state_option(*subcommand, "--state", options->state);
    subcommand->add_flag("--yes", options->is_sure, "don't ask");
    subcommand->footer(
        "Files of the same names directly in /install_repo/local/ go as well, also with a global profile.\n"
        "The global LC QX profile of an SDR is its global QX profile.\n\n"
        "Examples:\n"
        "  swprofile delete --state prepared\n"
        "  swprofile delete --sdr spare-sdr --yes");
    subcommand->callback([options] { run(*options); });
}
