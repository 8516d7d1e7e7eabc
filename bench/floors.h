// Floors: the least work that an operation on a profile requires, with the same texts, arrays and system calls.
#pragma once

#include "zeld.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace bench
{

// The texts and numbers of a sample profile one after the other, and the sizes of the texts. The floors of encoding and
// decoding write and read these bytes, without presence bits, lengths and checks. The floor of decoding relies on the
// structure of the sample.
struct PlainBytes {
    std::vector<uint8_t> bytes;
    std::vector<uint32_t> text_sizes;
    uint32_t packages = 0;
};

PlainBytes plain_bytes_of(const inst_sw_profile_sdr_ext &profile);

// strlen and memcpy of each text and a store of each number, into a buffer that is large enough.
void encode_floor(const inst_sw_profile_sdr_ext &profile, PlainBytes &plain);

// One malloc per text and array, memcpy of each text and a load of each number.
void decode_floor(const PlainBytes &plain, inst_sw_profile_sdr_ext &profile);

// strlen, malloc and memcpy of each text, one malloc per array of texts, and an assignment of each number.
void duplicate_floor(const inst_swp_package *packages, std::vector<inst_swp_package> &copies);

// free() of each text and array.
void free_floor(inst_swp_package *packages, std::size_t count);
void free_floor(inst_sw_profile_sdr_ext &profile);

// open, fstat, read, decode.
inst_sw_profile_sdr_ext *fetch_floor(const char *path);

// The writes, syncs and the reading back, with the platform's encoder and renderer.
void store_floor(const inst_sw_profile_sdr_ext &profile, const char *bin_path, const char *txt_path);

} // namespace bench
