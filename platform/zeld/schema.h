// The fields of each record as types, generated from the lists in zeld_fields.h, for code that visits all fields:
// encode, decode, duplicate, release, compare and render.
#pragma once

#include "zeld.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace zeld
{

// Result of a record operation; zeld.h documents the values.
enum Status : int32_t { OK = 0, NULL_ARGUMENT = 1, BAD_ENCODING = 2, NO_MEMORY = 3 };

template <class T>
concept IsNumber = std::is_unsigned_v<T>;
template <class T>
concept IsRecord = std::is_class_v<T>;

template <class T, unsigned Bit, bool IsArray> struct Field {
    using Type = T;
    static constexpr unsigned bit = Bit;
    static constexpr bool is_array = IsArray;
    static constexpr bool is_record = IsRecord<T>;
    static constexpr bool is_number = IsNumber<T>;
    static_assert(is_array || is_record || is_number || std::is_same_v<T, char *>, "a field of no known kind");

    // A nested record is visited in any case: its own bit does not say whether its fields are present.
    static constexpr bool is_visited(unsigned presence) { return is_record || (presence >> Bit & 1) != 0; }
};

#define ZELD_FIELD_MEMBERS(R, name, text)                                                                              \
    static constexpr const char *label = text;                                                                         \
    static constexpr auto &value(auto &record)                                                                         \
    {                                                                                                                  \
        return record.name;                                                                                            \
    }                                                                                                                  \
    static bool is_present(const R &record)                                                                            \
    {                                                                                                                  \
        return R##_has_##name(&record);                                                                                \
    }

#define ZELD_FIELD(R, bit, type, name, text)                                                                           \
    struct name##_field : Field<type, bit, false> {                                                                    \
        ZELD_FIELD_MEMBERS(R, name, text)                                                                              \
    };

#define ZELD_ARRAY_FIELD(R, bit, type, name, text)                                                                     \
    struct name##_field : Field<type *, bit, true> {                                                                   \
        ZELD_FIELD_MEMBERS(R, name, text)                                                                              \
        static constexpr auto &count(auto &record) { return record.name##_count; }                                     \
    };

#define ZELD_PLUS_ONE(R, bit, type, name, text) +1
#define ZELD_AND_VISIT(R, bit, type, name, text) &&visit(name##_field{})

// Schema<R> has a type name_field for every field `name` of record R.
template <class R> struct Schema;

#define ZELD_SCHEMA(R)                                                                                                 \
    template <> struct Schema<R> {                                                                                     \
        ZELD_FIELDS_##R(ZELD_FIELD, ZELD_FIELD, ZELD_ARRAY_FIELD);                                                     \
        static constexpr unsigned field_count = 0 ZELD_FIELDS_##R(ZELD_PLUS_ONE, ZELD_PLUS_ONE, ZELD_PLUS_ONE);        \
        static constexpr bool all_fields(auto visit)                                                                   \
        {                                                                                                              \
            return true ZELD_FIELDS_##R(ZELD_AND_VISIT, ZELD_AND_VISIT, ZELD_AND_VISIT);                               \
        }                                                                                                              \
    };

ZELD_RECORDS(ZELD_SCHEMA)

// Calls visit(field) for each field of a record type in order, until a call returns false. `field` is an empty object.
template <class R, class Visit> constexpr bool all_fields(Visit visit)
{
    return Schema<R>::all_fields(visit);
}

template <class R, class Visit> constexpr void for_each_field(Visit visit)
{
    all_fields<R>([&](auto field) {
        visit(field);
        return true;
    });
}

template <class R> using Presence = std::conditional_t<sizeof(R::presence) == 1, uint8_t, uint16_t>;

// The presence bits as one number, without the bits that belong to no field.
template <class R> constexpr Presence<R> presence_of(const R &record)
{
    unsigned bits = 0;
    for (std::size_t i = 0; i < sizeof record.presence; ++i) {
        bits |= unsigned{record.presence[i]} << (8 * i);
    }
    return static_cast<Presence<R>>(bits & ((1U << Schema<R>::field_count) - 1));
}

template <class R> constexpr void set_presence(R &record, Presence<R> bits)
{
    for (std::size_t i = 0; i < sizeof record.presence; ++i) {
        record.presence[i] = static_cast<uint8_t>(bits >> (8 * i));
    }
}

template <IsRecord R> constexpr void clear_fields(R &record);

template <class F, IsRecord R> constexpr void clear_field(F field, R &record)
{
    if constexpr (field.is_record) {
        clear_fields(field.value(record));
    } else {
        field.value(record) = {};
    }
    if constexpr (field.is_array) {
        field.count(record) = 0;
    }
}

// Clears every field. Frees nothing.
template <IsRecord R> constexpr void clear_fields(R &record)
{
    for_each_field<R>([&](auto field) { clear_field(field, record); });
    set_presence(record, 0);
}

// Compile-time checks that each list matches its struct. The number of members detects a missing small member that fits
// into padding; the size detects a wrong type.
struct AnyMember {
    template <class T> constexpr operator T() const;
};

template <class R, std::size_t... I> constexpr bool has_members(std::index_sequence<I...>)
{
    return requires
    {
        R{(static_cast<void>(I), AnyMember{})...};
    };
}

template <class R> struct Layout {
    std::size_t end = 0;
    std::size_t members = 0;
    bool has_bits_in_order = true;

    template <class T> constexpr void add()
    {
        end = (end + alignof(T) - 1) / alignof(T) * alignof(T) + sizeof(T);
        ++members;
    }

    static constexpr Layout of_list()
    {
        Layout layout;
        unsigned bit = 0;
        for_each_field<R>([&](auto field) {
            layout.template add<typename decltype(field)::Type>();
            if constexpr (field.is_array) {
                layout.template add<uint32_t>();
            }
            layout.has_bits_in_order = layout.has_bits_in_order && field.bit == bit++;
        });
        for (std::size_t i = 0; i < sizeof(R::presence); ++i) {
            layout.template add<uint8_t>();
        }
        layout.end = (layout.end + alignof(R) - 1) / alignof(R) * alignof(R);
        return layout;
    }
};

#define ZELD_CHECK_LIST(R)                                                                                             \
    static_assert(has_members<R>(std::make_index_sequence<Layout<R>::of_list().members>{}) &&                          \
                      !has_members<R>(std::make_index_sequence<Layout<R>::of_list().members + 1>{}),                   \
                  #R ": ZELD_FIELDS_" #R " does not list as many members as the struct has");                          \
    static_assert(Layout<R>::of_list().end == sizeof(R), #R ": ZELD_FIELDS_" #R " has other types than the struct");   \
    static_assert(Layout<R>::of_list().has_bits_in_order, #R ": the bits in ZELD_FIELDS_" #R " are not 0, 1, 2, ..."); \
    static_assert(Schema<R>::field_count <= 8 * sizeof(R::presence), #R ": more fields than presence bits");

ZELD_RECORDS(ZELD_CHECK_LIST)

} // namespace zeld
