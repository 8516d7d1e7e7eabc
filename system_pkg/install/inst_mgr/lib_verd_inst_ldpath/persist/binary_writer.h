// Puts an encoded profile on disk as its .bin file, and makes sure that it got there.
#pragma once

#include <cstdint>

// Writes length bytes in place, forces them to stable storage, reads the file back and compares, up to five times.
// Missing directories are made. A file that couldn't be written, doesn't hold what was written, or can't be looked at
// for lack of memory is removed. Results: 0; INSTMGR_RC_EMPTY_SWPROFILE for a length of 0; INST_RC_INVALID_ARG; an
// errno code when the file can't be opened or written. BEWARE: 0 is also what a file yields that was written but
// couldn't be verified.
uint64_t inst_write_sdr_swprofile_to_file(const char *file_path, const void *buffer, uint32_t length,
                                          char **error_message_out);
