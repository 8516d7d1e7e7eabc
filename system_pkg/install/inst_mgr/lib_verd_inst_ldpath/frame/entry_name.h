// Names of package entries.
#pragma once

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
