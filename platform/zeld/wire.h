// The parts of the format that encoder and decoder share; docs/encoding.md has the grammar.
#pragma once

#include "checksum.h"
#include "schema.h"

#include <array>

namespace zeld
{

enum class RootKind : uint16_t { Sdr = 1, SdrExt = 2 };

// The library's reader computes the file size plus 1 in a signed 32-bit number.
inline constexpr std::size_t MAX_ENCODING = INT32_MAX - 1;

// The length of a text precedes its bytes.
using TextLength = uint32_t;
inline constexpr TextLength NULL_TEXT = UINT32_MAX;

static_assert(sizeof(std::size_t) == 8, "sums and products of lengths are not checked for overflow");

// Numbers are little-endian. Compilers turn each of these functions into one load or store.
template <IsNumber T> void store(uint8_t *at, T value)
{
    [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference): the encoder calls this only if there is room
        ((at[I] = static_cast<uint8_t>(value >> 8 * I)), ...);
    }
    (std::make_index_sequence<sizeof(T)>{});
}

template <IsNumber T> T load(const uint8_t *at)
{
    return [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        return static_cast<T>(((uint64_t{at[I]} << 8 * I) | ...));
    }
    (std::make_index_sequence<sizeof(T)>{});
}

// An encoding is a header, the record, and the checksum of all bytes before it.
using Header = std::array<uint8_t, 16>;

inline Header header_of(RootKind kind, std::size_t size)
{
    constexpr uint16_t VERSION = 1;
    Header header = {'S', 'W', 'P', 'R', 'O', 'F', '\r', '\n'};
    store(&header[8], VERSION);
    store(&header[10], static_cast<uint16_t>(kind));
    store(&header[12], static_cast<uint32_t>(size));
    return header;
}

} // namespace zeld
