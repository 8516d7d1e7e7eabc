/*
 * The software-profile records, and the operations on them: encode, decode, duplicate, free.
 *
 * Every record ends in presence bytes: bit i (byte i / 8, least significant bit first) belongs to field i, counted
 * from 0 in the order of the struct, an array and its count being one field. A field whose bit is clear is absent,
 * whatever its members contain: a text or an array is not encoded, copied or freed; a number is not encoded, but
 * duplicates keep it. A nested record is the exception: it is present if its own bit is set or any of its fields is.
 *
 * Strings end in NUL. A text that is present may be null, such as the lv_name of a profile that was created without
 * one; so may an entry of a list of texts. All memory that a record owns comes from malloc.
 *
 * Callers allocate records themselves and nest them by value. So any change of a record's members, an appended field
 * included, breaks programs that were compiled before: it requires a new soname of every library that takes records.
 */
#ifndef ZELD_H
#define ZELD_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* A node, by three numbers; two nodes are the same when all three are equal. */
typedef struct inst_node_loc {
    uint32_t loc_id_1, loc_id_2, loc_id_3;
    uint8_t presence[1];
} inst_node_loc;

/* One service pack: its name and the RPMs it delivers. */
typedef struct sp_detail {
    char *sp_name;
    char **sp_rpms;
    uint32_t sp_rpms_count;
    uint8_t presence[1];
} sp_detail;
typedef sp_detail service_pack; /* its accessors: sp_detail_... */

/* A set of service packs, as an argument of calls. */
typedef struct serv_packs {
    service_pack *service_packs;
    uint32_t service_packs_count;
    uint8_t presence[1];
} serv_packs;

/* One package entry of a profile; the image entry has the same form. */
typedef struct inst_swp_package {
    char *name;   /* name-version-release, or the image's file name */
    char **files; /* names of its RPM files; for the image: the base RPM list */
    uint32_t files_count;
    char *aux_name;     /* a second name */
    uint64_t pkg_value; /* from the caller that added the package, or the size of its bundle; 0 if none */
    uint32_t pkg_type;  /* profile package type, 1 to 5; 0 for the image */
    uint8_t pkg_marker; /* non-zero: queries may be asked to skip the entry */
    char **extra_list;  /* not interpreted, only stored */
    uint32_t extra_list_count;
    char **extra_list_2; /* not interpreted, only stored */
    uint32_t extra_list_2_count;
    uint8_t is_sp_pkg;    /* 1: a member of a service pack */
    uint64_t extra_value; /* not interpreted, only stored */
    uint8_t presence[2];
} inst_swp_package;

/* The body of a profile: the software that a VM, or some of its nodes, runs. */
typedef struct inst_sw_profile_info {
    char *lv_name; /* logical volume that contains the software */
    inst_swp_package image;
    inst_swp_package *packages; /* in the order in which they were added */
    uint32_t packages_count;
    char *version;
    sp_detail *sp_details; /* one per service pack; sp_names[i] names sp_details[i] */
    uint32_t sp_details_count;
    char **sp_names;
    uint32_t sp_names_count;
    uint8_t is_single_initrd_supported; /* absent when false */
    uint8_t presence[1];
} inst_sw_profile_info;

/* A location profile: a body that applies to some nodes only. */
typedef struct inst_sw_profile_loc {
    inst_node_loc *node_locs;
    uint32_t node_locs_count;
    inst_sw_profile_info sw_profile;
    uint8_t presence[1];
} inst_sw_profile_loc;

/* The profile of one VM type of one SDR. */
typedef struct inst_sw_profile_sdr {
    uint32_t vm_type;
    char *sdr_key; /* absent in Admin profiles */
    inst_sw_profile_info sw_profile;
    inst_sw_profile_loc *loc_profiles;
    uint32_t loc_profiles_count;
    uint8_t presence[1];
} inst_sw_profile_sdr;

/* The root: a profile file contains the encoding of exactly one such record. */
typedef struct inst_sw_profile_sdr_ext {
    inst_sw_profile_sdr sdr_sw_profile;
    uint64_t ext_value;
    uint32_t sdr_sw_profile_len; /* size of sdr_sw_profile, encoded alone, at creation */
    uint8_t presence[1];
} inst_sw_profile_sdr_ext;

