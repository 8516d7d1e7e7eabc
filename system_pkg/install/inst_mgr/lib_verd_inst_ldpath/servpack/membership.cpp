// Marks the packages of a body that are members of installed service packs, and unmarks those of removed ones.
//
// A package belongs to an RPM if its name is part of the RPM's name. The loose match is intended: an RPM's name ends in
// an architecture, and one RPM can mark several packages.
#include "edit/package_array.h"
#include "frame/entry_name.h"
#include "frame/marker_files.h"
#include "frame/owned.h"

#include <algorithm>
#include <cstring>

TRACE_SITES_BEGIN(membership)

namespace
{

using Package = inst_swp_package;

// Returns whether the package belongs to the RPM. A null name belongs to nothing.
bool belongs_to(const Package &package, const char *rpm)
{
    const char *const name = name_of(package);
    return rpm != nullptr && name != nullptr && std::strstr(rpm, name) != nullptr;
}

bool is_marked(const Package &package)
{
    return inst_swp_package_has_is_sp_pkg(&package);
}

uint64_t get_rpms(const serv_packs *sp_list, OwnedStringList &rpms)
{
    const uint64_t rc = instcomm_get_rpms_from_sp_list(sp_list, &rpms.list, &rpms.count, 0, 0);
    if (rpms.list == nullptr) {
        rpms.count = 0;
    }
    return rc;
}

// Under the old package rules no package is a member.
bool can_have_members(const inst_sw_profile_info &body)
{
    return g_inst_pkg_fmt_info.is_new_format != 0 && inst_sw_profile_info_get_packages(&body, nullptr) != 0;
}

bool allocate_or_report(PackageArray &packages, const inst_sw_profile_info &body)
{
    const bool is_allocated = allocate_packages(packages, inst_sw_profile_info_get_packages(&body, nullptr));
    if (!is_allocated) {
        REPORT("Error! Can't allocate file_list\n");
    }
    return is_allocated;
}

// Marks the package if it belongs to one of the RPMs, and returns whether it does.
bool mark(Package &package, const OwnedStringList &rpms)
{
    const char *const name = name_of(package);
    for (uint32_t i = 0; i < rpms.count; ++i) {
        if (!belongs_to(package, rpms.list[i])) {
            continue;
        }
        REPORT_SP_DEBUG("SPDEBUG: Package %s found in SW Profile. Check for sp tag now\n", name);
        if (is_marked(package)) {
            REPORT_SP_DEBUG("SPDEBUG: Package %s is a SP package!!\n", name);
        } else {
            inst_swp_package_set_is_sp_pkg(&package, 1);
            REPORT_SP_DEBUG("SPDEBUG: Package %s is now tagged as a SP package.!!\n", name);
        }
        return true;
    }
    return false;
}

// Keeps the RPMs of third-party and host-OS packages. The packages of all other RPMs stay marked.
void keep_rpms_that_unmark(char **rpms, uint32_t &count)
{
    char **const end = std::remove_if(rpms, rpms + count, [](const char *rpm) {
        return rpm == nullptr || (instcomm_is_tp_pkg(rpm, 0) == 0 && instcomm_is_hostos_pkg(rpm) == 0);
    });
    count = static_cast<uint32_t>(end - rpms);
}

// Unmarks the package if it belongs to one of the RPMs. The messages name the RPM.
void unmark(Package &package, char *const *rpms, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        const char *const rpm = rpms[i];
        if (!belongs_to(package, rpm)) {
            continue;
        }
        REPORT_SP_DEBUG("SPDEBUG: Package %s found in SW Profile. Check for sp tag now\n", rpm);
        if (is_marked(package)) {
            inst_swp_package_clear_is_sp_pkg(&package);
            REPORT_SP_DEBUG("SPDEBUG: Package %s is now un-tagged as a SP package.!!\n", rpm);
        } else {
            REPORT("SPINFO: No action, rpm %s is not tagged to SP\n", rpm);
        }
    }
}

uint64_t return_all_rpms(char **rpms, uint32_t count, char ***out_rpms, uint32_t *out_count)
{
    REPORT("INFO: No active SPs in active swp\n");
    REPORT("INFO: Returning the rpms of the SP being removed\n");
    auto *const all = static_cast<char **>(std::malloc((std::size_t{count} + 1) * sizeof(char *)));
    if (all == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < count; ++i) {
        all[i] = rpms[i];
    }
    *out_rpms = all;
    *out_count = count;
    return 0;
}

struct OwnedSet {
    serv_packs *set = nullptr;

    OwnedSet() = default;
    OwnedSet(const OwnedSet &) = delete;
    OwnedSet &operator=(const OwnedSet &) = delete;
    ~OwnedSet() { free_service_pack(set); }
};

