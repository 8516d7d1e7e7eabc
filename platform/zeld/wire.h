// The frame around an encoded record; docs/encoding.md has the whole grammar.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zeld
{

// magic (8), version (2), kind (2), length of the whole (4), checksum (16); then the record.
inline constexpr std::size_t HEADER_SIZE = 32;
inline constexpr std::size_t CHECKSUM_AT = 16;
inline constexpr uint8_t MAGIC[8] = {'S', 'W', 'P', 'R', 'O', 'F', '\r', '\n'};
inline constexpr uint16_t VERSION = 1;

enum class RootKind : uint16_t { Sdr = 1, SdrExt = 2 };

// Readers measure a file in a signed 32-bit number and ask for one byte more.
inline constexpr uint64_t MAX_ENCODING = INT32_MAX - 1;

static_assert(sizeof(std::size_t) == 8,
              "sizes of arrays and texts are multiplied and added without looking for overflow");

struct Checksum {
    uint64_t sum;
    uint64_t mixed;
    bool operator==(const Checksum &) const = default;
};

// The checksum of an encoding of at least HEADER_SIZE bytes, over all of it but the checksum's own 16 bytes. On the way
// it finds out whether a zero stands in the record's bytes, where none belongs.
Checksum checksum_of(const uint8_t *encoding, std::size_t size, bool &has_zero);

} // namespace zeld
