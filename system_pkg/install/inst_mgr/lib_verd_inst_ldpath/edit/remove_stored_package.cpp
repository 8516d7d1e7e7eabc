#include "edit/package_array.h"
#include "edit/service_pack_merge.h"
#include "edit/service_pack_removal.h"
#include "edit/stored_profile.h"
#include "frame/entry_name.h"
#include "frame/error_text.h"
#include "frame/marker_files.h"

TRACE_SITES_BEGIN(remove_stored_package)

namespace
{

using Info = inst_sw_profile_info;

constexpr char FUNCTION[] = "inst_ldpath_remove_swprofile_pkgs";

// Reports a message and adds the same text to the error text.
#define REPORT_AND_ADD(text, ...)                                                                                      \
    do {                                                                                                               \
        REPORT(__VA_ARGS__);                                                                                           \
        error_text_add(text, __VA_ARGS__);                                                                             \
    } while (false)

uint64_t read_profile(const ProfileEdit &edit, OwnedProfile &profile, char **text)
{
    Owned<char> path;
    const uint64_t rc = name_profile_file(edit, path, text);
    if (rc != 0) {
        error_text_add(text, "%s: Error! inst_get_sdr_swprofile_file failed, %lx\n", FUNCTION, rc);
        return rc;
    }
    return decode_profile_file(edit, path.ptr, profile);
}

// Copies the names of the service packs that will remain.
uint64_t find_remaining(const Info &body, const OwnedStringList &removed, RemainingServicePacks &remaining)
{
    if (inst_sw_profile_info_has_sp_names(&body)) {
        REPORT_SP_DEBUG("SPDEBUG: %d Sp's already in swp \n", inst_sw_profile_info_get_sp_names(&body, nullptr));
        if (!copy_remaining_names(body, removed, remaining)) {
            return INST_RC_NO_MEMORY;
        }
        REPORT_SP_DEBUG("SPDEBUG: After processing SP list in swp will have count = %d\n", remaining.names.count);
        for (uint32_t i = 0; i < remaining.names.count; ++i) {
            REPORT("sp_list_swp[%d] = %s\n", i, remaining.names.list[i]);
        }
    }
    if (inst_sw_profile_info_has_sp_details(&body)) {
        REPORT_SP_DEBUG("SPDEBUG: SP detailed info present in swp for %d Sp's\n",
                        inst_sw_profile_info_get_sp_details(&body, nullptr));
    }
    return 0;
}

uint64_t set_remaining_service_packs(Info &body, RemainingServicePacks &remaining)
{
    if (remaining.names.count == 0) {
        clear_service_packs(body);
        REPORT("SPINFO: No SP left in swp\n");
        return 0;
    }
    if (!inst_sw_profile_info_has_sp_details(&body)) {
        REPORT("SPERROR: Mismatch between sp_names and sp_detail in swp swp_sp_cnt = %d, swp_sp_det_cnt = %d\n",
               remaining.names.count, 0U);
        return 0;
    }
    if (!prepare_details(body, remaining)) {
        return INST_RC_NO_MEMORY;
    }
    if (!copy_remaining_details(remaining)) {
        REPORT_SP_DEBUG("SPDEBUG: Failed to duplicate %s\n", FUNCTION);
        return INST_RC_NO_MEMORY;
    }
    replace_with_remaining(body, remaining);
    return 0;
}

uint64_t remove_from_packages(Info &body, const char *name, serv_packs *sp_list, const OwnedStringList &removed,
                              RemainingServicePacks &remaining, char **text)
{
    if (remove_packages(body, name) != RemoveResult::Done) {
        REPORT_AND_ADD(text, "Error! Can't allocate file_list\n");
        return INST_RC_NO_MEMORY;
    }
    uint64_t rc = set_remaining_service_packs(body, remaining);
    if (rc != 0) {
        return rc;
    }
    if (removed.count == 0) {
        REPORT("SPINFO: Empty splist, skipping untag logic\n");
        return 0;
    }
    rc = inst_ldpath_untag_sp_pkg_in_swp(&body, sp_list);
    if (rc != 0) {
        REPORT_AND_ADD(text, "SPERROR: Failed to untag a rpm from SP being removed\n");
    }
    return rc;
}

uint64_t remove_from_base_rpms(inst_swp_package &image, const char *name, char **text)
{
    const RemoveResult removal = remove_base_rpms(image, name);
    if (removal == RemoveResult::NoList) {
        REPORT_AND_ADD(text, "Error! Can't allocate base_rpm_list\n");
    }
    return removal == RemoveResult::Done ? 0 : INST_RC_NO_MEMORY;
}

uint64_t remove_and_store(const ProfileEdit &edit, const char *name, serv_packs *sp_list,
                          const OwnedStringList &removed, char **text)
{
    OwnedProfile profile;
    uint64_t rc = read_profile(edit, profile, text);
    if (rc != 0) {
        return rc;
    }
    Info &body = profile.body();
    RemainingServicePacks remaining;
    rc = find_remaining(body, removed, remaining);
    if (rc != 0) {
        return rc;
    }
    if (has_package(body, name)) {
        rc = remove_from_packages(body, name, sp_list, removed, remaining, text);
    } else if (has_base_rpm(body.image, name)) {
        rc = remove_from_base_rpms(body.image, name, text);
    } else {
        REPORT("Pkg %s not found in SWP, nothing to do\n", name);
        return 0;
    }
    if (rc != 0) {
        return rc;
    }
    rc = store_edited_profile(edit, profile, text);
    if (rc != 0) {
        error_text_add(text, "%s: Error! Failed to store SW profile: %lx\n", FUNCTION, rc);
    }
    return rc;
}

uint64_t remove_package(const ProfileEdit &edit, const char *pkg_name, serv_packs *sp_list, char **text)
{
    Owned<char> stripped;
    if (g_inst_pkg_fmt_info.is_new_format != 0) {
        stripped.ptr = copy_without_architecture(pkg_name);
        if (stripped.ptr == nullptr) {
            return INST_RC_NO_MEMORY;
        }
    }
    const char *const name = stripped.ptr == nullptr ? pkg_name : stripped.ptr;
    REPORT("Removing from %s %s SW Profile for %s (key=%s), pkg_name=%s\n", verd_scope_name(edit.is_local),
           verd_state_name(edit.state), verd_vm_type_name(edit.vm_type), text_or_null(edit.sdr_key), name);
    OwnedStringList removed;
    if (sp_list != nullptr) {
        static_cast<void>(instmgr_show_serv_pack(sp_list, FUNCTION));
        const uint64_t rc = instcomm_get_sp_names_from_sp_list(sp_list, &removed.list, &removed.count);
        if (rc != 0) {
            REPORT_AND_ADD(text, "SPERROR: Failed to fetch sp names \n");
            return rc;
        }
    }
    return remove_and_store(edit, name, sp_list, removed, text);
}

} // namespace

extern "C" uint64_t inst_ldpath_remove_swprofile_pkgs(const char *sdr_key, uint8_t is_local, int32_t part_type,
                                                      uint32_t vm_type, const char *pkg_name, serv_packs *sp_list,
                                                      char **error_message_out)
{
    if (pkg_name == nullptr) {
        REPORT("Error! pkg_name is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    char *text = nullptr;
    const uint64_t rc = remove_package({FUNCTION, sdr_key, is_local, part_type, vm_type}, pkg_name, sp_list, &text);
    error_text_hand_over(&text, error_message_out);
    return rc;
}

TRACE_SITES_END(remove_stored_package);
