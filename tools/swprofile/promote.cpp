#include "commands.h"
#include "selector.h"

#include <cstdio>

namespace
{

// What was said of a failure, and where there is more.
Failure failure_to(const std::string &what, uint64_t rc, const ErrorText &error)
{
    Failure failure = failure_of(rc, what, error);
    failure.details.emplace_back("some files may have been changed; see swprofile list, and the log in "
                                 "/install_repo/log/install.log");
    return failure;
}

void promote(const Selector &prepared)
{
    static_cast<void>(prepared.fetch()); // a damaged one isn't to become the active one
    Selector active = prepared;
    active.state = VERD_SWP_ACTIVE;
    prepared.check_files();
    active.check_files();
    ErrorText error;
    const uint64_t rc =
        inst_ldpath_swp_move_prep_to_act(prepared.sdr.c_str(), prepared.is_local, prepared.vm_type, error.slot());
    if (rc != 0) {
        throw failure_to("can't promote the " + prepared.describe(), rc, error);
    }
    static_cast<void>(active.fetch_stored());
    std::printf("the %s is now the active one\n%s\n", prepared.describe().c_str(), active.path().c_str());
}

struct CopyOptions {
    Selector from;
    int32_t to = 0;
};

void copy(const CopyOptions &options)
{
    const Selector &from = options.from;
    Selector to = from;
    to.state = options.to;
    if (from.state == to.state) {
        throw Failure(USAGE, "both states are the same");
    }
    static_cast<void>(from.fetch());
    from.check_files();
    to.check_files();
    ErrorText error;
    const uint64_t rc =
        inst_ldpath_swp_copy(from.sdr.c_str(), from.is_local, from.vm_type, from.state, to.state, error.slot());
    if (rc != 0) {
        throw failure_to("can't copy the " + from.describe(), rc, error);
    }
    static_cast<void>(to.fetch_stored());
    std::printf("copied the %s\n%s\n", from.describe().c_str(), to.path().c_str());
}

} // namespace

void add_promote(CLI::App &command)
{
    const auto prepared = std::make_shared<Selector>();
    prepared->state = VERD_SWP_PREPARED;
    CLI::App *const subcommand = command.add_subcommand("promote", "Make the prepared profile the active one");
    add_sdr_option(*subcommand, *prepared);
    add_vm_option(*subcommand, *prepared);
    add_scope_option(*subcommand, *prepared);
    subcommand->footer("The active profile before it is gone: copy it first to keep it.\n\n"
                       "Example:\n"
                       "  swprofile promote --vm lc-qx --local");
    subcommand->callback([prepared] { promote(*prepared); });
}

void add_copy(CLI::App &command)
{
    const auto options = std::make_shared<CopyOptions>();
    options->from.state = 0; // to be given
    CLI::App *const subcommand = command.add_subcommand("copy", "Copy a state of a profile over another one");
    add_sdr_option(*subcommand, options->from);
    add_vm_option(*subcommand, options->from);
    add_scope_option(*subcommand, options->from);
    add_state_option(*subcommand, "--from", options->from.state)->required();
    add_state_option(*subcommand, "--to", options->to)->required();
    subcommand->footer("Example, a change that is committed:\n"
                       "  swprofile copy --from active --to committed");
    subcommand->callback([options] { copy(*options); });
}
