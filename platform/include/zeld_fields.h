/*
 * The fields of every record, each described once, and accessors for each. zeld.h includes this file and documents the
 * accessors.
 *
 * A list has one line per field, in the order of the struct. Each line has five parameters: the record; the presence
 * bit; the type of the value (for an array: of an element); the name of the field; a label for people. The members of
 * an array are called name and name_count. To walk through the fields, expand a list with three macros of these five
 * parameters: for a VALUE (a number or a text), a nested RECORD, and an ARRAY.
 */
#ifndef ZELD_H
#error "include zeld.h instead"
#endif
#ifndef ZELD_FIELDS_H
#define ZELD_FIELDS_H

#define ZELD_FIELDS_inst_node_loc(VALUE, RECORD, ARRAY)                                                                \
    VALUE(inst_node_loc, 0, uint32_t, loc_id_1, "First id")                                                            \
    VALUE(inst_node_loc, 1, uint32_t, loc_id_2, "Second id")                                                           \
    VALUE(inst_node_loc, 2, uint32_t, loc_id_3, "Third id")

#define ZELD_FIELDS_sp_detail(VALUE, RECORD, ARRAY)                                                                    \
    VALUE(sp_detail, 0, char *, sp_name, "Name")                                                                       \
    ARRAY(sp_detail, 1, char *, sp_rpms, "RPMs")

#define ZELD_FIELDS_serv_packs(VALUE, RECORD, ARRAY) ARRAY(serv_packs, 0, service_pack, service_packs, "Service packs")

#define ZELD_FIELDS_inst_swp_package(VALUE, RECORD, ARRAY)                                                             \
    VALUE(inst_swp_package, 0, char *, name, "Name")                                                                   \
    ARRAY(inst_swp_package, 1, char *, files, "RPMs")                                                                  \
    VALUE(inst_swp_package, 2, char *, aux_name, "Second name")                                                        \
    VALUE(inst_swp_package, 3, uint64_t, pkg_value, "Value")                                                           \
    VALUE(inst_swp_package, 4, uint32_t, pkg_type, "Type")                                                             \
    VALUE(inst_swp_package, 5, uint8_t, pkg_marker, "Marker")                                                          \
    ARRAY(inst_swp_package, 6, char *, extra_list, "Extra list")                                                       \
    ARRAY(inst_swp_package, 7, char *, extra_list_2, "Second extra list")                                              \
    VALUE(inst_swp_package, 8, uint8_t, is_sp_pkg, "Service pack member")                                              \
    VALUE(inst_swp_package, 9, uint64_t, extra_value, "Extra value")

#define ZELD_FIELDS_inst_sw_profile_info(VALUE, RECORD, ARRAY)                                                         \
    VALUE(inst_sw_profile_info, 0, char *, lv_name, "Logical volume")                                                  \
    RECORD(inst_sw_profile_info, 1, inst_swp_package, image, "Image")                                                  \
    ARRAY(inst_sw_profile_info, 2, inst_swp_package, packages, "Packages")                                             \
    VALUE(inst_sw_profile_info, 3, char *, version, "Version")                                                         \
    ARRAY(inst_sw_profile_info, 4, sp_detail, sp_details, "Service packs")                                             \
    ARRAY(inst_sw_profile_info, 5, char *, sp_names, "Service pack names")                                             \
    VALUE(inst_sw_profile_info, 6, uint8_t, is_single_initrd_supported, "Single initrd")

#define ZELD_FIELDS_inst_sw_profile_loc(VALUE, RECORD, ARRAY)                                                          \
    ARRAY(inst_sw_profile_loc, 0, inst_node_loc, node_locs, "Nodes")                                                   \
    RECORD(inst_sw_profile_loc, 1, inst_sw_profile_info, sw_profile, "Software")

#define ZELD_FIELDS_inst_sw_profile_sdr(VALUE, RECORD, ARRAY)                                                          \
    VALUE(inst_sw_profile_sdr, 0, uint32_t, vm_type, "VM type")                                                        \
    VALUE(inst_sw_profile_sdr, 1, char *, sdr_key, "SDR")                                                              \
    RECORD(inst_sw_profile_sdr, 2, inst_sw_profile_info, sw_profile, "Software")                                       \
    ARRAY(inst_sw_profile_sdr, 3, inst_sw_profile_loc, loc_profiles, "Location profiles")

#define ZELD_FIELDS_inst_sw_profile_sdr_ext(VALUE, RECORD, ARRAY)                                                      \
    RECORD(inst_sw_profile_sdr_ext, 0, inst_sw_profile_sdr, sdr_sw_profile, "Software profile")                        \
    VALUE(inst_sw_profile_sdr_ext, 1, uint64_t, ext_value, "Extension value")                                          \
    VALUE(inst_sw_profile_sdr_ext, 2, uint32_t, sdr_sw_profile_len, "Encoded bytes at creation")

