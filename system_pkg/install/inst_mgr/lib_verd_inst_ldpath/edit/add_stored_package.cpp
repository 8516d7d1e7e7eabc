#include "edit/package_copies.h"
#include "edit/replacement_list.h"
#include "edit/stored_profile.h"
#include "frame/entry_name.h"
#include "frame/error_text.h"
#include "frame/report.h"

#include <cstring>

TRACE_SITES_BEGIN(add_stored_package)

namespace
{

uint64_t make_copies(const char *function, const PackageRequest &package, PackageCopies &copies, char **text)
{
    copies.name.ptr = strdup(file_name_of(package.name));
    // Quirk: fixed numbers instead of source lines; log searches identify the failed copy by them.
    if (copies.name.ptr == nullptr) {
        REPORT("Failed to allocate memory in function %s:%d\n", function, 3564);
        error_text_add(text, "Failed to allocate memory\n");
        return INSTMGR_RC_NO_MEMORY;
    }
    const uint64_t rc = inst_dup_string_list(package.rpm_count, package.rpms, &copies.rpms.list, text);
    if (rc != 0) {
        REPORT("Error duping pkgnames list (%s:%d)\n", function, 3572);
        return rc;
    }
    copies.rpms.count = package.rpm_count;
    return 0;
}

uint64_t add_package_to_body(const char *function, inst_sw_profile_info &body, const PackageRequest &package,
                             PackageCopies &copies, OwnedStringList &superseded, char **text)
{
    // Quirk: passes 1 as `reserved` to inst_ldpath_add_pkg_in_swp(), where other callers pass 0; processes that
    // interpose that function distinguish its callers by it.
    const uint64_t rc = add_copied_package(body, package, copies, superseded, 1, text);
    if (rc == 0) {
        return 0;
    }
    if (rc == INSTMGR_DUP_SWPROFILE_PKG) {
        REPORT("%s: rc INSTMGR_DUP_SWPROFILE_PKG xlated to OK\n", function);
        return 0;
    }
    REPORT("Error! Failed to add package in swp.  %lx\n ", rc);
    error_text_add(text, "Failed to add package %s in software profile\n", package.name);
    return rc;
}

uint64_t remove_superseded(inst_sw_profile_info &body, OwnedStringList &superseded, char **text)
{
    uint64_t rc = shrink_replacement_list(superseded);
    if (rc != 0) {
        error_text_add(text, "Failed to allocate memory\n");
        return rc;
    }
    for (uint32_t i = 0; i < superseded.count && rc == 0; ++i) {
        REPORT("removing %s \n", superseded.list[i]);
        rc = inst_ldpath_remove_pkg_in_swp(&body, superseded.list[i], text);
        if (rc != 0) {
            REPORT("Error: failed to remove package %s\n", superseded.list[i]);
            error_text_add(text, "Failed to remove package %s from software profile\n", superseded.list[i]);
            REPORT("Error: failed to remove package\n");
        }
    }
    return rc;
}

uint64_t add_and_store(const ProfileEdit &edit, const PackageRequest &package, char **text)
{
    PackageCopies copies;
    uint64_t rc = make_copies(edit.function, package, copies, text);
    if (rc != 0) {
        return rc;
    }
    Owned<char> path;
    rc = name_profile_file(edit, path, text);
    if (rc != 0) {
        error_text_add(text, "Failed to get QX software profile file\n");
        return rc;
    }
    OwnedProfile profile;
    rc = decode_profile_file(edit, path.ptr, profile);
    if (rc != 0) {
        return rc;
    }
    OwnedStringList superseded;
    rc = allocate_replacement_list(superseded, profile.body());
    if (rc != 0) {
        error_text_add(text, "Failed to allocate memory\n");
        return rc;
    }
    rc = add_package_to_body(edit.function, profile.body(), package, copies, superseded, text);
    if (rc == 0 && g_inst_pkg_fmt_info.is_new_format != 0) { // under the old rules, superseded packages remain
        rc = remove_superseded(profile.body(), superseded, text);
    }
    if (rc != 0) {
        return rc;
    }
    rc = store_edited_profile(edit, profile, text);
    if (rc != 0) {
        error_text_add(text, "Failed to store QX software profile\n");
    }
    return rc;
}

} // namespace

extern "C" uint64_t inst_ldpath_add_swprofile_pkgs(const char *sdr_key, uint8_t is_local, int32_t part_type,
                                                   uint32_t vm_type, const char *pkg_name, char *const *rpms,
                                                   uint32_t num_rpms, uint64_t pkg_value, uint32_t pkg_type,
                                                   uint64_t sp_source, char **error_message_out)
{
    char *text = nullptr;
    uint64_t rc = INST_RC_INVALID_ARG;
    if (pkg_name == nullptr) {
        REPORT("Error! pkg_name is NULL\n");
        error_text_add(&text, "Error! pkg_name is NULL\n");
    } else {
        char shown[128];
        inst_print_list(shown, sizeof shown, rpms, num_rpms);
        REPORT("Adding to %s %s SW Profile for %s (key=%s) pkg_name=%s, num_rpms=%d (%s)\n", verd_scope_name(is_local),
               verd_state_name(part_type), verd_vm_type_name(vm_type), text_or_null(sdr_key), pkg_name, num_rpms,
               shown);
        const uint32_t rpm_count = rpms == nullptr ? 0 : num_rpms;
        rc = add_and_store({__func__, sdr_key, is_local, part_type, vm_type},
                           {pkg_name, rpms, rpm_count, pkg_value, pkg_type, sp_source}, &text);
    }
    error_text_hand_over(&text, error_message_out);
    return rc;
}

TRACE_SITES_END(add_stored_package);
