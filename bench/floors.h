// What an operation on a profile can't do without: the same strings, arrays, checksums and system calls, and nothing
// else. Each benchmark is compared with its floor.
#pragma once

#include "zeld.h"

#include <cstdint>
#include <vector>

namespace bench
{

// The heap blocks of a profile, in the order in which decoding allocates them.
struct Blocks {
    struct Block {
        std::size_t size;
        const char *text; // null: an array
    };
    std::vector<Block> blocks;
    std::vector<uint32_t> release_order;
    std::vector<void *> memory; // of one round
};

Blocks blocks_of_profile(const inst_sw_profile_sdr_ext &profile);
Blocks blocks_of_packages(const inst_sw_profile_sdr_ext &profile); // content only, without their array

// strlen and memcpy of each string, and the checksum of as many bytes as the encoding has.
void encode_floor(const Blocks &blocks, std::vector<uint8_t> &buffer);

// The checksum, one malloc per string and array, and memcpy of the strings, whose lengths are known.
void decode_floor(Blocks &blocks, const std::vector<uint8_t> &encoding);

// strlen, malloc and memcpy of each string, one malloc per array.
void duplicate_floor(Blocks &blocks);

void free_floor(Blocks &blocks);

// open, fstat, read, decode.
inst_sw_profile_sdr_ext *fetch_floor(const char *path);

// The writes, syncs and the reading back, with the library's own encoder and renderer.
void store_floor(const inst_sw_profile_sdr_ext &profile, const char *bin_path, const char *txt_path);

} // namespace bench
