// The subcommands that print what nodes run.
#include "profile/nodes.h"
#include "profile/names.h"
#include "profile/options.h"
#include "profile/output.h"
#include "safety/lock.h"
#include "subcommands/commands.h"

#include <algorithm>
#include <cstdio>

namespace
{

struct NodesOptions {
    Selector selector;
    bool is_json = false;
};

// One node and one package per row.
void add_rows(std::vector<TableRow> &rows, const inst_sw_profile_loc &location)
{
    const inst_sw_profile_info &body = location.sw_profile;
    const std::span<inst_node_loc> nodes = nodes_of(location);
    const std::span<inst_swp_package> packages = packages_of(body);
    for (std::size_t i = 0; i == 0 || i < std::max(nodes.size(), packages.size()); ++i) {
        const std::string none = i == 0 ? "-" : "";
        rows.push_back({i < nodes.size() ? node_text(nodes[i]) : none, i == 0 ? printable(body.image.name) : "",
                        i == 0 ? printable(body.version) : "",
                        i < packages.size() ? printable(packages[i].name) : none});
    }
}

void print_human(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    std::vector<TableRow> rows = {{"NODES", "IMAGE", "VERSION", "PACKAGES"}};
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        add_rows(rows, location);
    }
    if (rows.size() == 1) {
        std::printf("no location profiles in the %s\n", selector.describe().c_str());
    } else {
        print_table(rows);
    }
}

void list_location_profiles(const NodesOptions &options)
{
    const Profile profile = fetch_locked(options.selector);
    if (options.is_json) {
        const Json json = profile_json(*profile, options.selector);
        print_json({{"location_profiles", json.value("location_profiles", Json::array())}});
    } else {
        print_human(*profile, options.selector);
    }
}

struct VersionOptions {
    std::string node;
    std::optional<std::string> version;
};

// The active Admin profile: the global one or, if that cannot be read, the local one.
Profile fetch_admin()
{
    Selector global;
    global.vm_type = VERD_VM_ADMIN;
    Selector local = global;
    local.is_local = true;
    global.check_readable();
    local.check_readable();
    try {
        return global.fetch();
    } catch (Failure &failure) {
        try {
            return local.fetch();
        } catch (const Failure &second) {
            failure.details.emplace_back(second.what());
        }
        throw;
    }
}

void print_version(const inst_node_loc &node)
{
    const Profile profile = fetch_admin();
    const inst_sw_profile_loc *const location = location_of(*profile, node);
    const bool has_own = location != nullptr && inst_sw_profile_info_has_version(&location->sw_profile);
    const inst_sw_profile_info &body = has_own ? location->sw_profile : profile->sdr_sw_profile.sw_profile;
    std::printf("%s\n", printable(body.version).c_str());
}

void compare(const inst_node_loc &node, const std::string &version)
{
    static_cast<void>(fetch_admin()); // fails with the reason if there is none
    uint8_t is_equal = 0;
    const uint64_t rc = instmgr_cmp_sw_version(node.loc_id_1, node.loc_id_2, node.loc_id_3, version.c_str(), &is_equal);
    if (rc != 0) {
        throw failure_of(rc, "cannot compare the version");
    }
    std::printf("%s\n", is_equal != 0 ? "equal" : "different");
    answer(is_equal != 0);
}

void run_version(const VersionOptions &options)
{
    const inst_node_loc node = *parse_node(options.node);
    if (options.version) {
        use_answer_codes();
    }
    const ReadLock lock;
    if (options.version) {
        compare(node, *options.version);
    } else {
        print_version(node);
    }
}

} // namespace

void add_nodes(CLI::App &command)
{
    const auto [nodes, options] =
        new_subcommand<NodesOptions>(command, "nodes", "List the location profiles", list_location_profiles);
    add_selector_options(nodes, options.selector);
    add_json_option(nodes, options.is_json);
    add_wait_options(nodes);
    nodes.footer("Examples:\n"
                 "  swprofile nodes\n"
                 "  swprofile nodes --json | jq -r '.location_profiles[].nodes[]'");
}

void add_node_version(CLI::App &command)
{
    const auto [version, options] = new_subcommand<VersionOptions>(
        command, "node-version",
        "Print the version that a node should run, or compare it: exit code 0 equal, 1 different", run_version);
    version.add_option("NODE", options.node, "three numbers A/B/C")->required()->check(node_fault);
    version.add_option("VERSION", options.version, "the version that it runs")->check(text_fault);
    add_wait_options(version);
    version.footer(
        "The version is that of the active Admin profile: the global one or, if that cannot be read, the local one.\n"
        "It is taken from the first location profile that lists the node or, if there is none or it has no version,\n"
        "from the profile itself.\n\n"
        "Examples:\n"
        "  swprofile node-version 0/1/0\n"
        "  swprofile node-version 0/1/0 1.4.0");
}
