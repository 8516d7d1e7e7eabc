// One compile-time schema per record: the fields in the order of their presence bits, each with the label that people
// read, from which its key in JSON is made, too. Everything that walks a record (the codec, copies, releases,
// comparisons, the accessors of the profile library, what is shown as text and as JSON) is driven by it, so that a
// field is described here and nowhere else.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "zeld.h"

namespace zeld
{

enum class Kind { Scalar, String, StringList, Record, RecordList };

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

// A field of one member: a number, a text or a nested record; or an array: a pointer and its count.
template <Label Name, auto Member, auto Count = nullptr> struct Field {
    using Type = typename MemberOf<Member>::Type;
    static constexpr const char *label = Name.text;
    static constexpr auto member = Member;
    static constexpr bool is_array = !std::is_null_pointer_v<decltype(Count)>;
    static constexpr Kind kind = std::is_same_v<Type, char *>    ? Kind::String
                                 : std::is_same_v<Type, char **> ? Kind::StringList
                                 : is_array                      ? Kind::RecordList
                                 : std::is_class_v<Type>         ? Kind::Record
                                                                 : Kind::Scalar;
    static_assert(is_array == (kind == Kind::StringList || kind == Kind::RecordList));

    template <class R> static constexpr auto &value(R &record) { return record.*Member; }
    template <class R> static constexpr auto &count(R &record) { return record.*Count; }
};

template <class... Fields> struct FieldList {
    static constexpr unsigned field_count = sizeof...(Fields);

    // Calls visit.operator()<Field, bit>() for each field in order, until one of them returns false.
    template <class Visit> [[gnu::always_inline]] static inline constexpr bool each(Visit visit)
    {
        return [&]<std::size_t... I>(std::index_sequence<I...>) __attribute__((always_inline))
        {
            return (visit.template operator()<Fields, static_cast<unsigned>(I)>() && ...);
        }
        (std::index_sequence_for<Fields...>{});
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

// Calls visit.operator()<Field, bit>() for each field of the record type.
template <class R, class Visit> [[gnu::always_inline]] inline constexpr bool each_field(Visit visit)
{
    return Schema<R>::each(visit);
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

// The presence bits as one number; bits that belong to no field don't count.
template <class R> constexpr uint64_t presence_of(const R &record)
{
    uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof record.presence; ++i) {
        bits |= uint64_t{record.presence[i]} << (8 * i);
    }
    return bits & ((uint64_t{1} << Schema<R>::field_count) - 1);
}

template <class R> constexpr void set_presence(R &record, uint64_t bits)
{
    for (std::size_t i = 0; i < sizeof record.presence; ++i) {
        record.presence[i] = static_cast<uint8_t>(bits >> (8 * i));
    }
}

// Clears every field, and frees nothing. (Field by field, since compilers make a slow string instruction of `record =
// {}`.)
template <class R> [[gnu::always_inline]] inline constexpr void clear_fields(R &record)
{
    each_field<R>([&]<class F, unsigned>() __attribute__((always_inline)) {
        if constexpr (F::kind == Kind::Record) {
            clear_fields(F::value(record));
        } else {
            F::value(record) = {};
            if constexpr (F::is_array) {
                F::count(record) = 0;
            }
        }
        return true;
    });
    set_presence(record, 0);
}

// Is any field of the record there, at any depth of nested records? Elements of arrays don't count.
template <class R> constexpr bool has_any_field(const R &record)
{
    return !each_field<R>([&]<class F, unsigned bit>() {
        if constexpr (F::kind == Kind::Record) {
            return !is_present(record, bit) && !has_any_field(F::value(record));
        } else {
            return !is_present(record, bit);
        }
    });
}

template <auto Member> struct MemberTag;

// The bit of a member, found through the member itself.
template <auto Member> constexpr unsigned bit_of()
{
    unsigned found = 0;
    const bool missing = each_field<typename MemberOf<Member>::Record>([&]<class F, unsigned bit>() {
        found = bit;
        return !std::is_same_v<MemberTag<F::member>, MemberTag<Member>>;
    });
    return missing ? ~0U : found;
}

// Every member of a record stands in its schema, so that a member added without its line doesn't compile. Size and
// number are both compared: a small member can hide in padding, and a number says nothing of order and types.
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
        each_field<R>([&]<class F, unsigned>() {
            layout.template add<typename F::Type>();
            if constexpr (F::is_array) {
                layout.template add<uint32_t>();
            }
            return true;
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
