// The parts of the format that encoder and decoder share; docs/encoding.md has the grammar.
#pragma once

#include "checksum.h"
#include "schema.h"

#include <bit>
#include <cstring>

namespace zeld
{

// Before the record: magic, version, kind, and the size of the whole encoding. After it: the checksum of all bytes
// before.
inline constexpr uint8_t MAGIC[8] = {'S', 'W', 'P', 'R', 'O', 'F', '\r', '\n'};
inline constexpr uint16_t VERSION = 1;
enum class RootKind : uint16_t { Sdr = 1, SdrExt = 2 };
inline constexpr std::size_t HEADER_SIZE = sizeof MAGIC + sizeof VERSION + sizeof(RootKind) + sizeof(uint32_t);

// The library's reader keeps the file size, and one byte more, in a signed 32-bit number.
inline constexpr std::size_t MAX_ENCODING = INT32_MAX - 1;

// The length of a null text.
inline constexpr uint32_t NULL_TEXT = UINT32_MAX;

static_assert(sizeof(std::size_t) == 8, "sums and products of lengths are not checked for overflow");

// Numbers are little-endian on every host.
template <IsNumber T> T little_endian(T value)
{
    if constexpr (std::endian::native == std::endian::little || sizeof value == 1) {
        return value;
    } else {
        T swapped = 0;
        for (std::size_t i = 0; i < sizeof value; ++i) {
            swapped = static_cast<T>(swapped << 8 | (value >> 8 * i & 0xff));
        }
        return swapped;
    }
}

template <IsNumber T> void store(uint8_t *at, T value)
{
    value = little_endian(value);
    std::memcpy(at, &value, sizeof value);
}

template <IsNumber T> T load(const uint8_t *at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return little_endian(value);
}

} // namespace zeld
