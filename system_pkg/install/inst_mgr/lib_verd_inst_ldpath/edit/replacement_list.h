// The replacement list: names of the entries that a new package supersedes. inst_ldpath_add_pkg_in_swp() fills it; its
// caller may then remove these entries.
#pragma once

#include "frame/owned.h"

// Allocates a list with room for every entry that a package can supersede: all packages and all base RPMs of the body.
// For a body without any the list stays null. Results: 0; INSTMGR_RC_NO_MEMORY, reported.
uint64_t allocate_replacement_list(OwnedStringList &list, const inst_sw_profile_info &body);

// Shrinks the list to the names in it. Results: 0; INSTMGR_RC_NO_MEMORY, reported.
// Quirk: a failure is an error, although the larger list would do; log searches match its message.
uint64_t shrink_replacement_list(OwnedStringList &list);
