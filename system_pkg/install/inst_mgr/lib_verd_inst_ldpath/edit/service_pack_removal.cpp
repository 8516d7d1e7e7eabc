#include "edit/service_pack_removal.h"

#include "edit/service_pack_merge.h"

using Info = inst_sw_profile_info;

RemainingServicePacks::~RemainingServicePacks()
{
    free_details(details, detail_count);
}

bool copy_remaining_names(const Info &body, const OwnedStringList &removed, RemainingServicePacks &remaining)
{
    char **of_body = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_names(&body, &of_body);
    if (inst_dup_string_list(count, of_body, &remaining.names.list, nullptr) != 0) {
        return false;
    }
    remaining.names.count = count;
    if (count != 0 && removed.count != 0) {
        instcomm_remove_from_list(remaining.names.list, &remaining.names.count, removed.list, removed.count);
    }
    return true;
}

bool prepare_details(const Info &body, RemainingServicePacks &remaining)
{
    sp_detail *details = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_details(&body, &details);
    remaining.details = static_cast<sp_detail *>(std::calloc(remaining.names.count, sizeof(sp_detail)));
    return remaining.details != nullptr && build_index(remaining.details_of_body, details, count);
}

bool copy_remaining_details(RemainingServicePacks &remaining)
{
    for (uint32_t i = 0; i < remaining.names.count; ++i) {
        const sp_detail *const detail = find_detail(remaining.details_of_body, remaining.names.list[i]);
        if (detail == nullptr) {
            continue;
        }
        if (zeld_sp_detail_duplicate(&remaining.details[remaining.detail_count], detail, std::malloc, 0) != 0) {
            return false;
        }
        ++remaining.detail_count;
    }
    return true;
}

void replace_with_remaining(Info &body, RemainingServicePacks &remaining)
{
    set_service_packs(body, std::exchange(remaining.names.list, nullptr), std::exchange(remaining.names.count, 0),
                      std::exchange(remaining.details, nullptr), std::exchange(remaining.detail_count, 0));
}
