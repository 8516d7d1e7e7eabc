// Adds a package to a body with copies of its name and RPM list.
#pragma once

#include "frame/owned.h"

// A package to be added. Its texts remain the caller's.
struct PackageRequest {
    const char *name;
    char *const *rpms;
    uint32_t rpm_count;
    uint64_t value;
    uint32_t type; // install package type
    uint64_t sp_source;
};

// Owned copies of name and RPM list. inst_ldpath_add_pkg_in_swp() takes them if it succeeds: the name moves into the
// body, and the list is freed.
struct PackageCopies {
    Owned<char> name;
    OwnedStringList rpms;
};

// Adds the package with inst_ldpath_add_pkg_in_swp(), whose results it returns. Name and RPM list are those of
// `copies`, which the caller has filled and which are released on success. `superseded` must have room for every entry
// that the package may supersede.
uint64_t add_copied_package(inst_sw_profile_info &body, const PackageRequest &package, PackageCopies &copies,
                            OwnedStringList &superseded, uint32_t reserved, char **text);
