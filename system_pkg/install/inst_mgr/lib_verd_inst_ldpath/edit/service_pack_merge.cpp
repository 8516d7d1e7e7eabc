#include "edit/service_pack_merge.h"

#include "edit/detail_index.h"
#include "frame/owned.h"
#include "verd_inst_ldpath.h"

#include <cstring>

namespace
{

void free_service_packs(const inst_sw_profile_info &body)
{
    char **names = nullptr;
    const uint32_t name_count = inst_sw_profile_info_get_sp_names(&body, &names);
    inst_free_string_list(name_count, names);
    sp_detail *details = nullptr;
    const uint32_t detail_count = inst_sw_profile_info_get_sp_details(&body, &details);
    free_details(details, detail_count);
}

bool allocate_lists(ServicePackLists &lists, std::size_t capacity)
{
    lists.names = static_cast<char **>(std::calloc(capacity, sizeof(char *)));
    lists.details = static_cast<sp_detail *>(std::calloc(capacity, sizeof(sp_detail)));
    return lists.names != nullptr && lists.details != nullptr;
}

// Appends copies of both. Returns false if there is no memory or the detail is null; detail_copied is false if copying
// the detail failed.
bool append(ServicePackLists &lists, const char *name, const sp_detail *detail, bool &detail_copied)
{
    char *&copy = lists.names[lists.count];
    sp_detail &detail_copy = lists.details[lists.count];
    ++lists.count;
    detail_copied = true;
    if (name != nullptr && (copy = strdup(name)) == nullptr) {
        return false;
    }
    detail_copied = zeld_sp_detail_duplicate(&detail_copy, detail, std::malloc, 0) == 0;
    return detail_copied;
}

// For a body without service packs: copies all added ones. The details are those of the same index.
uint64_t copy_added(const ServicePackLists &added, const MergeMessages &messages, ServicePackLists &merged, char **text)
{
    messages.body_has_none(added.count);
    if (!allocate_lists(merged, added.count)) {
        return INST_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < added.count; ++i) {
        if (added.details == nullptr) {
            messages.detail_missing(added.names[i], text);
            return INST_RC_FAILED;
        }
        bool detail_copied = false;
        if (!append(merged, added.names[i], &added.details[i], detail_copied)) {
            if (!detail_copied) {
                messages.added_detail_not_copied(text);
            }
            return INST_RC_NO_MEMORY;
        }
        messages.added_name(i, merged.names[i]);
    }
    return 0;
}

uint64_t copy_existing(const inst_sw_profile_info &body, const MergeMessages &messages, ServicePackLists &merged,
                       char **text)
{
    char **names = nullptr;
    sp_detail *details = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_names(&body, &names);
    const uint32_t detail_count = inst_sw_profile_info_get_sp_details(&body, &details);
    for (uint32_t i = 0; i < count; ++i) {
        // Quirk: a name without a detail counts as out of memory (duplicating null fails); callers get
        // INST_RC_NO_MEMORY for such a body (verd_inst_ldpath.h).
        bool detail_copied = false;
        if (!append(merged, names[i], i < detail_count ? &details[i] : nullptr, detail_copied)) {
            if (!detail_copied) {
                messages.detail_of_body_not_copied(text);
            }
            return INST_RC_NO_MEMORY;
        }
    }
    return 0;
}

uint64_t append_new(char *const *names, uint32_t count, const ServicePackLists &added, const MergeMessages &messages,
                    ServicePackLists &merged, char **text)
{
    DetailIndex index;
    if (!build_index(index, added.details, added.details == nullptr ? 0 : added.count)) {
        return INST_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const sp_detail *const detail = find_detail(index, names[i]);
        if (detail == nullptr) {
            messages.detail_missing(names[i], text);
            return INST_RC_FAILED;
        }
        bool detail_copied = false;
        if (!append(merged, names[i], detail, detail_copied)) {
            if (!detail_copied) {
                messages.new_detail_not_copied(text);
            }
            return INST_RC_NO_MEMORY;
        }
    }
    return 0;
}

uint64_t append_to_existing(const inst_sw_profile_info &body, const ServicePackLists &added,
                            const MergeMessages &messages, ServicePackLists &merged, char **text)
{
    messages.body_has_some();
    char **names = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_names(&body, &names);
    Owned<char *> new_names; // an array of pointers to names of `added`
    uint32_t new_count = 0;
    uint64_t rc = instcomm_match_lists(added.names, added.count, names, count, &new_names.ptr, &new_count);
    if (rc != 0) {
        return rc;
    }
    if (new_names.ptr == nullptr) {
        new_count = 0;
    }
    if (new_count != 0) {
        messages.new_names(new_names.ptr, new_count);
    }
    if (!allocate_lists(merged, std::size_t{count} + new_count)) {
        return INST_RC_NO_MEMORY;
    }
    rc = copy_existing(body, messages, merged, text);
    if (rc == 0 && new_count != 0) {
        rc = append_new(new_names.ptr, new_count, added, messages, merged, text);
    }
    for (uint32_t i = 0; rc == 0 && i < merged.count; ++i) {
        messages.merged_name(i, merged.names[i]);
    }
    return rc;
}

} // namespace

void free_details(sp_detail *details, uint32_t count)
{
    for (uint32_t i = 0; details != nullptr && i < count; ++i) {
        zeld_sp_detail_free_ext(&details[i], std::free, 0);
    }
    std::free(details);
}

ServicePackLists::~ServicePackLists()
{
    inst_free_string_list(count, names);
    free_details(details, count);
}

uint64_t merge_service_packs(const inst_sw_profile_info &body, const ServicePackLists &added,
                             const MergeMessages &messages, ServicePackLists &merged, char **text)
{
    char **names = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_names(&body, &names);
    if (inst_sw_profile_info_has_sp_names(&body)) {
        messages.names_of_body(names, count);
    }
    if (inst_sw_profile_info_has_sp_details(&body)) {
        messages.details_of_body(inst_sw_profile_info_get_sp_details(&body, nullptr));
    }
    return count == 0 ? copy_added(added, messages, merged, text)
                      : append_to_existing(body, added, messages, merged, text);
}

void replace_with_merged(inst_sw_profile_info &body, ServicePackLists &merged)
{
    set_service_packs(body, std::exchange(merged.names, nullptr), merged.count, std::exchange(merged.details, nullptr),
                      merged.count);
    merged.count = 0;
}

void set_service_packs(inst_sw_profile_info &body, char **names, uint32_t name_count, sp_detail *details,
                       uint32_t detail_count)
{
    free_service_packs(body);
    inst_sw_profile_info_set_sp_names(&body, names, name_count);
    inst_sw_profile_info_set_sp_details(&body, details, detail_count);
}

void clear_service_packs(inst_sw_profile_info &body)
{
    free_service_packs(body);
    inst_sw_profile_info_clear_sp_names(&body);
    inst_sw_profile_info_clear_sp_details(&body);
}
