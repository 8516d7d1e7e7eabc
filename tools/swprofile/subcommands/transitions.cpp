// The subcommands that copy or move one state of a profile over another.
#include "profile/difference.h"
#include "profile/findings.h"
#include "profile/options.h"
#include "profile/repository.h"
#include "safety/change.h"
#include "subcommands/commands.h"

#include <cstdio>

namespace
{

struct TransitionOptions {
    Selector from;
    int32_t to = 0;
    bool is_move = false;
    bool is_dry_run = false;
};

// The source must be consistent, and have the SDR and VM type of its place.
Profile fetch_source(const Selector &from)
{
    Profile source = fetch_own(from);
    from.check_writable();
    for (const Finding &finding : inspect(from).findings) {
        if (is_about_files(finding)) {
            throw Failure(INVALID_DATA, "the files of the " + from.describe() + " are inconsistent", {text_of(finding)},
                          from.command("repair"));
        }
    }
    return source;
}

uint64_t transfer(const TransitionOptions &options, Change &change, const Selector &to, ErrorText &error)
{
    const Selector &from = options.from;
    std::vector<std::filesystem::path> files = to.files();
    const std::vector<std::filesystem::path> sources = from.files();
    const uint64_t growth = options.is_move ? 0 : Change::growth(to, size_of(sources[0]), size_of(sources[1]));
    if (options.is_move) {
        files.insert(files.end(), sources.begin(), sources.end());
    }
    change.prepare(files, growth);
    change.expect(to, content_of(sources[0]));
    return options.is_move
               ? inst_ldpath_swp_move_prep_to_act(from.sdr.c_str(), from.is_local, from.vm_type, error.slot())
               : inst_ldpath_swp_copy(from.sdr.c_str(), from.is_local, from.vm_type, from.state, to.state,
                                      error.slot());
}

void change_state(const TransitionOptions &options)
{
    const Selector &from = options.from;
    const Selector to = from.with_state(options.to);
    if (from.state == to.state) {
        throw Failure(USAGE, "both states are the same");
    }
    Change change(from, options.is_dry_run);
    const Profile source = fetch_source(from);
    to.check_writable();
    const Inspection target = inspect(to);
    to.note_shared(target.profile);
    const std::string verb = options.is_move ? "promote" : "copy";
    const std::string what = " the " + from.describe() + " to " + verd_state_name(to.state);
    if (!options.is_dry_run) {
        change.run(verb + what, {from, to}, [&](ErrorText &error) { return transfer(options, change, to, error); });
    }
    const std::string done = options.is_dry_run ? "would " + verb : options.is_move ? "promoted" : "copied";
    std::printf("%s%s\n", done.c_str(), what.c_str());
    print_replaced(to, target, *source);
}

void add_transition(CLI::App &command, const char *name, int32_t from, int32_t to, bool is_move, const char *help,
                    const char *footer)
{
    const auto [subcommand, options] = new_subcommand<TransitionOptions>(command, name, help, change_state);
    options.from.state = from;
    options.to = to;
    options.is_move = is_move;
    if (from == 0) {
        add_state_option(subcommand, "--from", options.from.state)->required();
        add_state_option(subcommand, "--to", options.to)->required();
    }
    add_profile_options(subcommand, options.from);
    add_change_options(subcommand, options.is_dry_run);
    subcommand.footer(footer);
}

} // namespace

void add_transitions(CLI::App &command)
{
    add_transition(command, "promote", VERD_SWP_PREPARED, VERD_SWP_ACTIVE, true,
                   "Make the prepared profile the active one",
                   "Prints the differences from the active profile, which is replaced. Commit it first to keep it.\n\n"
                   "Examples:\n"
                   "  swprofile promote --dry-run\n"
                   "  swprofile promote --vm lc-qx --local");
    add_transition(command, "commit", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, false,
                   "Copy the active profile over the committed one",
                   "Prints the differences from the committed profile, which is replaced.\n\n"
                   "Example:\n"
                   "  swprofile commit");
    add_transition(command, "rollback", VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, false,
                   "Copy the committed profile over the active one",
                   "Prints the differences from the active profile, which is replaced.\n\n"
                   "Example:\n"
                   "  swprofile rollback --dry-run");
    add_transition(command, "copy", 0, 0, false, "Copy a state of a profile over another one",
                   "Prints the differences from the profile that is replaced. See also commit and rollback.\n\n"
                   "Example, a profile to be edited and promoted:\n"
                   "  swprofile copy --from active --to prepared");
}
