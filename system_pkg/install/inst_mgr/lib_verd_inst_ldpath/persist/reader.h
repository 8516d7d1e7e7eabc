// Reads a .bin file back into a record.
#pragma once

#include "zeld.h"

#include <cstdint>
#include <cstdio>

// The size of an open file in bytes, the position put to its start; 0 when the position can't be changed, -1 when
// it can't be told. Beyond 31 bits the size is cut, and may be negative.
int32_t inst_get_file_size(FILE *stream);

// Stores a new record in *record_out, which is untouched on failure; it is freed with
// inst_ldpath_free_swprofile_ext(). Results: 0; INST_RC_INVALID_ARG; an errno code when the file can't be opened,
// measured or read, with an errno of 0 for an empty file; INST_RC_NO_MEMORY, also for a size that no profile has;
// INSTMGR_RC_INVALID_DATA when it grows meanwhile, holds no profile, or memory runs out while it is decoded.
uint64_t inst_decode_sw_profile_ext(const char *file_path, inst_sw_profile_sdr_ext **record_out);
