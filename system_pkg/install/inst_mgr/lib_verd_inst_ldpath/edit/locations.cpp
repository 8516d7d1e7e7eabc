#include "edit/locations.h"

#include "frame/report.h"

#include <cstdlib>
#include <utility>

TRACE_SITES_BEGIN(locations)

NodeList::~NodeList()
{
    for (uint32_t i = 0; i < count; ++i) {
        zeld_inst_node_loc_free_ext(&nodes[i], std::free, 0);
    }
    std::free(nodes);
}

uint64_t copy_nodes_and_read_profile(const ProfileEdit &edit, const inst_node_loc *node_locs, uint32_t num_loc,
                                     NodeList &nodes, OwnedProfile &profile)
{
    const uint64_t rc = verd_inst_dup_node_loc_list(num_loc, node_locs, &nodes.nodes);
    if (rc != 0) {
        // Quirk: names the wrong function; log searches match this text.
        REPORT("%s: Error! inst_get_sdr_swprofile_file failed to make copy of node locations, %lx\n", edit.function,
               rc);
        return rc;
    }
    nodes.count = num_loc;
    return read_stored_profile(edit, profile);
}

uint64_t append_nodes(inst_sw_profile_loc &location, NodeList &nodes)
{
    inst_node_loc *old = nullptr;
    const uint32_t old_count = inst_sw_profile_loc_get_node_locs(&location, &old);
    const std::size_t count = std::size_t{old_count} + nodes.count;
    auto *const longer = static_cast<inst_node_loc *>(std::calloc(count, sizeof(inst_node_loc)));
    if (longer == nullptr) {
        REPORT("Error! Can't allocate file_list\n");
        return INST_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < old_count; ++i) {
        longer[i] = old[i]; // moves ownership
    }
    for (uint32_t i = 0; i < nodes.count; ++i) {
        longer[old_count + i] = nodes.nodes[i];
    }
    std::free(old);
    std::free(std::exchange(nodes.nodes, nullptr));
    nodes.count = 0;
    inst_sw_profile_loc_set_node_locs(&location, longer, static_cast<uint32_t>(count));
    return 0;
}

NewLocation::~NewLocation()
{
    zeld_inst_sw_profile_loc_free_ext(&location, std::free, 0);
}

uint64_t attach_location(inst_sw_profile_sdr &sdr, NewLocation &location, NodeList &nodes)
{
    auto *const attached = static_cast<inst_sw_profile_loc *>(std::calloc(1, sizeof(inst_sw_profile_loc)));
    if (attached == nullptr) {
        REPORT("Error! Can't allocate file_list\n");
        return INST_RC_NO_MEMORY;
    }
    *attached = std::exchange(location.location, inst_sw_profile_loc{});
    inst_sw_profile_loc_set_node_locs(attached, std::exchange(nodes.nodes, nullptr), std::exchange(nodes.count, 0));
    free_locations(sdr); // the list may be present, but empty
    inst_sw_profile_sdr_set_loc_profiles(&sdr, attached, 1);
    return 0;
}

void free_locations(inst_sw_profile_sdr &sdr)
{
    inst_sw_profile_loc *locations = nullptr;
    const uint32_t count = inst_sw_profile_sdr_get_loc_profiles(&sdr, &locations);
    for (uint32_t i = 0; i < count; ++i) {
        zeld_inst_sw_profile_loc_free_ext(&locations[i], std::free, 0);
    }
    std::free(locations);
    inst_sw_profile_sdr_clear_loc_profiles(&sdr);
}

extern "C" uint8_t inst_ldpath_chk_loc_profile_exists(const char *sdr_key, uint8_t is_local, int32_t state,
                                                      uint32_t vm_type)
{
    REPORT("Check if Location SWP exists in MSWP.\n");
    OwnedProfile profile;
    const ProfileEdit edit = {__func__, sdr_key, is_local, state, vm_type};
    return read_stored_profile(edit, profile) == 0 && inst_sw_profile_sdr_get_loc_profiles(&profile.sdr(), nullptr) != 0
               ? 1
               : 0;
}

TRACE_SITES_END(locations);
