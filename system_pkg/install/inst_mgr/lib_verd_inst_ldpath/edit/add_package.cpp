#include "edit/package_array.h"
#include "edit/service_pack_merge.h"
#include "edit/superseded_entries.h"
#include "frame/entry_name.h"
#include "frame/error_text.h"
#include "frame/marker_files.h"
#include "frame/text_list.h"

TRACE_SITES_BEGIN(add_package)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_add_pkg_in_swp";

constexpr MergeMessages MERGE_MESSAGES = {
    .names_of_body =
        [](char *const *names, uint32_t count) {
            REPORT_SP_DEBUG("SPDEBUG: %s %u sp's are already in swp\n", FUNCTION, count);
            for (uint32_t i = 0; i < count; ++i) {
                REPORT("sp_names_swp = %s\n", names[i]);
            }
        },
    .details_of_body =
        [](uint32_t count) { REPORT_SP_DEBUG("SPDEBUG: %s %d sp's details are already in swp\n", FUNCTION, count); },
    .body_has_none =
        [](uint32_t count) { REPORT_SP_DEBUG("SPDEBUG:  No SP info in Swp. Adding count sp_cnt %u\n", count); },
    .body_has_some = [] {},
    .added_name = [](uint32_t index,
                     const char *name) { REPORT_SP_DEBUG("SPDEBUG: New SP names  %u Name %s\n", index, name); },
    .added_detail_not_copied =
        [](char **text) {
            REPORT_SP_DEBUG("SPDEBUG: Failed to duplicate %s\n", FUNCTION);
            error_text_add(text, "SPERROR: Failed to duplicate %s\n", FUNCTION);
        },
    .new_names =
        [](char *const *names, uint32_t count) {
            REPORT_SP_DEBUG("SPDEBUG: New SP's to be added to swp %d\n", count);
            for (uint32_t i = 0; i < count; ++i) {
                REPORT("new_sp = %s\n", names[i]);
            }
        },
    .detail_of_body_not_copied =
        [](char **text) {
            REPORT_SP_DEBUG("SPDEBUG: %s Failed to duplicate swp sp_detail\n", FUNCTION);
            error_text_add(text, "Failed to duplicate swp sp_detail\n");
        },
    .detail_missing =
        [](const char *name, char **text) {
            REPORT("SPERROR: %s Failed to fetch sp detail for sp %s\n", FUNCTION, name);
            error_text_add(text, "SPERROR: %s Failed to fetch sp detail for sp %s\n", FUNCTION, name);
        },
    .new_detail_not_copied =
        [](char **text) {
            REPORT_SP_DEBUG("SPDEBUG: Failed to duplicate %s\n", FUNCTION);
            error_text_add(text, "SPERROR:Failed to duplicate %s\n", FUNCTION);
        },
    .merged_name = [](uint32_t index,
                      const char *name) { REPORT_SP_DEBUG("SPDEBUG:  New SP names  %u Name %s\n", index, name); },
};

// Finds the service packs that deliver the package and merges them with those of the body. Without any, `merged` stays
// empty.
uint64_t find_and_merge_service_packs(const inst_sw_profile_info &body, const NewPackage &package,
                                      ServicePackLists &merged, char **text)
{
    ServicePackLists delivering;
    uint64_t rc = 0;
    if (package.sp_source != 0) {
        rc = instcomm_get_sp_names_from_rpm(package.sp_source, package.name, &delivering.names, &delivering.count,
                                            &delivering.details);
    }
    if (take_test_file(SP_LOOKUP_TEST_FILE)) {
        rc = INST_RC_NO_MEMORY;
    }
    if (rc != 0) {
        REPORT("SPERROR: %s Failed to find sp info for %s\n", FUNCTION, package.name);
        error_text_add(text, "SPERROR: Failed to find sp info for %s\n", package.name);
        return rc;
    }
    if (delivering.count == 0 || delivering.names == nullptr) {
        return 0;
    }
    return merge_service_packs(body, delivering, MERGE_MESSAGES, merged, text);
}

// Copies the last components of the paths, without architecture suffixes.
bool copy_file_names(const NewPackage &package, OwnedStringList &names)
{
    if (!allocate_list(names, package.file_count)) {
        return false;
    }
    for (; names.count < package.file_count; ++names.count) {
        const char *const path = package.files[names.count];
        if (path == nullptr) {
            continue;
        }
        names.list[names.count] = copy_without_architecture(file_name_of(path));
        if (names.list[names.count] == nullptr) {
            return false;
        }
    }
    return true;
}

