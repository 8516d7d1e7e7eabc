// Does a profile exist? A file without content counts as absent, so that such a profile is made anew, not decoded.
#pragma once

#include <cstdint>

// Stores the answer for a .bin path in *exists. A file that can't be reached counts as absent, with result 0; so does
// one that can't be examined, with an error text. Results: 0, INST_RC_INVALID_ARG.
uint64_t inst_ldpath_check_swprofile_file_exists(const char *swprofile_file, uint8_t *exists, char **err_msg_p);
