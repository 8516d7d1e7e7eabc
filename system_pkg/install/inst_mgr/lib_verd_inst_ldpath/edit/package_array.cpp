#include "edit/package_array.h"

#include "frame/entry_name.h"
#include "frame/text_list.h"

#include <utility>

namespace
{

void free_packages(inst_swp_package *entries, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        zeld_inst_swp_package_free_ext(&entries[i], std::free, 0);
    }
    std::free(entries);
}

} // namespace

PackageArray::~PackageArray()
{
    free_packages(entries, count);
}

bool allocate_packages(PackageArray &array, std::size_t capacity)
{
    const std::size_t room = capacity == 0 ? 1 : capacity; // calloc(0) may return null without failing
    array.entries = static_cast<inst_swp_package *>(std::calloc(room, sizeof(inst_swp_package)));
    return array.entries != nullptr;
}

void replace_packages(inst_sw_profile_info &body, PackageArray &array)
{
    inst_swp_package *old = nullptr;
    const uint32_t old_count = inst_sw_profile_info_get_packages(&body, &old);
    free_packages(old, old_count);
    inst_sw_profile_info_clear_packages(&body);
    if (array.count != 0) {
        inst_sw_profile_info_set_packages(&body, std::exchange(array.entries, nullptr), std::exchange(array.count, 0));
    }
}

bool has_base_rpm(const inst_swp_package &image, const char *name)
{
    char **rpms = nullptr;
    const uint32_t count = inst_swp_package_get_files(&image, &rpms);
    for (uint32_t i = 0; i < count; ++i) {
        if (is_same_name(rpms[i], name)) {
            return true;
        }
    }
    return false;
}

bool has_package(const inst_sw_profile_info &body, const char *name)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    for (uint32_t i = 0; i < count; ++i) {
        if (is_same_name(name_of(packages[i]), name)) {
            return true;
        }
    }
    return false;
}

RemoveResult remove_packages(inst_sw_profile_info &body, const char *name)
{
    PackageArray kept;
    if (!allocate_packages(kept, inst_sw_profile_info_get_packages(&body, nullptr))) {
        return RemoveResult::NoList;
    }
    const auto is_kept = [name](const inst_swp_package &entry) { return !is_same_name(name_of(entry), name); };
    if (!copy_packages(kept, body, is_kept)) {
        return RemoveResult::NoContent;
    }
    replace_packages(body, kept);
    return RemoveResult::Done;
}

RemoveResult remove_base_rpms(inst_swp_package &image, const char *name)
{
    char **old = nullptr;
    const uint32_t old_count = inst_swp_package_get_files(&image, &old);
    OwnedStringList kept;
    if (!allocate_list(kept, old_count)) {
        return RemoveResult::NoList;
    }
    for (uint32_t i = 0; i < old_count; ++i) {
        if (is_same_name(old[i], name)) {
            continue;
        }
        if (old[i] != nullptr && (kept.list[kept.count] = strdup(old[i])) == nullptr) {
            return RemoveResult::NoContent;
        }
        ++kept.count;
    }
    if (!shrink(kept)) {
        return RemoveResult::NoContent;
    }
    inst_free_string_list(old_count, old);
    inst_swp_package_set_files(&image, std::exchange(kept.list, nullptr), std::exchange(kept.count, 0));
    return RemoveResult::Done;
}
