// Decodes mutated profiles with a correct header and checksum. What decodes must encode to the same bytes.
#include "zeld.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(uint8_t *data, std::size_t size, std::size_t max_size);

extern "C" std::size_t LLVMFuzzerCustomMutator(uint8_t *data, std::size_t size, std::size_t max_size, unsigned)
{
    constexpr char HEADER[] = "SWPROF\r\n\1\0\2";
    XXH128_canonical_t checksum;
    size = LLVMFuzzerMutate(data, size, max_size);
    if (size >= sizeof HEADER + sizeof(uint32_t) + sizeof checksum) {
        const auto length = static_cast<uint32_t>(size);
        std::memcpy(data, HEADER, sizeof HEADER);
        std::memcpy(data + sizeof HEADER, &length, sizeof length);
        XXH128_canonicalFromHash(&checksum, XXH3_128bits(data, size - sizeof checksum));
        std::memcpy(data + size - sizeof checksum, &checksum, sizeof checksum);
    }
    return size;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size)
{
    inst_sw_profile_sdr_ext record = {};
    if (zeld_inst_sw_profile_sdr_ext_decode_ext(&record, data, static_cast<uint32_t>(size), std::malloc, 0) == 0) {
        std::vector<uint8_t> again(size);
        const auto count = static_cast<uint32_t>(size);
        if (zeld_inst_sw_profile_sdr_ext_encode_ext(&record, again.data(), count, 0, 0, 0) != count ||
            std::memcmp(again.data(), data, size) != 0) {
            std::abort();
        }
    }
    zeld_inst_sw_profile_sdr_ext_free_ext(&record, std::free);
    return 0;
}
