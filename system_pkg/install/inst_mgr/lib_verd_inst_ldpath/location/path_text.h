// A path as it is handed to callers: a heap text that they free.
#pragma once

#include <cstddef>
#include <cstdint>

// Copies a path into a new text with room for `spare` characters more. *copy_p holds the text at once: null when there
// is no memory (INST_RC_NO_MEMORY), and to be freed even when the bounded copy is refused (INST_RC_INVALID_ARG).
uint64_t copy_path(const char *path, char **copy_p, std::size_t spare = 0);

// Names the text twin with inst_get_sdr_swprofile_txt_file(). Results: those of that function; INST_RC_FAILED if a
// function that interposes it returns 0 without a path.
uint64_t name_twin(const char *bin_path, char **twin_p, char **text);