/* clang-format off */
/*
 * Accessors. zeld_fields.h defines these inline functions for every field F of every record R:
 *
 *   void     R_set_F(R *, value)            a number, a text, or a nested record by value
 *   void     R_set_F(R *, elements, count)  an array
 *   bool     R_has_F(const R *)             is it present? A nested record is present if its bit is set or one of
 *                                           its fields is present
 *   void     R_clear_F(R *)                 zeroes it and makes it absent; a nested record: with all its fields
 *   uint32_t R_get_F(const R *, elements *) an array: returns the count and stores the elements, unless the pointer
 *                                           for them is null; 0 and null if it is absent
 *   bool     R_has_any(const R *)           is any field present?
 *   void     R_clear(R *)                   clears every field
 *
 * Examples: inst_swp_package_set_name(&package, name), inst_sw_profile_info_get_packages(&body, &packages). A record
 * owns the memory that is set, and its free operation frees it. set and clear copy nothing and free nothing.
 */
/* clang-format on */
#include "zeld_fields.h"

typedef void *(*zeld_allocator)(size_t);
typedef void (*zeld_deallocator)(void *);

/*
 * Encode a record into the caller's buffer. Return the size of the encoding: if it is greater than buffer_size, the
 * content of the buffer is unusable, and a second call with a buffer of that size succeeds. Return 0 if the record
 * cannot be encoded: it is null, or needs 2147483647 bytes or more, which no reader accepts. A null buffer counts as a
 * buffer of size 0. The last three arguments are ignored; pass 0.
 */
uint32_t zeld_inst_sw_profile_sdr_encode_ext(const inst_sw_profile_sdr *record, void *buffer, uint32_t buffer_size,
                                             uint32_t reserved_1, uint32_t reserved_2, uint32_t reserved_3);
uint32_t zeld_inst_sw_profile_sdr_ext_encode_ext(const inst_sw_profile_sdr_ext *record, void *buffer,
                                                 uint32_t buffer_size, uint32_t reserved_1, uint32_t reserved_2,
                                                 uint32_t reserved_3);

/*
 * Decodes exactly `count` bytes into the record, whose previous content is overwritten, not freed. Strings and arrays
 * come from the allocator, which must be malloc or compatible with free. Returns 0, or non-zero with the record cleared
 * and nothing allocated: 1 null argument; 2 truncated, damaged, or of another kind or version; 3 out of memory.
 * Encoding a decoded record yields the same bytes.
 */
int32_t zeld_inst_sw_profile_sdr_ext_decode_ext(inst_sw_profile_sdr_ext *record, const void *bytes, uint32_t count,
                                                zeld_allocator allocator, uint64_t allocator_argument);

/*
 * Make deep copies. The previous content of dst is overwritten, not freed. Return 0, or non-zero (1 null argument, 3
 * out of memory) with dst cleared and nothing allocated. The allocator must be malloc or compatible with free.
 */
int32_t zeld_inst_swp_package_duplicate(inst_swp_package *dst, const inst_swp_package *src, zeld_allocator allocator,
                                        uint64_t allocator_argument);
int32_t zeld_inst_node_loc_duplicate(inst_node_loc *dst, const inst_node_loc *src, zeld_allocator allocator,
                                     uint64_t allocator_argument);
int32_t zeld_sp_detail_duplicate(sp_detail *dst, const sp_detail *src, zeld_allocator allocator,
                                 uint64_t allocator_argument);
int32_t zeld_serv_packs_duplicate(serv_packs *dst, const serv_packs *src, zeld_allocator allocator,
                                  uint64_t allocator_argument);

/*
 * Free everything that a record owns, not the record itself, and clear it, so that a second call does nothing. For null
 * texts, the deallocator is called with null, as free() allows. Do nothing if the record or the deallocator is null.
 * Arguments after the deallocator are ignored.
 */
void zeld_inst_swp_package_free_ext(inst_swp_package *record, zeld_deallocator deallocator, ...);
void zeld_inst_node_loc_free_ext(inst_node_loc *record, zeld_deallocator deallocator, ...);
void zeld_sp_detail_free_ext(sp_detail *record, zeld_deallocator deallocator, ...);
void zeld_serv_packs_free_ext(serv_packs *record, zeld_deallocator deallocator, ...);
void zeld_inst_sw_profile_loc_free_ext(inst_sw_profile_loc *record, zeld_deallocator deallocator, ...);
void zeld_inst_sw_profile_sdr_ext_free_ext(inst_sw_profile_sdr_ext *record, zeld_deallocator deallocator, ...);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
