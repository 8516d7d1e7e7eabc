// An order of records: by what is there, then field by field. Those are equal that hold the same; a nested record holds
// what its fields hold, whatever its own bit says. Some of the fields may be selected:
//
//     order_of(a, b) == 0
//     order_of<Only<&inst_sw_profile_info::version>>(a, b) == 0
//     order_of<AllBut<&inst_sw_profile_info::lv_name>>(a, b) == 0
#pragma once

#include "schema.h"

#include <cstring>

namespace zeld
{

template <auto... Members> struct Only {
    template <auto Member> static constexpr bool takes = (std::is_same_v<MemberTag<Member>, MemberTag<Members>> || ...);
};

template <auto... Members> struct AllBut {
    template <auto Member> static constexpr bool takes = !Only<Members...>::template takes<Member>;
};

template <class Selection = AllBut<>, class R> int order_of(const R &a, const R &b);

// Null before all.
inline int order_of_texts(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? (a != nullptr) - (b != nullptr) : std::strcmp(a, b);
}

template <class T> int order_of_numbers(T a, T b)
{
    return (a > b) - (a < b);
}

// A field that is there in both.
template <class F, class R> int order_of_field(const R &a, const R &b)
{
    if constexpr (F::kind == Kind::String) {
        return order_of_texts(F::value(a), F::value(b));
    } else if constexpr (F::kind == Kind::Scalar) {
        return order_of_numbers(F::value(a), F::value(b));
    } else if constexpr (F::kind == Kind::Record) {
        return order_of(F::value(a), F::value(b));
    } else {
        const uint32_t count = F::value(a) == nullptr ? 0 : F::count(a);
        int order = order_of_numbers(count, F::value(b) == nullptr ? 0 : F::count(b));
        for (uint32_t i = 0; i < count && order == 0; ++i) {
            if constexpr (F::kind == Kind::StringList) {
                order = order_of_texts(F::value(a)[i], F::value(b)[i]);
            } else {
                order = order_of(F::value(a)[i], F::value(b)[i]);
            }
        }
        return order;
    }
}

// Negative, 0 or positive.
template <class Selection, class R> int order_of(const R &a, const R &b)
{
    int order = 0;
    each_field<R>([&]<class F, unsigned bit>() {
        if constexpr (Selection::template takes<F::member> && F::kind != Kind::Record) {
            order = order_of_numbers(is_present(a, bit), is_present(b, bit));
        }
        return order == 0;
    }) &&
        each_field<R>([&]<class F, unsigned bit>() {
            if constexpr (Selection::template takes<F::member>) {
                if (F::kind == Kind::Record || is_present(a, bit)) {
                    order = order_of_field<F>(a, b);
                }
            }
            return order == 0;
        });
    return order;
}

} // namespace zeld
