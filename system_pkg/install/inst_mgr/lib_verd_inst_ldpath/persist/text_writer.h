// Writes the text twin of a .bin file, for people.
#pragma once

#include "zeld.h"

#include <cstdint>

// Not exported. Writes the twin of a .bin path: a header of three lines (title, time, process), then the rendered
// profile. The twin is for people only, so a failed write is not reported. Does not sync; the caller does. Results: 0;
// INST_RC_INVALID_ARG; those of name_twin() and of instcomm_get_swprofile_sdr_str(), which leave an existing twin
// unchanged; an errno code if the file cannot be opened.
uint64_t inst_write_sdr_swprofile_to_txt_file(const char *bin_file_path, const inst_sw_profile_sdr_ext *profile,
                                              char **error_message_out);
