// Building a record whose memory it is to own: the part that decoding and copying have in common.
//
// A record is built from a cleared one, front to back, so that a build that fails half-way leaves a record that can be
// released: an array then counts the elements that were begun.
#pragma once

#include "release.h"

namespace zeld
{

// What a record operation returns, 0 for success; zeld.h tells callers.
enum Status : int32_t { OK = 0, NULL_ARGUMENT = 1, BAD_ENCODING = 2, NO_MEMORY = 3 };

// Allocates an array of count elements, none of which is built yet. An empty array is a null pointer.
template <class T> [[gnu::always_inline]] inline Status new_array(T *&array, uint32_t count, zeld_allocator allocate)
{
    array = nullptr;
    if (count == 0) {
        return OK;
    }
    array = static_cast<T *>(allocate(std::size_t{count} * sizeof(T)));
    return array == nullptr ? NO_MEMORY : OK;
}

} // namespace zeld
