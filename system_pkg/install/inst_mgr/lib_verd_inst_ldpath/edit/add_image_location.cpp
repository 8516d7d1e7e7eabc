#include "edit/locations.h"
#include "frame/entry_name.h"
#include "frame/report.h"

#include <cstring>

TRACE_SITES_BEGIN(add_image_location)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_add_image_location";

// Returns whether the name of the location's image begins with image_name.
bool has_image(const inst_sw_profile_loc &location, const char *image_name)
{
    const char *const name = name_of(location.sw_profile.image);
    return name != nullptr && std::strncmp(name, image_name, std::strlen(image_name)) == 0;
}

// Appends the nodes to the first location that has the image. If none has it, nothing changes.
uint64_t add_to_locations(inst_sw_profile_sdr &sdr, const char *image_name, NodeList &nodes)
{
    inst_sw_profile_loc *locations = nullptr;
    const uint32_t count = inst_sw_profile_sdr_get_loc_profiles(&sdr, &locations);
    for (uint32_t i = 0; i < count; ++i) {
        if (has_image(locations[i], image_name)) {
            return append_nodes(locations[i], nodes);
        }
    }
    return 0;
}

uint64_t add_location(inst_sw_profile_sdr &sdr, const char *image_name, const char *version, NodeList &nodes)
{
    NewLocation location;
    inst_sw_profile_info_set_version(&location.body(), strdup(text_or_null(version)));
    inst_swp_package_set_name(&location.body().image, strdup(image_name));
    if (location.body().version == nullptr || location.body().image.name == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    return attach_location(sdr, location, nodes);
}

uint64_t add_image(const ProfileEdit &edit, const inst_node_loc *node_locs, uint32_t num_loc, const char *image_name,
                   const char *version)
{
    NodeList nodes;
    OwnedProfile profile;
    uint64_t rc = copy_nodes_and_read_profile(edit, node_locs, num_loc, nodes, profile);
    if (rc != 0) {
        return rc;
    }
    rc = inst_sw_profile_sdr_get_loc_profiles(&profile.sdr(), nullptr) != 0
             ? add_to_locations(profile.sdr(), image_name, nodes)
             : add_location(profile.sdr(), image_name, version, nodes);
    return rc != 0 ? rc : store_edited_profile(edit, profile);
}

} // namespace

extern "C" uint64_t inst_ldpath_add_image_location(const char *sdr_key, uint8_t is_local, int32_t state,
                                                   uint32_t vm_type, const inst_node_loc *node_locs, uint32_t num_loc,
                                                   const char *image_name, const char *version)
{
    if (image_name == nullptr) {
        REPORT("Error! image_name is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    REPORT("Adding image to %s %s SW Profile for %s (key=%s) image_name=%s, num_loc=%d \n", verd_scope_name(is_local),
           verd_state_name(state), verd_vm_type_name(vm_type), text_or_null(sdr_key), image_name, num_loc);
    const ProfileEdit edit = {FUNCTION, sdr_key, is_local, state, vm_type};
    return add_image(edit, node_locs, num_loc, image_name, version);
}

TRACE_SITES_END(add_image_location);
