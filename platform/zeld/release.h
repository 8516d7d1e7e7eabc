// Releasing what a record owns, also one that was built only in part.
#pragma once

#include "schema.h"

#include <cstdlib>

namespace zeld
{

// What a record operation returns, 0 for success; zeld.h tells callers.
enum Status : int32_t { OK = 0, NULL_ARGUMENT = 1, BAD_ENCODING = 2, NO_MEMORY = 3 };

// The owner of what release() is given is about to end, or to be cleared: pointers to freed memory stay in it.
inline void release(char *text, zeld_deallocator deallocate)
{
    deallocate(text);
}

template <IsRecord R> void release(const R &record, zeld_deallocator deallocate);

template <class T> void release_array(T *array, uint32_t count, zeld_deallocator deallocate)
{
    if (array != nullptr) {
        for (uint32_t i = 0; i < count; ++i) {
            release(array[i], deallocate);
        }
        deallocate(array);
    }
}

// Frees every field that is present.
template <IsRecord R> void release(const R &record, zeld_deallocator deallocate)
{
    const auto bits = presence_of(record);
    for_each_field<R>([&](auto field) {
        if (field.is_record || (bits >> field.bit & 1) != 0) {
            if constexpr (field.is_array) {
                release_array(field.value(record), field.count(record), deallocate);
            } else if constexpr (!field.is_number) {
                release(field.value(record), deallocate);
            }
        }
    });
}

template <IsRecord R> void release_and_clear(R &record, zeld_deallocator deallocate)
{
    release(record, deallocate);
    clear_fields(record);
}

} // namespace zeld
