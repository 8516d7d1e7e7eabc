// A Fletcher sum over 32-bit words with 64-bit totals, in four independent lanes: additions of one chain wait for each
// other, those of four don't. Every total takes part in the result with an odd factor of its own, so that a change
// within one word always changes `sum`, and two words that trade places change `weighted`.
#include "wire.h"

#include "bytes.h"

namespace zeld
{
namespace
{

constexpr std::size_t LANES = 4;
constexpr std::size_t BLOCK = LANES * sizeof(uint32_t);

struct Lanes {
    uint64_t sum[LANES] = {};
    uint64_t weighted[LANES] = {};

    [[gnu::always_inline]] inline void add(const uint8_t *block)
    {
        for (std::size_t lane = 0; lane < LANES; ++lane) {
            sum[lane] += load_little<uint32_t>(block + lane * sizeof(uint32_t));
            weighted[lane] += sum[lane];
        }
    }
};

struct Zeros {
    using Block [[gnu::vector_size(BLOCK)]] = uint8_t;
    Block seen = {};

    [[gnu::always_inline]] inline void look_at(const uint8_t *bytes)
    {
        Block block;
        std::memcpy(&block, bytes, sizeof block);
        seen |= reinterpret_cast<Block>(block == 0);
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
    Lanes lanes;
    Zeros zeros;
    lanes.add(encoding);
    static_assert(BLOCK == CHECKSUM_AT && CHECKSUM_AT + BLOCK == HEADER_SIZE);

    const std::size_t whole_end = size - size % BLOCK;
    for (std::size_t at = HEADER_SIZE; at < whole_end; at += BLOCK) {
        lanes.add(encoding + at);
        zeros.look_at(encoding + at);
    }
    if (whole_end < size) {
        uint8_t last[BLOCK] = {};
        std::memcpy(last, encoding + whole_end, size - whole_end);
        lanes.add(last);
        std::memset(last + size % BLOCK, 1, BLOCK - size % BLOCK);
        zeros.look_at(last);
    }
    has_zero = zeros.found();

    constexpr uint64_t FACTOR[LANES] = {1, 0x9e3779b97f4a7c15, 0xbf58476d1ce4e5b9, 0x94d049bb133111eb};
    Checksum result = {};
    for (std::size_t lane = 0; lane < LANES; ++lane) {
        result.sum += FACTOR[lane] * lanes.sum[lane];
        result.weighted += FACTOR[lane] * lanes.weighted[lane];
    }
    return result;
}

} // namespace zeld
