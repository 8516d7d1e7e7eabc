// Compiles XXH3 into the including file, for the instruction set of that file.
#pragma once

#include "checksum.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstring>

static_assert(XXH_VERSION_NUMBER >= 800, "XXH3 computes other checksums before version 0.8.0");

namespace zeld
{

Checksum checksum_with_avx2(const void *bytes, std::size_t size); // twice as fast; x86-64 with AVX2 only

} // namespace zeld

namespace
{

zeld::Checksum xxh3_128(const void *bytes, std::size_t size)
{
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits(bytes, size));
    zeld::Checksum checksum;
    std::memcpy(&checksum, canonical.digest, sizeof checksum);
    return checksum;
}

} // namespace
