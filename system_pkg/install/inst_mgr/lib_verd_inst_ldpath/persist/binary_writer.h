// Writes an encoded profile to its .bin file and verifies the file.
#pragma once

#include <cstdint>

// Not exported. Keeps this name because messages print it. Writes `length` bytes in place, syncs, reads the file back
// and compares. If the file cannot be opened for reading or its content differs, tries again, up to five attempts in
// all; every other failure ends the call. Creates missing directories. Removes the file if it cannot be written, if its
// content differs, or if there is no memory for reading it back. Results: 0; INSTMGR_RC_EMPTY_SWPROFILE for a length of
// 0; INST_RC_INVALID_ARG; an errno code if the file cannot be opened or fwrite() fails. BEWARE: 0 is also returned if
// the file could not be verified.
uint64_t inst_write_sdr_swprofile_to_file(const char *file_path, const void *buffer, uint32_t length,
                                          char **error_message_out);
