// The readable twin of a .bin file.
#pragma once

#include "zeld.h"

#include <cstdint>

// Writes the twin of a .bin path as a whole: three lines of header (what, when, by which process), then the profile as
// text. Nothing is forced to disk, and what can't be written is lost without notice: nobody but people reads it.
// Results: 0; INST_RC_INVALID_ARG; those of naming the twin and of rendering the profile, after which an existing twin
// is untouched; an errno code when the file can't be opened.
uint64_t inst_write_sdr_swprofile_to_txt_file(const char *bin_file_path, const inst_sw_profile_sdr_ext *profile,
                                              char **error_message_out);
