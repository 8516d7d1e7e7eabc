// Changing the lists of a body as a whole: the entries to be kept are copied into a new array, which takes the place of
// the old one when nothing failed. Until then the body is as it was.
#pragma once

#include "zeld.h"

#include <cstdlib>
#include <cstring>

// Are both names there and equal? A name that isn't there equals nothing.
inline bool is_same_name(const char *a, const char *b)
{
    return a != nullptr && b != nullptr && std::strcmp(a, b) == 0;
}

inline const char *name_of(const inst_swp_package &package)
{
    return inst_swp_package_has_name(&package) ? package.name : nullptr;
}

// A package array that is being built; what it holds when it goes out of scope is freed.
struct PackageArray {
    inst_swp_package *entries = nullptr;
    uint32_t count = 0; // those that are built

    PackageArray() = default;
    PackageArray(const PackageArray &) = delete;
    PackageArray &operator=(const PackageArray &) = delete;
    ~PackageArray();
};

// Allocates room for that many entries, all clear. False when there is no memory.
bool make_room(PackageArray &array, std::size_t capacity);

// Appends copies of the body's entries for which keep(entry) is true. False when memory runs out.
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

// Frees the body's packages and puts the array in their place. An array without entries leaves the body without
// packages.
void replace_packages(inst_sw_profile_info &body, PackageArray &array);

// Is there a package, or a base RPM, of that name?
bool is_package(const inst_sw_profile_info &body, const char *name);
bool is_base_rpm(const inst_swp_package &image, const char *name);

// Remove every package, or every base RPM, of that name. Without memory for the new list, or for what it is to hold,
// nothing changes. The base RPM list is there and empty when its last name goes.
enum class Removal { Done, NoList, NoContent };
Removal remove_packages(inst_sw_profile_info &body, const char *name);
Removal remove_base_rpms(inst_swp_package &image, const char *name);
