// Reads a .bin file into a record. The functions are not exported. They keep these names because messages print them.
#pragma once

#include "zeld.h"

#include <cstdint>
#include <cstdio>

// Returns the size of an open file in bytes, and moves its position to the start; 0 if the position cannot be changed,
// -1 if it cannot be determined. Only the low 32 bits are returned, so a large size may be negative.
int32_t inst_get_file_size(FILE *stream);

// Stores a new record in *record_out, which the caller frees with inst_ldpath_free_swprofile_ext(); unchanged on
// failure. Results: 0; INST_RC_INVALID_ARG; an errno code if the file cannot be opened, measured or read, with an errno
// of 0 for an empty file; INST_RC_NO_MEMORY, also if inst_get_file_size() returns INT32_MAX or a negative number;
// INSTMGR_RC_INVALID_DATA if the file is larger than the returned size, cannot be decoded, or memory runs out during
// decoding.
uint64_t inst_decode_sw_profile_ext(const char *file_path, inst_sw_profile_sdr_ext **record_out);
