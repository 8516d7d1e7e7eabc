#include "profile/findings.h"
#include "profile/names.h"
#include "profile/options.h"
#include "profile/repository.h"
#include "safety/change.h"
#include "subcommands/commands.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <set>
#include <unistd.h>

namespace
{

namespace fs = std::filesystem;

struct DeleteOptions {
    Selector selector;
    int32_t state = 0;
    bool is_all_states = false;
    bool is_confirmed = false;
    bool is_dry_run = false;
};

std::vector<Selector> states_of(const DeleteOptions &options)
{
    std::vector<Selector> states;
    for (const int32_t state : STATES) {
        if (options.is_all_states || options.state == state) {
            states.push_back(options.selector.with_state(state));
        }
    }
    return states;
}

std::set<fs::path> existing_files(const std::vector<Selector> &states)
{
    std::set<fs::path> files;
    for (const Selector &state : states) {
        for (const fs::path &file : state.files()) {
            if (name_exists(file)) {
                files.insert(file);
            }
        }
    }
    return files;
}

void ask(const std::set<fs::path> &files)
{
    if (isatty(STDIN_FILENO) == 0) {
        throw Failure(USAGE, "delete asks for confirmation on a terminal only", {"give --yes"});
    }
    for (const fs::path &file : files) {
        std::fprintf(stderr, "  %s\n", file.c_str());
    }
    std::fprintf(stderr, "delete these? [y/N] ");
    std::string answer;
    std::getline(std::cin, answer);
    answer = lower_case_name(answer);
    if (answer != "y" && answer != "yes") {
        throw Failure(FAILED, "nothing was deleted");
    }
}

// The library also deletes files of the same names directly in the local directory. If they are the flat copies of
// another profile, the default SDR's local one, they are put back.
uint64_t delete_files(const std::vector<Selector> &states, Change &change)
{
    std::vector<fs::path> saved;
    std::vector<fs::path> foreign_copies;
    for (const Selector &state : states) {
        const std::vector<fs::path> own = state.files();
        saved.insert(saved.end(), own.begin(), own.end());
        for (const fs::path &name : {own[0].filename(), own[1].filename()}) {
            if (std::ranges::count(own, VERD_LOCAL_DIRECTORY / name) == 0) {
                foreign_copies.push_back(VERD_LOCAL_DIRECTORY / name);
            }
        }
    }
    saved.insert(saved.end(), foreign_copies.begin(), foreign_copies.end());
    change.prepare(saved, 0);
    for (const Selector &state : states) {
        const uint64_t rc = inst_ldpath_delete_swprofile_file(state.path().c_str());
        if (rc != 0) {
            return rc;
        }
    }
    for (const fs::path &file : foreign_copies) {
        change.put_back(file);
    }
    const std::set<fs::path> left = existing_files(states); // the library returns 0 even if it could not delete a file
    if (!left.empty()) {
        throw Failure(FAILED, "cannot delete " + left.begin()->string());
    }
    return 0;
}

void delete_profiles(const DeleteOptions &options)
{
    if (options.is_all_states == (options.state != 0)) {
        throw Failure(USAGE, "no state given", {"give --state or --all-states"});
    }
    const std::vector<Selector> states = states_of(options);
    const std::set<fs::path> asked = existing_files(states);
    if (!options.is_dry_run && !options.is_confirmed && !asked.empty()) {
        ask(asked); // before any lock: the answer may take long
    }
    Change change(options.selector, options.is_dry_run, true);
    const std::set<fs::path> files = existing_files(states);
    if (!options.is_confirmed && files != asked) {
        throw Failure(FAILED, "nothing was deleted", {"the files changed while delete waited for the answer"},
                      "swprofile list");
    }
    if (files.empty()) {
        throw Failure(NO_PROFILE, "there is no such profile", {"no file " + states.front().path()}, "swprofile list");
    }
    for (const Selector &state : states) {
        state.note_shared(inspect(state).profile);
    }
    if (!options.is_dry_run) {
        change.run("delete the profile", states, [&](ErrorText &) { return delete_files(states, change); });
    }
    for (const fs::path &file : files) {
        std::printf("%s %s\n", options.is_dry_run ? "would delete" : "deleted", file.c_str());
    }
}

} // namespace

void add_delete(CLI::App &command)
{
    const auto [subcommand, options] =
        new_subcommand<DeleteOptions>(command, "delete", "Delete one state of a profile, or all", delete_profiles);
    add_profile_options(subcommand, options.selector);
    CLI::Option *const state = add_state_option(subcommand, "--state", options.state);
    subcommand.add_flag("--all-states", options.is_all_states, "delete committed, active and prepared")
        ->excludes(state);
    subcommand.add_flag("--yes", options.is_confirmed, "do not ask for confirmation");
    add_change_options(subcommand, options.is_dry_run);
    subcommand.footer("The global LC QX profile of an SDR is its global QX profile.\n\n"
                      "Examples:\n"
                      "  swprofile delete --state prepared\n"
                      "  swprofile delete --sdr spare-sdr --all-states --yes");
}
