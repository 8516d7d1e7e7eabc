// Releasing what a record owns.
#pragma once

#include "schema.h"

namespace zeld
{

template <class R> void release_fields(R &record, zeld_deallocator deallocate);

template <class F, class R> [[gnu::always_inline]] inline void release_field(R &record, zeld_deallocator deallocate)
{
    auto &value = F::value(record);
    if constexpr (F::kind == Kind::Record) {
        release_fields(value, deallocate);
    } else if constexpr (F::kind == Kind::String) {
        deallocate(value);
    } else if constexpr (F::is_array) {
        if (value != nullptr) {
            for (uint32_t i = 0; i < F::count(record); ++i) {
                if constexpr (F::kind == Kind::StringList) {
                    deallocate(value[i]);
                } else {
                    release_fields(value[i], deallocate);
                }
            }
            deallocate(value);
        }
    }
}

// Frees every field that is there. The record is dangling then, which its owner is about to end.
template <class R> void release_fields(R &record, zeld_deallocator deallocate)
{
    each_field<R>([&]<class F, unsigned bit>() __attribute__((always_inline)) {
        if (F::kind == Kind::Record || is_present(record, bit)) {
            release_field<F>(record, deallocate);
        }
        return true;
    });
}

// Frees every field that is there and clears the record.
template <class R> void release(R &record, zeld_deallocator deallocate)
{
    release_fields(record, deallocate);
    clear_fields(record);
}

} // namespace zeld
