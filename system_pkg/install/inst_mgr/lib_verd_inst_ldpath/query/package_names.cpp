// Lists the names in a fetched profile: image, packages, service packs.
#include "frame/entry_name.h"
#include "frame/error_text.h"
#include "frame/marker_files.h"
#include "frame/record_arguments.h"
#include "frame/text_list.h"

#include <span>

TRACE_SITES_BEGIN(package_names)

namespace
{

using Info = inst_sw_profile_info;
using Package = inst_swp_package;

std::span<const Package> packages_of(const Info &body)
{
    Package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    return {packages, count};
}

bool allocate_or_report(OwnedStringList &list, std::size_t entries)
{
    const bool is_allocated = allocate_list(list, entries);
    if (!is_allocated) {
        REPORT("Error! Can't allocate file_list\n");
    }
    return is_allocated;
}

uint64_t append_reported(OwnedStringList &list, const char *text, const char *function, int line = __builtin_LINE())
{
    const uint64_t rc = append_copy(list, text);
    if (rc != 0) {
        REPORT("Error! failed to dup str, %s, %d\n", function, line);
    }
    return rc;
}

void hand_over(OwnedStringList &list, char ***list_out, uint32_t *count_out)
{
    *count_out = list.count;
    *list_out = std::exchange(list.list, nullptr);
}

// Lists the image, then every package.
uint64_t get_file_list(inst_sw_profile_sdr_ext *profile, char ***file_list_out, uint32_t *count_out, char **text)
{
    constexpr char FUNCTION[] = "inst_ldpath_get_swprofile_filelist";
    if (is_null(profile, FUNCTION)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(file_list_out, FUNCTION)) {
        // Quirk: only this null argument leaves an error text; callers that print texts expect none for the others.
        error_text_add(text, "Hit an unexpected NULL pointer while getting software profile file list\n");
        return INST_RC_INVALID_ARG;
    }
    if (is_null(count_out, FUNCTION)) {
        return INST_RC_INVALID_ARG;
    }
    const Info *const body = body_of(*profile, FUNCTION);
    if (body == nullptr) {
        return 0;
    }
    const std::span<const Package> packages = packages_of(*body);
    OwnedStringList list;
    if (!allocate_or_report(list, packages.size() + 1)) {
        error_text_add(text, "Failed to allocate memory\n");
        return INST_RC_NO_MEMORY;
    }
    uint64_t rc = append_reported(list, name_of(body->image), FUNCTION);
    for (std::size_t i = 0; i < packages.size() && rc == 0; ++i) {
        rc = append_reported(list, name_of(packages[i]), FUNCTION);
    }
    if (rc != 0) {
        error_text_add(text, "Failed to allocate memory\n");
        return rc;
    }
    hand_over(list, file_list_out, count_out);
    return 0;
}

bool is_kept(const Package &package, uint32_t filter, bool skips_flagged)
{
    const bool is_host_smu = inst_swp_package_has_pkg_type(&package) && package.pkg_type == VERD_SWP_PKG_HOST_SMU;
    const bool is_flagged = inst_swp_package_has_pkg_marker(&package) && package.pkg_marker != 0;
    const bool is_left_out = (filter == VERD_FILTER_HOST_SMUS && !is_host_smu) ||
                             (filter == VERD_FILTER_NO_HOST_SMUS && is_host_smu) || (skips_flagged && is_flagged) ||
                             // the field's presence counts, not its value
                             (filter == VERD_FILTER_NO_MEMBERS && inst_swp_package_has_is_sp_pkg(&package));
    return !is_left_out;
}

uint64_t list_kept(const Info &body, uint32_t filter, bool skips_flagged, OwnedStringList &list, const char *function)
{
    const std::span<const Package> packages = packages_of(body);
    if (packages.empty()) {
        return 0;
    }
    if (!allocate_or_report(list, packages.size())) {
        return INST_RC_NO_MEMORY;
    }
    for (const Package &package : packages) {
        const uint64_t rc =
            is_kept(package, filter, skips_flagged) ? append_reported(list, name_of(package), function) : 0;
        if (rc != 0) {
            return rc;
        }
    }
    return 0;
}

// If there is no memory, the set may be missing or incomplete; this is not a failure.
void hand_over_service_packs(const Info &body, serv_packs **sp_list_out)
{
    sp_detail *details = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_details(&body, &details);
    if (sp_list_out != nullptr && count != 0) {
        serv_packs *set = nullptr;
        static_cast<void>(instmgr_convert_sp_det_to_serv_pack(&set, details, count));
        if (set != nullptr) {
            *sp_list_out = set;
        }
    }
}

uint64_t copy_service_pack_names(OwnedStringList &list, char *const *names, uint32_t count, const char *function)
{
    if (count == 0) {
        return 0;
    }
    REPORT_SP_DEBUG("SPDEBUG: %s Copying SP names to filelist\n", function);
    const uint64_t rc = append_copies(list, names, count);
    if (rc != 0) {
        REPORT("SPERROR: %s Failed to dup str %d\n", function, __LINE__);
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t inst_ldpath_get_swprofile_filelist(inst_sw_profile_sdr_ext *profile, char ***file_list_out,
                                            uint32_t *count_out, char **error_message_out)
{
    char *text = nullptr;
    const uint64_t rc = get_file_list(profile, file_list_out, count_out, &text);
    error_text_hand_over(&text, error_message_out);
    return rc;
}

uint64_t inst_ldpath_get_swprofile_img_pkgs(inst_sw_profile_sdr_ext *profile, char **image_out, char ***pkg_list_out,
                                            uint32_t *count_out, uint32_t pkg_filter, uint8_t skip_flagged,
                                            serv_packs **sp_list_out)
{
    if (is_null(profile)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(image_out)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(pkg_list_out)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(count_out)) {
        return INST_RC_INVALID_ARG;
    }
    const Info *const body = body_of(*profile);
    if (body == nullptr) {
        return 0;
    }
    Owned<char> image;
    uint64_t rc = copy_text(name_of(body->image), &image.ptr);
    if (rc != 0) {
        REPORT("Error! failed to dup str, %s, %d\n", __func__, __LINE__);
        return rc;
    }
    OwnedStringList list;
    rc = list_kept(*body, pkg_filter, skip_flagged != 0, list, __func__);
    if (rc != 0) {
        return rc;
    }
    static_cast<void>(shrink(list)); // a failure leaves the list valid
    hand_over_service_packs(*body, sp_list_out);
    *image_out = image.release();
    hand_over(list, pkg_list_out, count_out);
    return 0;
}

uint64_t inst_ldpath_get_swprofile_pkgs(inst_sw_profile_sdr_ext *profile, char ***file_list_out, uint32_t *count_out)
{
    if (is_null(profile)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(file_list_out)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(count_out)) {
        return INST_RC_INVALID_ARG;
    }
    const Info *const body = body_of(*profile);
    if (body == nullptr) {
        return 0;
    }
    char **names = nullptr;
    uint32_t name_count = 0;
    if (inst_sw_profile_info_has_sp_names(body)) {
        name_count = inst_sw_profile_info_get_sp_names(body, &names);
        REPORT("SPINFO: SW Profile has  %d  SP\n", name_count);
    }
    const std::span<const Package> packages = packages_of(*body);
    OwnedStringList list;
    uint64_t rc = 0;
    if (!packages.empty()) { // without packages, the service packs are not listed either
        rc = allocate_or_report(list, packages.size() + name_count) ? 0 : INST_RC_NO_MEMORY;
        for (std::size_t i = 0; i < packages.size() && rc == 0; ++i) {
            rc = append_reported(list, name_of(packages[i]), __func__);
        }
        if (rc == 0) {
            rc = copy_service_pack_names(list, names, name_count, __func__);
        }
    }
    if (rc == 0) {
        hand_over(list, file_list_out, count_out);
    }
    return rc;
}
}

TRACE_SITES_END(package_names);
