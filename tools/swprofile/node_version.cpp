#include "commands.h"
#include "names.h"
#include "nodes.h"
#include "selector.h"

#include <cstdio>

namespace
{

struct Options {
    std::string node;
    std::optional<std::string> version;
};

// The active Admin profile: the global one or, where that can't be read, the local one.
Profile fetch_admin()
{
    Selector global;
    global.vm_type = VERD_VM_ADMIN;
    Selector local = global;
    local.is_local = true;
    global.check_file();
    local.check_file();
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
    std::printf("%s\n", shown(body.version).c_str());
}

void compare(const inst_node_loc &node, const std::string &version)
{
    begin_to_answer();
    static_cast<void>(fetch_admin()); // tells what is wrong with it
    uint8_t is_equal = 0;
    const uint64_t rc = instmgr_cmp_sw_version(node.loc_id_1, node.loc_id_2, node.loc_id_3, version.c_str(), &is_equal);
    if (rc != 0) {
        throw failure_of(rc, "can't compare the version", ErrorText());
    }
    std::printf("%s\n", is_equal != 0 ? "equal" : "different");
    answer(is_equal != 0);
}

void run(const Options &options)
{
    const inst_node_loc node = *parse_node(options.node);
    if (options.version) {
        compare(node, *options.version);
    } else {
        print_version(node);
    }
}

} // namespace

void add_node_version(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const version = command.add_subcommand(
        "node-version", "Print the version that a node should run, or compare it: exit code 0 equal, 1 different");
    version->add_option("NODE", options->node, "three numbers A/B/C")->required()->check(node_fault);
    version->add_option("VERSION", options->version, "what it runs")->check(text_fault);
    version->footer(
        "The active Admin profile tells, the global one or, where that can't be read, the local one: the first\n"
        "location profile that lists the node or, when none does or it has no version, the profile itself.\n\n"
        "Examples:\n"
        "  swprofile node-version 0/1/0\n"
        "  swprofile node-version 0/1/0 1.4.0");
    version->callback([options] { run(*options); });
}
