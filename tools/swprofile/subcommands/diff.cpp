#include "profile/difference.h"
#include "profile/options.h"
#include "safety/lock.h"
#include "subcommands/commands.h"

#include <cstdio>

namespace
{

struct DiffOptions {
    Selector from;
    int32_t to = 0;
    bool is_json = false;
};

void compare_states(const DiffOptions &options)
{
    use_answer_codes();
    const Selector other = options.from.with_state(options.to);
    const auto [from, to] = [&] {
        const ReadLock lock(other.is_local);
        return std::pair(options.from.fetch(), other.fetch());
    }();
    const std::vector<Difference> changes = differences(*from, *to);
    if (options.is_json) {
        print_json({{"from", verd_state_name(options.from.state)},
                    {"to", verd_state_name(options.to)},
                    {"equal", changes.empty()},
                    {"changes", list_json(changes, difference_json)}});
    } else if (!changes.empty()) {
        std::printf("--- %s\n+++ %s\n", options.from.describe().c_str(), other.describe().c_str());
        print_differences(changes);
    }
    answer(changes.empty());
}

} // namespace

void add_diff(CLI::App &command)
{
    const auto [diff, options] = new_subcommand<DiffOptions>(
        command, "diff", "List the differences between two states. Exit code 0: none, 1: some", compare_states);
    options.from.state = 0; // must be given
    add_state_option(diff, "FROM", options.from.state)->required();
    add_state_option(diff, "TO", options.to)->required();
    add_profile_options(diff, options.from);
    add_json_option(diff, options.is_json);
    add_wait_options(diff);
    diff.footer(
        "One line for each package, service pack, base RPM or location profile that was added (+), removed (-) or\n"
        "changed (~), and for image, version and other fields. The logical volume is not compared. Without\n"
        "differences, only --json prints anything.\n\n"
        "Examples:\n"
        "  swprofile diff active prepared\n"
        "  swprofile diff committed active --vm admin --json | jq -r '.changes[].name'");
}
