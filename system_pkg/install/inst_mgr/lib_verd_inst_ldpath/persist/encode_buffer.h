// What a profile is encoded into.
#pragma once

#include <cstdint>

// Holds all ordinary profiles. A profile that is stored may need more, one that is created may not.
inline constexpr uint32_t ENCODE_BUFFER_SIZE = 102400;
