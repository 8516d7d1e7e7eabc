// The checksum of an encoding: XXH3 with 128 bits, most significant byte first.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zeld
{

using Checksum = std::array<uint8_t, 16>;

Checksum checksum_of(const void *bytes, std::size_t size);

} // namespace zeld
