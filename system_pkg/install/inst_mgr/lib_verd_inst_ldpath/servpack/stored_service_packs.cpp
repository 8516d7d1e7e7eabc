// Records in a stored profile that service packs were installed or removed.
#include "edit/service_pack_merge.h"
#include "edit/service_pack_removal.h"
#include "edit/stored_profile.h"
#include "frame/marker_files.h"
#include "frame/owned.h"

TRACE_SITES_BEGIN(stored_service_packs)

namespace
{

using Info = inst_sw_profile_info;

constexpr char ADD_FUNCTION[] = "inst_ldpath_add_swprofile_sps";
constexpr char REMOVE_FUNCTION[] = "inst_ldpath_remove_swprofile_sps";

// These operations return no error text, so none is built.
constexpr MergeMessages MERGE_MESSAGES = {
    .names_of_body =
        [](char *const *, uint32_t count) {
            REPORT_SP_DEBUG("SPDEBUG: %s %u sp's are already in swp\n", ADD_FUNCTION, count);
        },
    .details_of_body =
        [](uint32_t count) {
            REPORT_SP_DEBUG("SPDEBUG: %s %u sp's details are already in swp\n", ADD_FUNCTION, count);
        },
    .body_has_none =
        [](uint32_t count) { REPORT_SP_DEBUG("SPDEBUG:  No SP info in Swp. Adding count sp_cnt %d\n", count); },
    .body_has_some = [] { REPORT_SP_DEBUG("SPDEBUG: Some sp's are already present in profile lets compare\n"); },
    .added_name = [](uint32_t index,
                     const char *name) { REPORT_SP_DEBUG("SPDEBUG: New SP names  %d Name %s\n", index, name); },
    .added_detail_not_copied = [](char **) { REPORT_SP_DEBUG("SPDEBUG: Failed to duplicate %s\n", ADD_FUNCTION); },
    .new_names =
        [](char *const *names, uint32_t count) {
            REPORT_SP_DEBUG("SPDEBUG: New SP's to be added to swp %d\n", count);
            for (uint32_t i = 0; i < count; ++i) {
                REPORT("new_sp = %s\n", names[i]);
            }
        },
    .detail_of_body_not_copied =
        [](char **) { REPORT_SP_DEBUG("SPDEBUG: %s Failed to duplicate swp sp_detail\n", ADD_FUNCTION); },
    .detail_missing = [](const char *name,
                         char **) { REPORT("SPERROR: %s Failed to fetch sp detail for sp %s\n", ADD_FUNCTION, name); },
    .new_detail_not_copied = [](char **) { REPORT_SP_DEBUG("SPDEBUG: Failed to duplicate %s\n", ADD_FUNCTION); },
    .merged_name = [](uint32_t index,
                      const char *name) { REPORT_SP_DEBUG("SPDEBUG:  New SP names  %d Name %s\n", index, name); },
};

// Sets has_members to whether any package of the body belongs to the service packs.
uint64_t add_and_mark(Info &body, uint64_t sp_source, const ServicePackLists &added, bool &has_members)
{
    uint8_t is_marked = 0;
    uint64_t rc = inst_ldpath_tag_sp_pkg_in_swp(&body, reinterpret_cast<serv_packs *>(sp_source), &is_marked);
    has_members = is_marked != 0;
    if (rc != 0 || !has_members) {
        return rc;
    }
    ServicePackLists merged;
    rc = merge_service_packs(body, added, MERGE_MESSAGES, merged, nullptr);
    if (rc == 0) {
        REPORT_SP_DEBUG("SPDEBUG: Total count %d\n", merged.count);
        for (uint32_t i = 0; i < merged.count; ++i) {
            REPORT_SP_DEBUG("SPDEBUG: SPNAME %s\n", merged.names[i]);
        }
        replace_with_merged(body, merged);
    }
    return rc;
}

uint64_t add_to_stored_profile(const ProfileEdit &edit, uint64_t sp_source)
{
    OwnedProfile profile;
    uint64_t rc = read_stored_profile(edit, profile);
    if (rc != 0) {
        return rc;
    }
    ServicePackLists added;
    if (sp_source != 0) {
        rc = instcomm_get_sp_names_from_rpm(sp_source, nullptr, &added.names, &added.count, &added.details);
        if (rc != 0) {
            REPORT_SP_DEBUG("SPDEBUG: %s Failed to find sp info \n", ADD_FUNCTION);
            return rc;
        }
    }
    if (added.count != 0 && added.names != nullptr) {
        bool has_members = false;
        rc = add_and_mark(profile.body(), sp_source, added, has_members);
        if (rc == 0 && !has_members) {
            REPORT("SPINFO: No SP rpm in swp, do nothing\n");
        }
        if (rc != 0 || !has_members) {
            return rc;
        }
    }
    return store_edited_profile(edit, profile);
}

void log_names(char *const *names, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        REPORT("swp_sp_list[%d] = %s\n", i, names[i]);
    }
}

