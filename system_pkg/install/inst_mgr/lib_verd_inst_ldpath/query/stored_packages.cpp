// Lists the packages of a stored profile.
#include "frame/error_text.h"
#include "frame/report.h"
#include "persist/owned_profile.h"

TRACE_SITES_BEGIN(stored_packages)

extern "C" {

uint64_t inst_ldpath_get_local_swprofile_pkgs_info(const char *sdr_key, int32_t part_type, uint32_t vm_type,
                                                   char ***pkg_names_out, uint32_t *count_out, char **error_message_out)
{
    char *text = nullptr;
    OwnedProfile profile;
    uint64_t rc = inst_ldpath_get_swprofile(sdr_key, 1, part_type, vm_type, &profile.record, &text);
    if (rc != 0) {
        REPORT("Error, failed to get swprofile, rc=%lx, part_type=%d, vm_type=%d \n", rc, part_type, vm_type);
    } else {
        rc = instcomm_ldpath_get_pkgs_info_from_swprofile(profile.record, pkg_names_out, count_out, &text);
        if (rc != 0) {
            error_text_add(&text, "Failed to get packages information from software profile\n");
        }
    }
    error_text_hand_over(&text, error_message_out);
    return rc;
}

uint64_t inst_swp_get_show_install_active_data(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                               char ***file_list_out, uint32_t *count_out)
{
    OwnedProfile profile;
    const uint64_t rc =
        inst_ldpath_get_swprofile(sdr_key, is_local, VERD_SWP_ACTIVE, vm_type, &profile.record, nullptr);
    if (rc != 0) {
        REPORT("Error, failed to get swprofile, %lx \n", rc);
        return rc;
    }
    return inst_ldpath_get_swprofile_filelist(profile.record, file_list_out, count_out, nullptr);
}
}

TRACE_SITES_END(stored_packages);
