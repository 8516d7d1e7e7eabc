#include "profile/nodes.h"
#include "profile/names.h"
#include "profile/options.h"
#include "profile/output.h"
#include "safety/lock.h"
#include "subcommands/commands.h"

#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    bool is_json = false;
};

std::string packages_text(const inst_sw_profile_info &body)
{
    std::string text;
    for (const inst_swp_package &package : packages_of(body)) {
        text += (text.empty() ? "" : " ") + shown(package.name);
    }
    return text.empty() ? "-" : text;
}

void print_human(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    std::vector<TableRow> rows = {{"NODES", "IMAGE", "VERSION", "PACKAGES"}};
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        const inst_sw_profile_info &body = location.sw_profile;
        rows.push_back(
            {nodes_text(nodes_of(location)), shown(body.image.name), shown(body.version), packages_text(body)});
    }
    if (rows.size() == 1) {
        std::printf("no location profiles in the %s\n", selector.describe().c_str());
    } else {
        print_table(rows);
    }
}

void run(const Options &options)
{
    const Profile profile = fetch_locked(options.selector);
    if (options.is_json) {
        const Json json = profile_json(*profile, options.selector);
        print_json({{"location_profiles", json.value("location_profiles", Json::array())}});
    } else {
        print_human(*profile, options.selector);
    }
}

} // namespace

void add_nodes(CLI::App &command)
{
    const auto [nodes, options] =
        new_subcommand<Options>(command, "nodes", "List the location profiles: additions for some nodes", run);
    add_selector_options(nodes, options.selector);
    add_json_option(nodes, options.is_json);
    add_wait_options(nodes);
    nodes.footer("Examples:\n"
                 "  swprofile nodes\n"
                 "  swprofile nodes --json | jq -r '.location_profiles[].nodes[]'");
}
