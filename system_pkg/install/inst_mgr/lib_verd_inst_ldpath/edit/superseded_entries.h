// What a package that is to be added finds in a body: itself, or the entries that it supersedes.
#pragma once

#include "verd_inst_ldpath.h"

// The package to be added, as the caller describes it. Name and files become the profile's when it has been added.
struct NewPackage {
    char *name;
    char **files;
    uint32_t file_count;
    uint64_t value;
    uint32_t type; // install package type
    uint64_t sp_source;
};

// What the new package rules make of its name.
struct BaseName {
    char text[500];
    bool is_hostos;
    bool is_tp;
};

// What is found out about the entries that are there.
struct Findings {
    char **superseded; // where their names go; may be null
    uint32_t count = 0;
    bool is_superseding = false; // also when the names go nowhere
    bool is_duplicate = false;
};

// Results: 0, and those of instcomm_split_swp_pkg_entry(). Failures are reported.
uint64_t read_base_name(const char *name, BaseName &base, char **text);

// Goes through the packages and, for a host-OS package, the base RPMs; `base` is null under the old package rules.
// Results: 0; INST_RC_NO_MEMORY; those of splitting the name of an entry, which are reported.
uint64_t find_superseded(const inst_sw_profile_info &body, const NewPackage &package, const BaseName *base,
                         Findings &findings, char **text);
