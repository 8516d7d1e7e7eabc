// Paths that callers receive: heap texts that they free.
#pragma once

#include <cstddef>
#include <cstdint>

// Copies a path into a new text with room for `spare` more characters. *copy_p is set even on failure: null if there is
// no memory (INST_RC_NO_MEMORY), an empty text, which the caller frees, if strncpy_s() fails (INST_RC_INVALID_ARG).
uint64_t copy_path(const char *path, char **copy_p, std::size_t spare = 0);

// Composes the path of the text twin with inst_get_sdr_swprofile_txt_file(). Results: those of that function;
// INST_RC_FAILED if an interposed function returns 0 without a path.
uint64_t name_twin(const char *bin_path, char **twin_p, char **text);