// Only logs a failure: the profile is stored anyway.
void unmark_or_log(Info &body, serv_packs *sp_list)
{
    if (inst_ldpath_untag_sp_pkg_in_swp(&body, sp_list) != 0) {
        REPORT("SPERROR: Failed to untag a rpm from a SP being removed\n");
    }
}

uint64_t remove_from_body(Info &body, serv_packs *sp_list, const OwnedStringList &removed)
{
    char **names = nullptr;
    const uint32_t name_count = inst_sw_profile_info_get_sp_names(&body, &names);
    REPORT_SP_DEBUG("SPDEBUG: %d Sp's already in swp \n", name_count);
    log_names(names, name_count);
    RemainingServicePacks remaining;
    if (!copy_remaining_names(body, removed, remaining)) {
        return INST_RC_NO_MEMORY;
    }
    REPORT_SP_DEBUG("SPDEBUG: Going to process new sp list having count = %d\n", remaining.names.count);
    log_names(remaining.names.list, remaining.names.count);
    const uint32_t detail_count = inst_sw_profile_info_get_sp_details(&body, nullptr);
    if (inst_sw_profile_info_has_sp_details(&body)) {
        REPORT_SP_DEBUG("SPDEBUG: SP detailed info present in swp for %d Sp's\n", detail_count);
    }
    if (remaining.names.count == 0) {
        // Quirk: unmarks while the body still has the details. Their RPMs therefore count as delivered, and their
        // packages stay marked; callers of inst_ldpath_get_swprofile_img_pkgs() expect that VERD_FILTER_NO_MEMBERS
        // still leaves these packages out.
        unmark_or_log(body, sp_list);
        clear_service_packs(body);
        REPORT("SPINFO: %s Removed all sp in swp\n", REMOVE_FUNCTION);
        return 0;
    }
    if (!inst_sw_profile_info_has_sp_details(&body)) {
        REPORT("SPERROR: Mismatch between sp_names and sp_detail in swp total_sp_cnt = %d, swp_sp_det_cnt = %d\n",
               remaining.names.count, detail_count);
    } else {
        if (!prepare_details(body, remaining)) {
            return INST_RC_NO_MEMORY;
        }
        if (!copy_remaining_details(remaining)) {
            REPORT("SPERROR: %s Failed to duplicate new_sp_det\n", REMOVE_FUNCTION);
            return INST_RC_NO_MEMORY;
        }
        replace_with_remaining(body, remaining);
    }
    unmark_or_log(body, sp_list);
    return 0;
}

uint64_t remove_from_stored_profile(const ProfileEdit &edit, serv_packs *sp_list)
{
    static_cast<void>(instmgr_show_serv_pack(sp_list, REMOVE_FUNCTION));
    OwnedStringList removed;
    uint64_t rc = instcomm_get_sp_names_from_sp_list(sp_list, &removed.list, &removed.count);
    if (rc != 0) {
        REPORT("SPERROR: Failed to fetch sp names \n");
        return rc;
    }
    OwnedProfile profile;
    rc = read_stored_profile(edit, profile);
    if (rc == 0 && inst_sw_profile_info_has_sp_names(&profile.body())) {
        rc = remove_from_body(profile.body(), sp_list, removed);
    }
    return rc != 0 ? rc : store_edited_profile(edit, profile);
}

} // namespace

extern "C" {

uint64_t inst_ldpath_add_swprofile_sps(const char *sdr_key, int32_t is_local, int32_t state, uint32_t vm_type,
                                       uint64_t sp_source)
{
    const uint8_t scope = is_local != 0 ? 1 : 0;
    REPORT_SP_DEBUG("SPDEBUG: Adding sps in %s %s SW Profile for %s (key=%s), \n", verd_scope_name(scope),
                    verd_state_name(state), verd_vm_type_name(vm_type), text_or_null(sdr_key));
    return add_to_stored_profile({__func__, sdr_key, scope, state, vm_type, DECODE_TEST_FILE}, sp_source);
}

uint64_t inst_ldpath_remove_swprofile_sps(const char *sdr_key, int32_t is_local, int32_t state, uint32_t vm_type,
                                          serv_packs *sp_list)
{
    const uint8_t scope = is_local != 0 ? 1 : 0;
    REPORT("Removing sps from %s %s SW Profile for %s (key=%s), \n", verd_scope_name(scope), verd_state_name(state),
           verd_vm_type_name(vm_type), text_or_null(sdr_key));
    return sp_list == nullptr ? 0 : remove_from_stored_profile({__func__, sdr_key, scope, state, vm_type}, sp_list);
}
}

TRACE_SITES_END(stored_service_packs);
