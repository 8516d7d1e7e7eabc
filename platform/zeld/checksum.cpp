// Two totals over 64-bit words. `sum` adds the words up, so that a change within one of them is certain to be found.
// `mixed` is what finds everything else, above all the start of one writer's bytes with the end of another's: each step
// is a multiplication after an exclusive or, so that changes at regular distances don't cancel out as they would in
// sums. (Changes that are made to fit it do; nothing here is a signature.) It runs in four independent lanes, since the
// steps of one wait for each other.
#include "wire.h"

#include "bytes.h"

namespace zeld
{
namespace
{

constexpr std::size_t LANES = 4;
constexpr std::size_t BLOCK = LANES * sizeof(uint64_t);

[[gnu::always_inline]] inline uint64_t mix(uint64_t total, uint64_t word)
{
    return std::rotl((total ^ word) * 0x9e3779b97f4a7c15, 29);
}

struct Totals {
    uint64_t sum = 0;
    uint64_t mixed[LANES] = {1, 2, 3, 4};

    [[gnu::always_inline]] inline void add(const uint8_t *block)
    {
#pragma GCC unroll 4
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            const auto word = load_little<uint64_t>(block + lane * sizeof(uint64_t));
            sum += word;
            mixed[lane] = mix(mixed[lane], word);
        }
    }
};

struct Zeros {
    using Block [[gnu::vector_size(16)]] = uint8_t;
    static_assert(BLOCK == 2 * sizeof(Block));
    Block seen = {};

    [[gnu::always_inline]] inline void look_at(const uint8_t *bytes)
    {
        Block halves[2];
        std::memcpy(halves, bytes, sizeof halves);
        seen |= reinterpret_cast<Block>(halves[0] == 0) | reinterpret_cast<Block>(halves[1] == 0);
    }

    bool found() const
    {
        uint64_t halves[2];
        std::memcpy(halves, &seen, sizeof halves);
        return (halves[0] | halves[1]) != 0;
    }
};

} // namespace

Checksum checksum_of(const uint8_t *encoding, std::size_t size, bool &has_zero)
{
    Totals totals;
    Zeros zeros;
    uint8_t header[BLOCK] = {};
    std::memcpy(header, encoding, CHECKSUM_AT);
    totals.add(header);
    static_assert(BLOCK == HEADER_SIZE);

    const std::size_t whole_end = size - size % BLOCK;
    for (std::size_t at = HEADER_SIZE; at < whole_end; at += BLOCK) {
        totals.add(encoding + at);
        zeros.look_at(encoding + at);
    }
    if (whole_end < size) {
        uint8_t last[BLOCK] = {};
        std::memcpy(last, encoding + whole_end, size - whole_end);
        totals.add(last);
        std::memset(last + size % BLOCK, 1, BLOCK - size % BLOCK);
        zeros.look_at(last);
    }
    has_zero = zeros.found();

    Checksum result = {totals.sum, 0};
    for (const uint64_t lane : totals.mixed) {
        result.mixed = mix(result.mixed, lane);
    }
    return result;
}

} // namespace zeld
