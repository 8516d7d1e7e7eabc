#include "edit/locations.h"
#include "edit/package_copies.h"
#include "edit/replacement_list.h"
#include "frame/marker_files.h"
#include "location/package_source.h"

#include <cstring>

TRACE_SITES_BEGIN(add_package_location)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_add_pkg_location";
constexpr uint32_t MAX_RPMS_OF_BUNDLE = 254;

struct NodePackage {
    const char *name;
    uint32_t type; // install package type
    uint64_t sp_source;
    OwnedStringList files = {};
    uint64_t value = 0;
};

uint64_t unpack_bundle(NodePackage &package)
{
    char bundle[PACKAGE_PATH_SIZE];
    char work_directory[PACKAGE_PATH_SIZE];
    find_package_file(package.name, bundle);
    if (!create_work_directory(work_directory)) {
        const int err = errno;
        REPORT("%s: mkdtemp failed, %d \n", FUNCTION, err);
        return INSTMGR_RC_ERRNO(err);
    }
    const uint64_t rc = instcomm_get_rpm_package_list_from_bundle(
        bundle, work_directory, &package.files.count, &package.files.list, MAX_RPMS_OF_BUNDLE, &package.value, nullptr);
    if (rc != 0) {
        REPORT("%s: failed to get pkg list from bundle %s\n", FUNCTION, bundle);
    }
    return rc;
}

uint64_t copy_package(const NodePackage &package, PackageCopies &copies)
{
    copies.name.ptr = strdup(package.name);
    if (copies.name.ptr == nullptr ||
        inst_dup_string_list(package.files.count, package.files.list, &copies.rpms.list, nullptr) != 0) {
        REPORT("Error! Can't allocate file_list\n");
        return INST_RC_NO_MEMORY;
    }
    copies.rpms.count = package.files.count;
    return 0;
}

uint64_t add_package_to_body(inst_sw_profile_info &body, const NodePackage &package, PackageCopies &copies,
                             OwnedStringList &superseded)
{
    const PackageRequest request = {package.name,  package.files.list, package.files.count,
                                    package.value, package.type,       package.sp_source};
    return add_copied_package(body, request, copies, superseded, 0, nullptr);
}

uint64_t copy_and_add_package(inst_sw_profile_info &body, const NodePackage &package, OwnedStringList &superseded)
{
    PackageCopies copies;
    const uint64_t rc = copy_package(package, copies);
    return rc != 0 ? rc : add_package_to_body(body, package, copies, superseded);
}

void report_add_failure(uint64_t rc)
{
    REPORT("Error! Failed to add package in swp.  %lx\n ", rc);
}

// Adds the package to each location in turn. If a location already has the package, it gets the nodes, and the loop
// ends. A location to which the package cannot be added is skipped. Superseded packages stay.
// Quirk: without memory for a list of superseded names, ends with 0, and the changes so far are stored; only log
// searches find the reason, a message of allocate_replacement_list().
uint64_t add_to_locations(inst_sw_profile_sdr &sdr, const NodePackage &package, NodeList &nodes, bool &is_duplicate)
{
    inst_sw_profile_loc *locations = nullptr;
    const uint32_t count = inst_sw_profile_sdr_get_loc_profiles(&sdr, &locations);
    for (uint32_t i = 0; i < count; ++i) {
        OwnedStringList superseded;
        if (allocate_replacement_list(superseded, locations[i].sw_profile) != 0) {
            return 0;
        }
        // If copying fails, the call fails; only a failed addition skips the location.
        PackageCopies copies;
        uint64_t rc = copy_package(package, copies);
        if (rc != 0) {
            return rc;
        }
        rc = add_package_to_body(locations[i].sw_profile, package, copies, superseded);
        is_duplicate = rc == INSTMGR_DUP_SWPROFILE_PKG;
        if (is_duplicate) {
            return append_nodes(locations[i], nodes);
        }
        // Only lack of memory is reported here; inst_ldpath_add_pkg_in_swp() has reported other failures.
        if (rc == INST_RC_NO_MEMORY || rc == INSTCOMM_RC_NO_MEMORY) {
            report_add_failure(rc);
        }
    }
    return 0;
}

