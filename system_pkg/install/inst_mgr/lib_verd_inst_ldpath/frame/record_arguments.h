// Checks of arguments: pointers and fetched profiles. They report faults under the name of the operation.
#pragma once

#include "verd_inst_ldpath.h"

// Returns whether the parameter is null, and reports it if so, with `function` and `line`, by default those of the
// caller. Check one pointer per line: the line identifies it in the log.
bool is_null(const void *parameter, const char *function = __builtin_FUNCTION(), int line = __builtin_LINE());

// Returns the body of a record, or null if there is none; the operations then return 0 and leave their outputs
// unchanged.
inst_sw_profile_info *body_of(inst_sw_profile_sdr_ext &profile, const char *function = __builtin_FUNCTION());
