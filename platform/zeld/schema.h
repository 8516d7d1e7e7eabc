// One compile-time schema per record: its fields in the order of their presence bits, each with a label for people,
// from which its JSON key is derived. Everything that walks through a record uses it (encode, decode, duplicate,
// release, compare, accessors, rendering as text and JSON), so a field is described here and nowhere else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "zeld.h"

namespace zeld
{

template <class T>
concept IsNumber = std::is_unsigned_v<T>;
template <class T>
concept IsRecord = std::is_class_v<T>;

template <auto Member> struct MemberOf;
template <class R, class T, T R::*Member> struct MemberOf<Member> {
    using Record = R;
    using Type = T;
};

template <std::size_t Size> struct Label {
    char text[Size];

    constexpr Label(const char (&label)[Size])
    {
        for (std::size_t i = 0; i < Size; ++i) {
            text[i] = label[i];
        }
    }
};

// A field is a number, a text, a nested record, or an array of texts or records: a pointer and its count.
template <Label Name, auto Member, auto Count = nullptr> struct Field {
    using Type = typename MemberOf<Member>::Type;
    static constexpr const char *label = Name.text;
    static constexpr auto member = Member;
    static constexpr bool is_array = !std::is_null_pointer_v<decltype(Count)>;
    static constexpr bool is_record = IsRecord<Type>;
    static constexpr bool is_number = IsNumber<Type>;
    static_assert(is_array || is_record || is_number || std::is_same_v<Type, char *>);

    template <class R> static constexpr auto &value(R &record) { return record.*Member; }
    template <class R> static constexpr auto &count(R &record) { return record.*Count; }
};

template <class F, unsigned Bit> struct Numbered : F {
    static constexpr unsigned bit = Bit;

    // A nested record is visited in any case: its own bit does not say whether its fields are present.
    static constexpr bool is_visited(unsigned presence) { return F::is_record || (presence >> Bit & 1) != 0; }
};

template <class... Fields> struct FieldList {
    static constexpr unsigned field_count = sizeof...(Fields);

    template <class Visit, std::size_t... I> static constexpr bool all(Visit visit, std::index_sequence<I...>)
    {
        return (visit(Numbered<Fields, I>{}) && ...);
    }
};

template <class Record> struct Schema;

template <>
struct Schema<inst_node_loc> : FieldList<Field<"First id", &inst_node_loc::loc_id_1>,  //
                                         Field<"Second id", &inst_node_loc::loc_id_2>, //
                                         Field<"Third id", &inst_node_loc::loc_id_3>> {
};

template <>
struct Schema<sp_detail> : FieldList<Field<"Name", &sp_detail::sp_name>, //
                                     Field<"RPMs", &sp_detail::sp_rpms, &sp_detail::sp_rpms_count>> {
};

template <>
struct Schema<serv_packs>
    : FieldList<Field<"Service packs", &serv_packs::service_packs, &serv_packs::service_packs_count>> {
};

template <>
struct Schema<inst_swp_package>
    : FieldList<Field<"Name", &inst_swp_package::name>,                                                             //
                Field<"RPMs", &inst_swp_package::files, &inst_swp_package::files_count>,                            //
                Field<"Second name", &inst_swp_package::aux_name>,                                                  //
                Field<"Value", &inst_swp_package::pkg_value>,                                                       //
                Field<"Type", &inst_swp_package::pkg_type>,                                                         //
                Field<"Marker", &inst_swp_package::pkg_marker>,                                                     //
                Field<"Extra list", &inst_swp_package::extra_list, &inst_swp_package::extra_list_count>,            //
                Field<"Second extra list", &inst_swp_package::extra_list_2, &inst_swp_package::extra_list_2_count>, //
                Field<"Service pack member", &inst_swp_package::is_sp_pkg>,                                         //
                Field<"Extra value", &inst_swp_package::extra_value>> {
};

template <>
struct Schema<inst_sw_profile_info>
    : FieldList<Field<"Logical volume", &inst_sw_profile_info::lv_name>,                                             //
                Field<"Image", &inst_sw_profile_info::image>,                                                        //
                Field<"Packages", &inst_sw_profile_info::packages, &inst_sw_profile_info::packages_count>,           //
                Field<"Version", &inst_sw_profile_info::version>,                                                    //
                Field<"Service packs", &inst_sw_profile_info::sp_details, &inst_sw_profile_info::sp_details_count>,  //
                Field<"Service pack names", &inst_sw_profile_info::sp_names, &inst_sw_profile_info::sp_names_count>, //
                Field<"Single initrd", &inst_sw_profile_info::is_single_initrd_supported>> {
};

template <>
struct Schema<inst_sw_profile_loc>
    : FieldList<Field<"Nodes", &inst_sw_profile_loc::node_locs, &inst_sw_profile_loc::node_locs_count>, //
                Field<"Software", &inst_sw_profile_loc::sw_profile>> {
};

template <>
struct Schema<inst_sw_profile_sdr>
    : FieldList<
          Field<"VM type", &inst_sw_profile_sdr::vm_type>,     //
          Field<"SDR", &inst_sw_profile_sdr::sdr_key>,         //
          Field<"Software", &inst_sw_profile_sdr::sw_profile>, //
          Field<"Location profiles", &inst_sw_profile_sdr::loc_profiles, &inst_sw_profile_sdr::loc_profiles_count>> {
};

template <>
struct Schema<inst_sw_profile_sdr_ext>
    : FieldList<Field<"Software profile", &inst_sw_profile_sdr_ext::sdr_sw_profile>, //
                Field<"Extension value", &inst_sw_profile_sdr_ext::ext_value>,       //
                Field<"Encoded bytes at creation", &inst_sw_profile_sdr_ext::sdr_sw_profile_len>> {
};

// Calls visit(field) for each field of a record type in order, until a call returns false. `field` is an empty object;
// its type has the label, the bit and the members.
template <class R, class Visit> constexpr bool all_fields(Visit visit)
{
    return Schema<R>::all(visit, std::make_index_sequence<Schema<R>::field_count>{});
}

template <class R, class Visit> constexpr void for_each_field(Visit visit)
{
    all_fields<R>([&](auto field) {
        visit(field);
        return true;
    });
}

template <class R> constexpr bool is_present(const R &record, unsigned bit)
{
    return ((record.presence[bit / 8] >> (bit % 8)) & 1U) != 0;
}

template <class R> constexpr void set_present(R &record, unsigned bit, bool present)
{
    const auto mask = static_cast<uint8_t>(1U << (bit % 8));
    uint8_t &byte = record.presence[bit / 8];
    byte = static_cast<uint8_t>(present ? byte | mask : byte & ~mask);
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

// Whether any field of the record is present, at any depth of nested records. Array elements are not searched.
template <class R> constexpr bool has_any_field(const R &record)
{
    return !all_fields<R>([&](auto field) {
        if constexpr (field.is_record) {
            return !is_present(record, field.bit) && !has_any_field(field.value(record));
        } else {
            return !is_present(record, field.bit);
        }
    });
}

template <auto Member> struct MemberTag;

// The bit of a member, found through the member itself.
template <auto Member> constexpr unsigned bit_of()
{
    unsigned found = 0;
    const bool missing = all_fields<typename MemberOf<Member>::Record>([&](auto field) {
        found = field.bit;
        return !std::is_same_v<MemberTag<field.member>, MemberTag<Member>>;
    });
    return missing ? ~0U : found;
}

// A member without its line in the schema must not compile. Both size and number of members are compared: a small
// member can hide in padding, and the number does not depend on order and types.
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

    template <class T> constexpr void add()
    {
        end = (end + alignof(T) - 1) / alignof(T) * alignof(T) + sizeof(T);
        ++members;
    }

    static constexpr Layout of_schema()
    {
        Layout layout;
        for_each_field<R>([&](auto field) {
            layout.template add<typename decltype(field)::Type>();
            if constexpr (field.is_array) {
                layout.template add<uint32_t>();
            }
        });
        for (std::size_t i = 0; i < sizeof(R::presence); ++i) {
            layout.template add<uint8_t>();
        }
        layout.end = (layout.end + alignof(R) - 1) / alignof(R) * alignof(R);
        return layout;
    }
};

template <class R> constexpr bool is_covered()
{
    constexpr auto layout = Layout<R>::of_schema();
    return layout.end == sizeof(R) && Schema<R>::field_count <= 8 * sizeof(R::presence) &&
           has_members<R>(std::make_index_sequence<layout.members>{}) &&
           !has_members<R>(std::make_index_sequence<layout.members + 1>{});
}

static_assert(is_covered<inst_node_loc>() && is_covered<sp_detail>() && is_covered<serv_packs>() &&
              is_covered<inst_swp_package>() && is_covered<inst_sw_profile_info>() &&
              is_covered<inst_sw_profile_loc>() && is_covered<inst_sw_profile_sdr>() &&
              is_covered<inst_sw_profile_sdr_ext>());

} // namespace zeld
