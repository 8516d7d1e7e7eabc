// A realistic profile of any size: names of 30 to 60 bytes, three to six RPM files a package.
#pragma once

#include "zeld.h"

#include <cstdint>

// A new QX profile of "default-sdr" with `packages` packages; freed with zeld_inst_sw_profile_sdr_ext_free_ext and
// free.
inst_sw_profile_sdr_ext *new_sample_profile(uint32_t packages);
