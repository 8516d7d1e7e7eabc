// The size of the buffer that profiles are encoded into.
#pragma once

#include <cstdint>

// Large enough for ordinary profiles. Storing allocates a larger buffer if needed; creating rejects the profile.
inline constexpr uint32_t ENCODE_BUFFER_SIZE = 102400;
