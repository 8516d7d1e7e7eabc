// Checks of what callers hand over: pointers and fetched profiles. Faults are reported in the name of the operation.
#pragma once

#include "verd_inst_ldpath.h"

// Is the parameter null?
bool is_null(const void *parameter, const char *function = __builtin_FUNCTION(), int line = __builtin_LINE());

// The VM's profile in a record. Null when there is none, which is a success with nothing for most operations.
inst_sw_profile_info *body_of(inst_sw_profile_sdr_ext &profile, const char *function = __builtin_FUNCTION());
