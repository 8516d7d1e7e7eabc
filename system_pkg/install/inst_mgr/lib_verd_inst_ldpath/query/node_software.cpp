// Queries the active Admin profile about a node.
#include "frame/report.h"
#include "persist/owned_profile.h"

#include <algorithm>
#include <cstring>

TRACE_SITES_BEGIN(node_software)

namespace
{

using Info = inst_sw_profile_info;
using Location = inst_sw_profile_loc;

// Fetches the active global Admin profile or, if that fails, the local one.
uint64_t fetch_active_admin(const char *function, OwnedProfile &profile)
{
    uint64_t rc = inst_ldpath_get_swprofile(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &profile.record, nullptr);
    if (rc == 0 && profile.record != nullptr) {
        return 0;
    }
    REPORT("WARNING! %s inst_ldpath_get_swprofile failed to get Master SWP, trying with local SWP, %lx\n", function,
           rc);
    rc = inst_ldpath_get_swprofile(nullptr, 1, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &profile.record, nullptr);
    if (rc == 0 && profile.record == nullptr) { // an interposed function returned 0 without a record
        rc = INST_RC_FAILED;
    }
    if (rc != 0) {
        REPORT("Error! %s inst_ldpath_get_swprofile failed to get Local SWP, %lx\n", function, rc);
    }
    return rc;
}

struct Node {
    uint32_t loc_id_1, loc_id_2, loc_id_3;
};

bool lists_node(const Location &location, const Node &node)
{
    inst_node_loc *nodes = nullptr;
    const uint32_t count = inst_sw_profile_loc_get_node_locs(&location, &nodes);
    return std::any_of(nodes, nodes + count, [&](const inst_node_loc &listed) {
        return listed.loc_id_1 == node.loc_id_1 && listed.loc_id_2 == node.loc_id_2 && listed.loc_id_3 == node.loc_id_3;
    });
}

// Returns the first location profile that lists the node, or null.
const Location *find_location(const inst_sw_profile_sdr &sdr, const Node &node)
{
    Location *locations = nullptr;
    const uint32_t count = inst_sw_profile_sdr_get_loc_profiles(&sdr, &locations);
    for (uint32_t i = 0; i < count; ++i) {
        if (lists_node(locations[i], node)) {
            return &locations[i];
        }
    }
    return nullptr;
}

// Returns the body whose version the node runs: that of its location profile if it has a version, otherwise the main
// body.
const Info &body_with_version(const inst_sw_profile_sdr &sdr, const Node &node)
{
    const Location *const location = find_location(sdr, node);
    if (location != nullptr) {
        REPORT("found entry in Master swp\n");
    }
    if (location != nullptr && inst_sw_profile_info_has_version(&location->sw_profile)) {
        return location->sw_profile;
    }
    REPORT("No entry found in Location swp or version not present in local sw profile(SMU), using default profile.\n");
    return sdr.sw_profile;
}

bool is_equal_or_both_null(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

uint64_t compare_version(const Node &node, const char *sw_version, bool &is_equal)
{
    constexpr char FUNCTION[] = "instmgr_cmp_sw_version";
    OwnedProfile profile;
    const uint64_t rc = fetch_active_admin(FUNCTION, profile);
    if (rc != 0) {
        // Quirk: equal after a failed fetch; callers that ignore the result code then take the versions as equal
        // (verd_inst_ldpath.h).
        is_equal = true;
        return rc;
    }
    const Info &body = body_with_version(profile.sdr(), node);
    const char *const version = inst_sw_profile_info_has_version(&body) ? body.version : nullptr;
    is_equal = is_equal_or_both_null(version, sw_version);
    if (!is_equal) {
        REPORT("%s SW Profile compare: image %s != %s\n", FUNCTION, text_or_null(version), text_or_null(sw_version));
    }
    return 0;
}

uint64_t check_node(const Node &node, bool &is_listed)
{
    OwnedProfile profile;
    const uint64_t rc = fetch_active_admin("instmgr_check_node_in_loc_mswp", profile);
    is_listed = rc == 0 && find_location(profile.sdr(), node) != nullptr;
    if (is_listed) {
        REPORT("Location Node entry in Acive Master swp\n");
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t instmgr_cmp_sw_version(uint32_t loc_id_1, uint32_t loc_id_2, uint32_t loc_id_3, const char *sw_version,
                                uint8_t *is_equal)
{
    if (is_equal == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    bool answer = false;
    const uint64_t rc = compare_version({loc_id_1, loc_id_2, loc_id_3}, sw_version, answer);
    *is_equal = answer ? 1 : 0;
    return rc;
}

uint64_t instmgr_check_node_in_loc_mswp(uint32_t loc_id_1, uint32_t loc_id_2, uint32_t loc_id_3, uint8_t *in_loc)
{
    if (in_loc == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    bool answer = false;
    const uint64_t rc = check_node({loc_id_1, loc_id_2, loc_id_3}, answer);
    *in_loc = answer ? 1 : 0;
    return rc;
}
}

TRACE_SITES_END(node_software);
