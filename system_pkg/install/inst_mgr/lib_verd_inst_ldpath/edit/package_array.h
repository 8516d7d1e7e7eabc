// Editing the package array and the base RPM list of a body: the kept entries are copied into a new array, which
// replaces the old one when all copies exist. A failure leaves the body unchanged.
#pragma once

#include "zeld.h"

#include <cstdlib>

// An owned package array under construction.
struct PackageArray {
    inst_swp_package *entries = nullptr;
    uint32_t count = 0; // entries to be freed

    PackageArray() = default;
    PackageArray(const PackageArray &) = delete;
    PackageArray &operator=(const PackageArray &) = delete;
    ~PackageArray();
};

// Allocates `capacity` cleared entries. Returns false if there is no memory.
bool allocate_packages(PackageArray &array, std::size_t capacity);

// Appends copies of the body's entries for which keep(entry) is true. Returns false if there is no memory.
template <class Keep> bool copy_packages(PackageArray &array, const inst_sw_profile_info &body, Keep keep)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    for (uint32_t i = 0; i < count; ++i) {
        if (keep(packages[i])) {
            if (zeld_inst_swp_package_duplicate(&array.entries[array.count], &packages[i], std::malloc, 0) != 0) {
                return false;
            }
            ++array.count;
        }
    }
    return true;
}

inline bool copy_all_packages(PackageArray &array, const inst_sw_profile_info &body)
{
    return copy_packages(array, body, [](const inst_swp_package &) { return true; });
}

// Frees the body's packages and moves the array into the body. An empty array makes the field absent.
void replace_packages(inst_sw_profile_info &body, PackageArray &array);

// Return whether a package, or a base RPM, has this name.
bool has_package(const inst_sw_profile_info &body, const char *name);
bool has_base_rpm(const inst_swp_package &image, const char *name);

// Remove every package, or every base RPM, of this name. If there is no memory for the new list (NoList) or for its
// content (NoContent), nothing changes. A base RPM list without names left remains present and empty.
enum class RemoveResult { Done, NoList, NoContent };
RemoveResult remove_packages(inst_sw_profile_info &body, const char *name);
RemoveResult remove_base_rpms(inst_swp_package &image, const char *name);
