#include "commands.h"
#include "difference.h"
#include "frame/enumerations.h"
#include "selector.h"

#include <cstdio>

namespace
{

struct Options {
    Selector from;
    int32_t to = 0;
    bool is_json = false;
};

void run(const Options &options)
{
    begin_to_answer();
    Selector other = options.from;
    other.state = options.to;
    const Profile from = options.from.fetch();
    const Profile to = other.fetch();
    const std::vector<Change> changes = changes_between(*from, *to);
    if (options.is_json) {
        Json list = Json::array();
        for (const Change &change : changes) {
            list.push_back(change_json(change));
        }
        print_json({{"schema", JSON_SCHEMA},
                    {"from", state_name(options.from.state)},
                    {"to", state_name(options.to)},
                    {"equal", changes.empty()},
                    {"changes", list}});
    } else if (!changes.empty()) {
        std::printf("--- %s\n+++ %s\n", options.from.describe().c_str(), other.describe().c_str());
        print_changes(changes);
    }
    answer(changes.empty());
}

} // namespace

void add_diff(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    options->from.state = 0; // to be given
    CLI::App *const diff =
        command.add_subcommand("diff", "What differs between two states? Exit code 0: nothing, 1: something");
    add_state_option(*diff, "FROM", options->from.state)->required();
    add_state_option(*diff, "TO", options->to)->required();
    add_sdr_option(*diff, options->from);
    add_vm_option(*diff, options->from);
    add_scope_option(*diff, options->from);
    diff->add_flag("--json", options->is_json, "as JSON, schema 1");
    diff->footer(
        "A line for each package, service pack, base RPM or location profile that was added (+), removed (-) or\n"
        "changed (~), and for image, version and other fields. The volume doesn't count. Nothing is printed when\n"
        "nothing differs.\n\n"
        "Examples:\n"
        "  swprofile diff active prepared\n"
        "  swprofile diff committed active --vm admin --json | jq -r '.changes[].name'");
    diff->callback([options] { run(*options); });
}
