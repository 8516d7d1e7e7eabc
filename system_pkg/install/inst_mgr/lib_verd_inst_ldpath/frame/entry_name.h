// Names of package entries and of their files.
#pragma once

#include "instcomm.h"
#include "zeld.h"

#include <cstring>

// The name of a package or image entry; null if it is missing.
inline const char *name_of(const inst_swp_package &package)
{
    return inst_swp_package_has_name(&package) ? package.name : nullptr;
}

// Returns whether both names are equal. A null name equals nothing.
inline bool is_same_name(const char *a, const char *b)
{
    return a != nullptr && b != nullptr && std::strcmp(a, b) == 0;
}

// Returns the last component of a path, a pointer into the path.
inline const char *file_name_of(const char *path)
{
    const char *const name = instcomm_extract_file_name_from_path(path);
    return name == nullptr ? path : name;
}

// Returns a copy of a package or file name without its architecture suffix, which the caller frees; null if there is no
// memory.
inline char *copy_without_architecture(const char *name)
{
    char *const copy = strdup(name);
    if (copy != nullptr) {
        instcomm_strip_arch_from_package_name(copy);
    }
    return copy;
}
