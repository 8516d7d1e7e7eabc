// Checks whether a profile exists. An empty file counts as missing, so that callers create the profile again instead of
// failing to decode it.
#pragma once

#include <cstdint>

// Not exported. Keeps this name because messages print it. Sets *exists to 1 if the .bin file exists and is not empty,
// otherwise to 0. A file that cannot be reached, or that cannot be examined (with an error text), counts as missing.
// Results: 0; INST_RC_INVALID_ARG.
uint64_t inst_ldpath_check_swprofile_file_exists(const char *swprofile_file, uint8_t *exists, char **err_msg_p);