/* Every record, nested records and elements first. */
#define ZELD_RECORDS(DO)                                                                                               \
    DO(inst_node_loc)                                                                                                  \
    DO(sp_detail)                                                                                                      \
    DO(serv_packs)                                                                                                     \
    DO(inst_swp_package)                                                                                               \
    DO(inst_sw_profile_info)                                                                                           \
    DO(inst_sw_profile_loc)                                                                                            \
    DO(inst_sw_profile_sdr)                                                                                            \
    DO(inst_sw_profile_sdr_ext)

static inline bool zeld_has_bit(const uint8_t *presence, unsigned bit)
{
    return ((presence[bit / 8] >> (bit % 8)) & 1) != 0;
}

static inline void zeld_set_bit(uint8_t *presence, unsigned bit)
{
    presence[bit / 8] = (uint8_t)(presence[bit / 8] | (1u << (bit % 8)));
}

static inline void zeld_clear_bit(uint8_t *presence, unsigned bit)
{
    presence[bit / 8] = (uint8_t)(presence[bit / 8] & ~(1u << (bit % 8)));
}

#define ZELD_VALUE_ACCESSORS(R, bit, type, name, label)                                                                \
    static inline bool R##_has_##name(const R *record)                                                                 \
    {                                                                                                                  \
        return zeld_has_bit(record->presence, bit);                                                                    \
    }                                                                                                                  \
    static inline void R##_set_##name(R *record, type value)                                                           \
    {                                                                                                                  \
        record->name = value;                                                                                          \
        zeld_set_bit(record->presence, bit);                                                                           \
    }                                                                                                                  \
    static inline void R##_clear_##name(R *record)                                                                     \
    {                                                                                                                  \
        record->name = 0;                                                                                              \
        zeld_clear_bit(record->presence, bit);                                                                         \
    }

#define ZELD_RECORD_ACCESSORS(R, bit, type, name, label)                                                               \
    static inline bool R##_has_##name(const R *record)                                                                 \
    {                                                                                                                  \
        return zeld_has_bit(record->presence, bit) || type##_has_any(&record->name);                                   \
    }                                                                                                                  \
    static inline void R##_set_##name(R *record, type value)                                                           \
    {                                                                                                                  \
        record->name = value;                                                                                          \
        zeld_set_bit(record->presence, bit);                                                                           \
    }                                                                                                                  \
    static inline void R##_clear_##name(R *record)                                                                     \
    {                                                                                                                  \
        type##_clear(&record->name);                                                                                   \
        zeld_clear_bit(record->presence, bit);                                                                         \
    }

#define ZELD_ARRAY_ACCESSORS(R, bit, type, name, label)                                                                \
    static inline bool R##_has_##name(const R *record)                                                                 \
    {                                                                                                                  \
        return zeld_has_bit(record->presence, bit);                                                                    \
    }                                                                                                                  \
    static inline void R##_set_##name(R *record, type *array, uint32_t count)                                          \
    {                                                                                                                  \
        record->name = array;                                                                                          \
        record->name##_count = count;                                                                                  \
        zeld_set_bit(record->presence, bit);                                                                           \
    }                                                                                                                  \
    static inline void R##_clear_##name(R *record)                                                                     \
    {                                                                                                                  \
        record->name = 0;                                                                                              \
        record->name##_count = 0;                                                                                      \
        zeld_clear_bit(record->presence, bit);                                                                         \
    }                                                                                                                  \
    static inline uint32_t R##_get_##name(const R *record, type **array_p)                                             \
    {                                                                                                                  \
        type *const array = R##_has_##name(record) ? record->name : 0;                                                 \
        if (array_p != 0) {                                                                                            \
            *array_p = array;                                                                                          \
        }                                                                                                              \
        return array == 0 ? 0 : record->name##_count;                                                                  \
    }

#define ZELD_OR_HAS(R, bit, type, name, label) || R##_has_##name(record)
#define ZELD_THEN_CLEAR(R, bit, type, name, label) R##_clear_##name(record);

#define ZELD_ACCESSORS(R)                                                                                              \
    ZELD_FIELDS_##R(ZELD_VALUE_ACCESSORS, ZELD_RECORD_ACCESSORS,                                                       \
                    ZELD_ARRAY_ACCESSORS) static inline bool R##_has_any(const R *record)                              \
    {                                                                                                                  \
        return false ZELD_FIELDS_##R(ZELD_OR_HAS, ZELD_OR_HAS, ZELD_OR_HAS);                                           \
    }                                                                                                                  \
    static inline void R##_clear(R *record)                                                                            \
    {                                                                                                                  \
        ZELD_FIELDS_##R(ZELD_THEN_CLEAR, ZELD_THEN_CLEAR, ZELD_THEN_CLEAR)                                             \
    }

ZELD_RECORDS(ZELD_ACCESSORS)

#endif
