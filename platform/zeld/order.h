// A total order of records: by the presence of their fields, then by the fields' values. A nested record's own presence
// bit is ignored. The comparison can be restricted to some fields:
//
//     order_of(a, b) == 0
//     order_of<Only<Schema<inst_sw_profile_info>::version_field>>(a, b) == 0
//     order_of<Except<Schema<inst_sw_profile_info>::lv_name_field>>(a, b) == 0
#pragma once

#include "schema.h"

#include <cstring>

namespace zeld
{

template <class... Fields> struct Only {
    template <class Field> static constexpr bool selects = (std::is_same_v<Field, Fields> || ...);
};

template <class... Fields> struct Except {
    template <class Field> static constexpr bool selects = !Only<Fields...>::template selects<Field>;
};

// Each returns a negative number, 0 or a positive one.
template <IsNumber T> int order_of(T a, T b)
{
    return (a > b) - (a < b);
}

// A null text comes first.
inline int order_of(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? (a != nullptr) - (b != nullptr) : std::strcmp(a, b);
}

template <class Selection = Except<>, IsRecord R> int order_of(const R &a, const R &b);

// A null array counts as empty.
template <class T> int order_of_arrays(const T *a, uint32_t a_count, const T *b, uint32_t b_count)
{
    const uint32_t count = a == nullptr ? 0 : a_count;
    int order = order_of(count, b == nullptr ? 0 : b_count);
    for (uint32_t i = 0; i < count && order == 0; ++i) {
        order = order_of(a[i], b[i]);
    }
    return order;
}

template <class Selection, IsRecord R> int order_of(const R &a, const R &b)
{
    int order = 0;
    const auto order_presence = [&](auto field) {
        if constexpr (Selection::template selects<decltype(field)> && !field.is_record) {
            order = order_of(field.is_present(a), field.is_present(b));
        }
        return order == 0;
    };
    const auto order_values = [&](auto field) {
        if constexpr (Selection::template selects<decltype(field)>) {
            if (field.is_visited(presence_of(a))) {
                if constexpr (field.is_array) {
                    order = order_of_arrays(field.value(a), field.count(a), field.value(b), field.count(b));
                } else {
                    order = order_of(field.value(a), field.value(b));
                }
            }
        }
        return order == 0;
    };
    if (all_fields<R>(order_presence)) {
        all_fields<R>(order_values);
    }
    return order;
}

} // namespace zeld