// Builds the new array except the new entry's name, which the caller owns until nothing can fail any more.
bool build_packages(const inst_sw_profile_info &body, const NewPackage &package, PackageArray &packages)
{
    OwnedStringList names;
    if (!copy_all_packages(packages, body) || (package.file_count != 0 && !copy_file_names(package, names))) {
        return false;
    }
    inst_swp_package &entry = packages.entries[packages.count++];
    if (package.file_count != 0) {
        inst_swp_package_set_files(&entry, std::exchange(names.list, nullptr), names.count);
    }
    if (package.value != 0) {
        inst_swp_package_set_pkg_value(&entry, package.value);
    }
    inst_swp_package_set_pkg_type(&entry, instcomm_inst_pkg_type_to_swp_type(package.type));
    return true;
}

void move_into_body(inst_sw_profile_info &body, const NewPackage &package, PackageArray &packages,
                    ServicePackLists &merged)
{
    inst_swp_package &entry = packages.entries[packages.count - 1];
    if (merged.count != 0) {
        inst_swp_package_set_is_sp_pkg(&entry, 1);
        REPORT("SPINFO: %s is sp pkg\n", package.name);
        REPORT_SP_DEBUG("SPDEBUG: Final sp count %u\n", merged.count);
        for (uint32_t i = 0; i < merged.count; ++i) {
            REPORT_SP_DEBUG("SPDEBUG: Final sp name[%u] = %s\n", i, merged.names[i]);
        }
        replace_with_merged(body, merged);
    }
    inst_swp_package_set_name(&entry, package.name);
    if (package.file_count != 0) {
        inst_free_string_list(package.file_count, package.files);
    }
    replace_packages(body, packages);
}

uint64_t add_package(inst_sw_profile_info &body, const NewPackage &package, char **replace_list,
                     uint32_t *replace_count, char **text)
{
    const bool is_new_format = g_inst_pkg_fmt_info.is_new_format != 0;
    BaseName base = {};
    uint64_t rc = is_new_format ? read_base_name(package.name, base, text) : 0;
    if (rc != 0) {
        return rc;
    }
    // Without replace_count the caller cannot know how many names were stored, so none are.
    SearchResult found = {replace_count == nullptr ? nullptr : replace_list};
    rc = find_superseded(body, package, is_new_format ? &base : nullptr, found, text);
    // Quirk: under the old rules the count is written only if an entry is superseded; callers keep the 0 that they have
    // set (verd_inst_ldpath.h).
    if ((is_new_format || found.count != 0) && replace_list != nullptr && replace_count != nullptr) {
        *replace_count = found.count;
    }
    if (found.is_duplicate) {
        return INSTMGR_DUP_SWPROFILE_PKG;
    }
    PackageArray packages;
    const std::size_t room = std::size_t{inst_sw_profile_info_get_packages(&body, nullptr)} + 1;
    if (rc != 0 || !allocate_packages(packages, room)) {
        // Quirk: also logged if the name of an entry cannot be split; log searches match this text.
        REPORT("Error! Can't allocate file_list\n");
        return rc != 0 ? rc : INST_RC_NO_MEMORY;
    }
    ServicePackLists merged;
    rc = is_new_format ? find_and_merge_service_packs(body, package, merged, text) : 0;
    if (rc != 0) {
        return rc;
    }
    if (!build_packages(body, package, packages)) {
        REPORT("Error! Can't allocate file_list\n");
        return INST_RC_NO_MEMORY;
    }
    move_into_body(body, package, packages, merged);
    return 0;
}

} // namespace

extern "C" uint64_t inst_ldpath_add_pkg_in_swp(inst_sw_profile_info *profile, char *pkg_name, uint32_t num_files,
                                               char **files, uint64_t pkg_value, uint32_t pkg_type, char **replace_list,
                                               uint32_t *replace_count, uint32_t /*reserved*/, uint64_t sp_source,
                                               char **err_msg)
{
    if (profile == nullptr) {
        REPORT("Error! profile is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    if (pkg_name == nullptr) {
        REPORT("Error! pkg_name is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    const NewPackage package = {pkg_name, files, files == nullptr ? 0 : num_files, pkg_value, pkg_type, sp_source};
    char *text = nullptr;
    const uint64_t rc = add_package(*profile, package, replace_list, replace_count, &text);
    error_text_hand_over(&text, err_msg);
    return rc;
}

TRACE_SITES_END(add_package);
