// Finds the entries of a body that a new package duplicates or supersedes.
#pragma once

#include "verd_inst_ldpath.h"

// The arguments of inst_ldpath_add_pkg_in_swp(). If the call succeeds, the body takes ownership of name, and files is
// freed unless file_count is 0.
struct NewPackage {
    char *name;
    char **files;
    uint32_t file_count;
    uint64_t value;
    uint32_t type; // install package type
    uint64_t sp_source;
};

// For the new package rules: the package's name without version and release, and whether it is a host-OS or third-party
// package.
struct BaseName {
    char text[500]; // a longer base name is cut, and then does not match entries of the same base name
    bool is_hostos;
    bool is_tp;
};

struct SearchResult {
    char **superseded; // receives copies of the names of superseded entries; may be null
    uint32_t count = 0;
    bool supersedes_any = false; // also set if `superseded` is null
    bool is_duplicate = false;
};

// Splits a package name. Reports failures. Results: 0; those of instcomm_split_swp_pkg_entry().
uint64_t read_base_name(const char *name, BaseName &base, char **text);

// Searches the packages and, for a host-OS package that supersedes none of them, the base RPMs. `base` must be null
// under the old package rules.
// Results: 0; INST_RC_NO_MEMORY; those of instcomm_split_swp_pkg_entry() for the name of an entry, reported.
uint64_t find_superseded(const inst_sw_profile_info &body, const NewPackage &package, const BaseName *base,
                         SearchResult &found, char **text);