// Creates the first location profile. Its body is empty, so there are no duplicates and nothing is superseded.
uint64_t add_location(inst_sw_profile_sdr &sdr, const NodePackage &package, NodeList &nodes)
{
    NewLocation location;
    OwnedStringList superseded;
    const uint64_t rc = copy_and_add_package(location.body(), package, superseded);
    if (rc != 0) {
        report_add_failure(rc);
        return rc;
    }
    return attach_location(sdr, location, nodes);
}

// Adds the package for all nodes. Deletes the location profiles, since they apply to some nodes only.
uint64_t add_to_main_body(inst_sw_profile_sdr &sdr, const NodePackage &package, bool &is_duplicate)
{
    free_locations(sdr);
    OwnedStringList superseded;
    uint64_t rc = allocate_replacement_list(superseded, sdr.sw_profile);
    if (rc != 0) {
        return rc;
    }
    rc = copy_and_add_package(sdr.sw_profile, package, superseded);
    is_duplicate = rc == INSTMGR_DUP_SWPROFILE_PKG;
    if (rc != 0 && !is_duplicate) {
        report_add_failure(rc);
        return rc;
    }
    rc = shrink_replacement_list(superseded);
    if (rc != 0) {
        return rc;
    }
    for (uint32_t i = 0; i < superseded.count; ++i) {
        rc = inst_ldpath_remove_pkg_in_swp(&sdr.sw_profile, superseded.list[i], nullptr);
        if (rc != 0) {
            REPORT("ERROR: failed to remove package\n");
            return rc;
        }
        REPORT("Removed %s from swp\n", superseded.list[i]);
    }
    return 0;
}

void exit_if_requested()
{
    if (marker_exists(RESPAWN_TEST_FILE)) {
        REPORT("HA UT: respwan inst_mgr \n");
        static_cast<void>(take_test_file(RESPAWN_TEST_FILE));
        std::exit(1);
    }
}

uint64_t add_package(const ProfileEdit &edit, const inst_node_loc *node_locs, uint32_t num_loc, NodePackage &package)
{
    NodeList nodes;
    OwnedProfile profile;
    uint64_t rc = copy_nodes_and_read_profile(edit, node_locs, num_loc, nodes, profile);
    if (rc != 0) {
        return rc;
    }
    rc = verd_pkg_type_is_bundle(package.type, g_inst_pkg_fmt_info.is_new_format != 0) ? unpack_bundle(package) : 0;
    if (rc != 0) {
        return rc;
    }
    bool is_duplicate = false;
    if (num_loc == 0) {
        rc = add_to_main_body(profile.sdr(), package, is_duplicate);
    } else if (inst_sw_profile_sdr_get_loc_profiles(&profile.sdr(), nullptr) != 0) {
        rc = add_to_locations(profile.sdr(), package, nodes, is_duplicate);
    } else {
        rc = add_location(profile.sdr(), package, nodes);
    }
    if (rc != 0) {
        return rc;
    }
    rc = store_edited_profile(edit, profile);
    if (is_duplicate) {
        // Quirk: a failed store is hidden, too; callers treat a duplicate as done.
        REPORT("%s: rc INSTMGR_DUP_SWPROFILE_PKG xlated to OK\n", FUNCTION);
        rc = 0;
    }
    return rc;
}

} // namespace

extern "C" uint64_t inst_ldpath_add_pkg_location(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type,
                                                 const inst_node_loc *node_locs, uint32_t num_loc, const char *pkg_name,
                                                 uint64_t /*reserved*/, uint32_t pkg_type, uint64_t sp_source)
{
    if (pkg_name == nullptr) {
        REPORT("Error! pkg_name is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    REPORT("Adding pkg to %s %s SW Profile for %s (key=%s) pkg_name=%s, num_loc=%d pkg_type=%d\n",
           verd_scope_name(is_local), verd_state_name(state), verd_vm_type_name(vm_type), text_or_null(sdr_key),
           pkg_name, num_loc, pkg_type);
    exit_if_requested();
    static_cast<void>(instmgr_show_serv_pack(reinterpret_cast<const serv_packs *>(sp_source), FUNCTION));
    const ProfileEdit edit = {FUNCTION, sdr_key, is_local, state, vm_type};
    NodePackage package = {pkg_name, pkg_type, sp_source};
    return add_package(edit, node_locs, num_loc, package);
}

TRACE_SITES_END(add_package_location);
