// XXH3, inlined from its own header into each file that is compiled for a set of instructions.
#pragma once

#include "checksum.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace
{

zeld::Checksum xxh3_128(const void *bytes, std::size_t size)
{
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, XXH3_128bits(bytes, size));
    return std::to_array(canonical.digest);
}

} // namespace
