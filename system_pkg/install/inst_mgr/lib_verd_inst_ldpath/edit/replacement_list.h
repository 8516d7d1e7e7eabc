// The replacement list: names of the entries that a newly added package supersedes. The adder fills it, its caller
// removes them.
#pragma once

#include "frame/owned.h"

// Allocates a list with room for all that a package can supersede in the body: each of its packages, or each of its
// base RPMs. A body without either gets no list. Results: 0; INSTMGR_RC_NO_MEMORY, reported.
uint64_t make_replacement_list(OwnedStringList &list, const inst_sw_profile_info &body);

// Shrinks the list to the names in it. Results: 0; INSTMGR_RC_NO_MEMORY, reported.
uint64_t shrink_replacement_list(OwnedStringList &list);
