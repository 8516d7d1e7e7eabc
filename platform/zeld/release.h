// Freeing the memory that a record owns, even if decoding or copying it has failed halfway.
#pragma once

#include "schema.h"

namespace zeld
{

// Each release() frees what a value owns. It leaves dangling pointers, so the caller clears or frees the value next.
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

template <IsRecord R> void release(const R &record, zeld_deallocator deallocate)
{
    const auto bits = presence_of(record);
    for_each_field<R>([&](auto field) {
        if (field.is_visited(bits)) {
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
