// Moving header numbers, record numbers and texts in and out of the wire format. docs/encoding.md has the grammar.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace zeld
{

// Header numbers are little-endian on every host; so are the words that the checksum adds up.
template <class T> [[gnu::always_inline]] inline T load_little(const uint8_t *at)
{
    T value = 0;
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(&value, at, sizeof value);
    } else {
        for (std::size_t i = sizeof value; i > 0; --i) {
            value = static_cast<T>(value << 8 | at[i - 1]);
        }
    }
    return value;
}

template <class T> [[gnu::always_inline]] inline void store_little(uint8_t *at, T value)
{
    if constexpr (std::endian::native == std::endian::little) {
        std::memcpy(at, &value, sizeof value);
    } else {
        for (std::size_t i = 0; i < sizeof value; ++i) {
            at[i] = static_cast<uint8_t>(value >> (8 * i));
        }
    }
}

// A number within a record: groups of six bits, least significant first, one a byte. LAST marks the final byte, MORE
// all others, so that no byte is zero.
inline constexpr unsigned GROUP_BITS = 6;
inline constexpr uint8_t GROUP = 0x3f;
inline constexpr uint8_t LAST = 0x40;
inline constexpr uint8_t MORE = 0x80;
inline constexpr std::size_t MAX_NUMBER_SIZE = 11; // of 64 bits

[[gnu::always_inline]] inline std::size_t store_number(uint8_t *at, uint64_t value)
{
    std::size_t size = 0;
    while (value > GROUP) {
        at[size++] = static_cast<uint8_t>(MORE | (value & GROUP));
        value >>= GROUP_BITS;
    }
    at[size++] = static_cast<uint8_t>(LAST | value);
    return size;
}

// Reads a number of at most `bits` bits. Returns where it ends, or null when it isn't one in its shortest form.
[[gnu::always_inline]] inline const uint8_t *load_number(const uint8_t *at, const uint8_t *end, unsigned bits,
                                                         uint64_t &value)
{
    value = 0;
    for (unsigned shift = 0; at != end && shift < bits; shift += GROUP_BITS) {
        const uint8_t byte = *at++;
        const uint64_t group = byte & GROUP;
        value |= group << shift;
        if ((byte & ~GROUP) == LAST) [[likely]] {
            const bool is_shortest = shift == 0 || group != 0;
            const bool fits = shift + GROUP_BITS <= bits || group >> (bits - shift) == 0;
            return is_shortest && fits ? at : nullptr;
        }
        if ((byte & ~GROUP) != MORE) {
            return nullptr;
        }
    }
    return nullptr;
}

// What stands before the bytes of a text. Lengths of up to 14 bits, which is all but never more, take two bytes of
// seven bits, least significant first, each with its top bit set: one form for short and long names, since a branch
// between two could not be foreseen. Any other text starts with one of the marks.
inline constexpr std::size_t SHORT_TEXT_LIMIT = 1 << 14;
inline constexpr uint16_t SHORT_TEXT = 0x8080;
inline constexpr uint8_t NULL_TEXT = 0x01;
inline constexpr uint8_t LONG_TEXT = 0x02; // a number, the length, follows

[[gnu::always_inline]] inline void store_short_length(uint8_t *at, std::size_t length)
{
    store_little(at, static_cast<uint16_t>((length + (length & 0x3f80)) | SHORT_TEXT));
}

[[gnu::always_inline]] inline bool is_short_length(uint16_t mark)
{
    return (mark & SHORT_TEXT) == SHORT_TEXT;
}

[[gnu::always_inline]] inline std::size_t short_length(uint16_t mark)
{
    return (mark & 0x7f) | (mark >> 1 & 0x3f80);
}

} // namespace zeld
