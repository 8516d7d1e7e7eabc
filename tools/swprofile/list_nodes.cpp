#include "commands.h"
#include "names.h"
#include "nodes.h"
#include "profile_json.h"
#include "table.h"

#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    bool is_json = false;
};

std::string packages_text(const inst_sw_profile_info &body)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    std::string text;
    for (uint32_t i = 0; i < count; ++i) {
        text += i == 0 ? "" : " ";
        text += shown(packages[i].name);
    }
    return text.empty() ? "-" : text;
}

void print_human(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    std::vector<TableRow> rows = {{"NODES", "IMAGE", "VERSION", "PACKAGES"}};
    for (const inst_sw_profile_loc *const location : locations_of(profile)) {
        const inst_sw_profile_info &body = location->sw_profile;
        rows.push_back(
            {nodes_text(nodes_of(*location)), shown(body.image.name), shown(body.version), packages_text(body)});
    }
    if (rows.size() == 1) {
        std::printf("no location profiles in the %s\n", selector.describe().c_str());
    } else {
        std::printf("%s", format_table(rows).c_str());
    }
}

void run(const Options &options)
{
    const Profile profile = options.selector.fetch();
    if (options.is_json) {
        print_json(locations_json(*profile, options.selector));
    } else {
        print_human(*profile, options.selector);
    }
}

} // namespace

void add_nodes(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const nodes = command.add_subcommand("nodes", "List the location profiles: what some nodes run beside");
    add_selector_options(*nodes, options->selector);
    nodes->add_flag("--json", options->is_json, "as JSON, schema 1");
    nodes->footer("Examples:\n"
                  "  swprofile nodes\n"
                  "  swprofile nodes --json | jq -r '.location_profiles[].nodes[]'");
    nodes->callback([options] { run(*options); });
}
