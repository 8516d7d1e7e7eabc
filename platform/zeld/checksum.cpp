#include "checksum_inline.h"

zeld::Checksum zeld::checksum_of(const void *bytes, std::size_t size)
{
#ifdef __x86_64__
    if (__builtin_cpu_supports("avx2")) {
        return checksum_with_avx2(bytes, size);
    }
#endif
    return xxh3_128(bytes, size);
}