// Returns whether the set has every detail. Converting can return 0 with an incomplete set (out of memory). With such a
// set, packages that remaining service packs still deliver would be unmarked.
bool is_complete(const serv_packs *set, const sp_detail *details, uint32_t detail_count)
{
    service_pack *packs = nullptr;
    const uint32_t count = set == nullptr ? 0 : serv_packs_get_service_packs(set, &packs);
    return count == detail_count &&
           std::equal(packs, packs + count, details, [](const service_pack &pack, const sp_detail &detail) {
               return pack.presence[0] == detail.presence[0];
           });
}

uint64_t rpms_not_delivered(sp_detail *details, uint32_t detail_count, char **rpms, uint32_t count, char ***out_rpms,
                            uint32_t *out_count)
{
    OwnedSet remaining;
    static_cast<void>(instmgr_convert_sp_det_to_serv_pack(&remaining.set, details, detail_count));
    if (!is_complete(remaining.set, details, detail_count)) {
        *out_rpms = nullptr;
        *out_count = 0;
        return INSTMGR_RC_INVALID_DATA;
    }
    OwnedStringList delivered;
    uint64_t rc = get_rpms(remaining.set, delivered);
    if (rc != 0) {
        REPORT("ERROR: Failed to get rpms from active SP(s)\n");
        return rc;
    }
    rc = instcomm_match_lists(rpms, count, delivered.list, delivered.count, out_rpms, out_count);
    if (rc != 0) {
        REPORT("ERROR: Finding unique rpms\n");
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t inst_ldpath_tag_sp_pkg_in_swp(inst_sw_profile_info *profile, serv_packs *sp_list, uint8_t *tagged_out)
{
    if (profile == nullptr || sp_list == nullptr || tagged_out == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    if (!can_have_members(*profile)) {
        return 0;
    }
    OwnedStringList rpms;
    const uint64_t rc = get_rpms(sp_list, rpms);
    if (rc != 0) {
        return rc;
    }
    PackageArray packages;
    if (!allocate_or_report(packages, *profile) || !copy_all_packages(packages, *profile)) {
        return INST_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < packages.count; ++i) {
        if (mark(packages.entries[i], rpms)) {
            *tagged_out = 1;
        }
    }
    replace_packages(*profile, packages);
    return 0;
}

uint64_t inst_ldpath_untag_sp_pkg_in_swp(inst_sw_profile_info *profile, serv_packs *sp_list)
{
    if (profile == nullptr || sp_list == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    if (!can_have_members(*profile)) {
        return 0;
    }
    OwnedStringList rpms;
    uint64_t rc = get_rpms(sp_list, rpms);
    if (rc != 0) {
        return rc;
    }
    // Quirk: allocates before it is known whether a package changes; log searches find the message of a failed
    // allocation even if no package would have changed.
    PackageArray packages;
    if (!allocate_or_report(packages, *profile)) {
        return INST_RC_NO_MEMORY;
    }
    Owned<char *> unique; // an array of pointers into rpms
    uint32_t unique_count = 0;
    rc = inst_remove_rpms_part_of_active_sp(profile, rpms.list, rpms.count, &unique.ptr, &unique_count);
    if (rc != 0) {
        REPORT("Error: Removing active sp rpms\n");
        return rc;
    }
    if (unique.ptr == nullptr || unique_count == 0) {
        REPORT("INFO: No rpms to be un-tagged\n");
        return 0;
    }
    if (!copy_all_packages(packages, *profile)) {
        return INST_RC_NO_MEMORY;
    }
    keep_rpms_that_unmark(unique.ptr, unique_count);
    for (uint32_t i = 0; i < packages.count; ++i) {
        unmark(packages.entries[i], unique.ptr, unique_count);
    }
    replace_packages(*profile, packages);
    return 0;
}

uint64_t inst_remove_rpms_part_of_active_sp(inst_sw_profile_info *profile, char **rpms, uint32_t rpm_count,
                                            char ***out_rpms, uint32_t *out_count)
{
    // A null list with count 0 is valid: instcomm_get_rpms_from_sp_list() returns it for a set without RPMs.
    if (profile == nullptr || (rpms == nullptr && rpm_count != 0) || out_rpms == nullptr || out_count == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    if (!inst_sw_profile_info_has_sp_details(profile)) {
        return return_all_rpms(rpms, rpm_count, out_rpms, out_count);
    }
    sp_detail *details = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_details(profile, &details);
    return count == 0 ? 0 : rpms_not_delivered(details, count, rpms, rpm_count, out_rpms, out_count);
}
}

TRACE_SITES_END(membership);
