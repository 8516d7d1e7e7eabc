// Access to the fields of a record that keeps the presence bits right. A field is named by its member:
//
//     record::set<&inst_swp_package::name>(package, text);
//     record::set<&inst_swp_package::files>(package, list, count);
//     if (record::has<&inst_sw_profile_info::version>(body)) ...
//
// set stores a text or an array as it is, without copying: the record owns it from then on. clear frees nothing.
#pragma once

#include "schema.h"

namespace record
{

template <auto Member> using Record = typename zeld::MemberOf<Member>::Record;
template <auto Member> using Value = typename zeld::MemberOf<Member>::Type;
template <auto Member> inline constexpr unsigned BIT = zeld::bit_of<Member>();

namespace detail
{

// Calls use(field) with the field that a member belongs to.
template <auto Member, class Use> constexpr void with_field(Use use)
{
    zeld::for_each_field<Record<Member>>([&](auto field) {
        if constexpr (field.bit == BIT<Member>) {
            use(field);
        }
    });
}

} // namespace detail

template <auto Member> void set(Record<Member> &record, std::type_identity_t<Value<Member>> value)
{
    record.*Member = value;
    zeld::set_present(record, BIT<Member>, true);
}

template <auto Member> void set(Record<Member> &record, std::type_identity_t<Value<Member>> array, uint32_t count)
{
    detail::with_field<Member>([&](auto field) { field.count(record) = count; });
    set<Member>(record, array);
}

// For a nested record: is it, or any field of it, there?
template <auto Member> bool has(const Record<Member> &record)
{
    if constexpr (std::is_class_v<Value<Member>>) {
        return zeld::is_present(record, BIT<Member>) || zeld::has_any_field(record.*Member);
    } else {
        return zeld::is_present(record, BIT<Member>);
    }
}

template <auto Member> void clear(Record<Member> &record)
{
    detail::with_field<Member>([&](auto field) {
        if constexpr (field.is_array) {
            field.count(record) = 0;
        }
    });
    record.*Member = {};
    zeld::set_present(record, BIT<Member>, false);
}

// The count of an array; the array itself goes to *array_p where that is given. An absent array is null, and a null
// array counts as empty.
template <auto Member> uint32_t get(const Record<Member> &record, Value<Member> *array_p)
{
    const Value<Member> array = has<Member>(record) ? record.*Member : nullptr;
    uint32_t count = 0;
    detail::with_field<Member>([&](auto field) { count = array == nullptr ? 0 : field.count(record); });
    if (array_p != nullptr) {
        *array_p = array;
    }
    return count;
}

} // namespace record
