/*
 * The software-profile store: create, store, find, fetch and change software profiles, the records of what each VM
 * runs.
 *
 * A profile is one inst_sw_profile_sdr_ext record (zeld.h), kept as a .bin file with a readable .txt twin. It is
 * found by SDR key, scope, state and VM type:
 *
 *   sdr_key    the SDR's name, such as "default-sdr". It goes into paths as it stands; check it first if it comes from
 *              outside. Admin profiles have none.
 *   is_local   non-zero: the node's own repository; 0: the global install database
 *   part_type  the profile's state: 1 committed, 2 active, 3 prepared (VERD_SWP_...)
 *   vm_type    2 Admin, 3 QX, 4 LC QX, 6 UVF (VERD_VM_...); Host and Service VM have no profile
 *
 * Results are 64-bit codes, 0 for success. Codes of install-common (instcomm.h) pass through unchanged.
 *
 * An error-text slot (`char **err_msg_p`) may be null. Where it points to a null text, a failing operation may store a
 * text of at most 2047 characters there, entries "E:reason;" from the innermost cause outwards, which the caller frees
 * with free(). A slot that holds a text already is left alone.
 *
 * Returned paths and texts are freed with free(), returned profiles with inst_ldpath_free_swprofile_ext(). Unless said
 * otherwise, out-parameters are untouched on failure. A null pointer where none is allowed gives INST_RC_INVALID_ARG.
 *
 * Nothing here locks: initialise once, from one thread, before anything else; afterwards every operation may be called
 * from any thread, but two threads or processes that change one profile at once must be kept apart by their callers.
 */
#ifndef VERD_INST_LDPATH_H
#define VERD_INST_LDPATH_H

#include <stdbool.h>
#include <stdint.h>

#include "instcomm.h"
#include "zeld.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Result codes. */
#define INST_RC_FAILED 0x40101278CA100801ULL                 /* a generic failure */
#define INST_RC_NO_MEMORY 0x40101278CA100802ULL              /* out of memory: file names, buffers, records */
#define INST_RC_INVALID_ARG 0x40101278CA100803ULL            /* a null argument, or a copy that was refused */
#define INST_RC_NO_SWPROFILE 0x40101278CA10081FULL           /* this VM type has no software profile */
#define INSTMGR_RC_EMPTY_SWPROFILE 0x4010127ACA100902ULL     /* a profile of 0 bytes was to be written */
#define INSTMGR_RC_NO_MEMORY 0x4010127ACA100904ULL           /* out of memory: content of a profile */
#define INSTMGR_RC_INVALID_DATA 0x4010127ACA100907ULL        /* the request or the stored data is invalid */
#define INSTMGR_RC_INIT_FAILED 0x4010127ACA10090CULL         /* the trace can't be opened */
#define INSTMGR_RC_SWPROFILE_NOT_FOUND 0x1010127ACA100905ULL /* the profile doesn't exist */
#define INSTMGR_DUP_SWPROFILE_PKG 0x4010127ACA100949ULL      /* the package is in the profile already */

/* The code of a failed file operation: it carries the low 11 bits of errno. */
static inline uint64_t INSTMGR_RC_ERRNO(int err)
{
    return 0x4000127ACA100000ULL | ((uint64_t)(uint32_t)err & 0x7ffU);
}

/* VM types. */
enum { VERD_VM_HOST = 1, VERD_VM_ADMIN = 2, VERD_VM_QX = 3, VERD_VM_LC_QX = 4, VERD_VM_SERVICE = 5, VERD_VM_UVF = 6 };

/* Profile states. */
enum { VERD_SWP_COMMITTED = 1, VERD_SWP_ACTIVE = 2, VERD_SWP_PREPARED = 3 };

/* Install package types, as given by those who add packages. */
enum { VERD_PKG_SMU = 4, VERD_PKG_HOST_SMU = 6, VERD_PKG_KERNEL = 7, VERD_PKG_BASE = 8 };

/* Profile package types, as stored in a package entry. */
enum { VERD_SWP_PKG_BASE = 1, VERD_SWP_PKG_KERNEL = 4, VERD_SWP_PKG_HOST_SMU = 5 };

/* Names of VM types, states and result codes, and the directories of the repository. */
#include "verd_inst_ldpath_text.h"

/* The handle of this library's trace, "verd_inst_ldpath"; 0 until initialised. */
extern uint64_t verd_inst_ldpath_vestra_hdl;

/*
 * Prepare the library. `context` is passed on to the trace and to install-common. `fmt_info`, which may be null, is
 * copied into g_inst_pkg_fmt_info, a name of more than 15 characters cut.
 * Results: 0; INSTMGR_RC_INIT_FAILED with one line on standard error, after which the library must not be used; or
 * what instcomm_util_init() returned.
 */
uint64_t verd_inst_ldpath_lib_init(uint64_t context, const inst_pkg_fmt_info *fmt_info);

/* Is this a profile state? */
bool is_part_type_valid(int32_t part_type);

/* The profile package type (1 to 5) of an install package type; 1 for all but 1, 3, 6 and 7. */
uint32_t instcomm_inst_pkg_type_to_swp_type(uint32_t pkg_type);

/*
 * Copy `count` node locations, presence bits and all, into a new array, *dst_p, which is null when count is 0 and on
 * failure. The caller frees each element with zeld_inst_node_loc_free_ext() and the array with free(). Results: 0,
 * INST_RC_INVALID_ARG, INST_RC_NO_MEMORY.
 */
uint64_t verd_inst_dup_node_loc_list(uint32_t count, const inst_node_loc *src, inst_node_loc **dst_p);

/*
 * Compose the path of a profile's .bin file into a new text, whether the file exists or not. The global scope needs a
 * key for QX, LC QX and UVF. Paths of more than 4095 characters are cut.
 * Results: 0; INST_RC_INVALID_ARG; INSTMGR_RC_INVALID_DATA for an unknown state, or when the file of a system test
 * orders it, which is then deleted; INST_RC_NO_SWPROFILE; INST_RC_NO_MEMORY, with *swprofile_file_p null. Should the
 * bounded copy be refused (INST_RC_INVALID_ARG), *swprofile_file_p holds a text to be freed.
 */
uint64_t inst_get_sdr_swprofile_file(const char *sdr_key, char **swprofile_file_p, uint8_t is_local, int32_t part_type,
                                     uint32_t vm_type, char **err_msg_p);

/*
 * Compose the path of the text twin of a .bin path into a new text: all from its last '.' becomes ".txt".
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_INVALID_DATA for a path without a '.'.
 */
uint64_t inst_get_sdr_swprofile_txt_file(const char *swprofile_file, char **swprofile_txt_file_p, char **err_msg_p);

/*
 * Compose the path of the boot-active flag file into a new text; the file itself is the caller's business. The Admin
 * flag is always local; every other VM type has the SDR's.
 * Results: 0, INST_RC_INVALID_ARG, INST_RC_NO_MEMORY; *swprofile_file_p as for inst_get_sdr_swprofile_file().
 */
uint64_t inst_get_boot_active_swp_flag(const char *sdr_key, char **swprofile_file_p, uint8_t is_local,
                                       uint32_t vm_type);

/*
 * Store 1 in *exists when the profile's .bin file is there and not empty, else 0. A file that can't be reached counts
 * as absent, with result 0; so does one that can't be examined, with an error text.
 * Results: 0, INST_RC_INVALID_ARG, and those of inst_get_sdr_swprofile_file().
 */
uint64_t inst_ldpath_check_swprofile_exists(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                            uint8_t *exists, char **err_msg_p);

/*
 * Encode a profile and write its .bin file, verified by reading it back, and its .txt twin. Missing directories are
 * made. Local QX and LC QX profiles of "default-sdr" are copied to "/install_repo/local/" as well. The record stays
 * the caller's and isn't changed.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_EMPTY_SWPROFILE when the record can't be encoded;
 * INSTMGR_RC_INVALID_DATA; those of inst_get_sdr_swprofile_file(); an errno code when a file can't be opened or
 * written; INSTCOMM codes when the text can't be rendered or the copy to "/install_repo/local/" fails.
 * On disk: a failure before the .bin is opened leaves both files as they were. A .bin that couldn't be written is
 * removed. Later failures leave the new .bin in place. BEWARE: 0 is also returned when the .bin could be written but
 * not verified: no file is left then, which the error text tells, or an unverified one, without any text.
 */
uint64_t inst_write_sdr_swprofile_to_file2(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                           inst_sw_profile_sdr_ext *profile, char **error_message_out);

/*
 * Store a changed profile under the SDR key that it carries (none for Admin).
 * With part_short_name, a profile that carries an SDR key gets it as its lv_name first: the record then points at the
 * caller's text, which must live as long, and must be taken out of the record again before the record is released: put
 * the former lv_name back (it isn't freed here, and leaks otherwise), or set lv_name to null.
 * Results and disk: as for inst_write_sdr_swprofile_to_file2().
 */
uint64_t inst_ldpath_store_sdr_swprofile(inst_sw_profile_sdr_ext *profile, uint8_t is_local, int32_t part_type,
                                         char *part_short_name, uint32_t vm_type, char **error_message_out);

/* What a new profile is to hold, and where it is to live. Everything stays the caller's; texts may be null. */
typedef struct swprofile_create_request {
    char *sdr_key; /* required for QX, LC QX and UVF in global scope */
    uint8_t is_local;
    uint32_t part_type;
    char *lv_name;           /* logical volume that holds the software */
    char *image;             /* path of the image file; its last component is stored */
    char **image_rpms;       /* RPMs inside the image; sorted in place */
    uint32_t num_image_rpms; /* entries of image_rpms */
    uint32_t vm_type;
    char *version;
    char *image_aux_name;       /* a second name of the image */
    inst_swp_package *packages; /* initial packages, presence bits set */
    uint32_t packages_count;
    struct serv_packs *serv_packs; /* recorded when a package has is_sp_pkg set, ignored otherwise */
    uint8_t is_single_initrd_supported;
} swprofile_create_request;

/*
 * Create a profile and store it. When "/misc/disk1/usb/opt_pkgs" exists, the packages of the request are copied from
 * there to "/install_repo/gl/qx/" first. The profile's body may take up to 102400 bytes.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_NO_MEMORY; INSTMGR_RC_INVALID_DATA for a body that is
 * too large; the wait status of a failed copy of an optional package, sign-extended; and those of
 * inst_write_sdr_swprofile_to_file2(), whose notes on the disk hold here too. Any failure before the store leaves the
 * disk as it was, but for optional packages already copied, the one whose copy failed, which may be cut short, and
 * "/tmp/pkg_cpy_log", which each copy writes anew. The command of a copy is cut to 255 characters, which names of up to
 * 187 don't reach.
 */
uint64_t inst_ldpath_create_sdr_swprofile(swprofile_create_request *request);

/*
 * Delete a .bin file, its text twin and the files of both names in "/install_repo/local/", as far as they are there.
 * Results: 0, also when there was nothing, or a file couldn't be removed; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY;
 * INSTMGR_RC_INVALID_DATA for a path without a '.', whose file has been deleted by then.
 */
uint64_t inst_ldpath_delete_swprofile_file(const char *swprofile_file);

/*
 * Delete all three states of a profile: committed, active, prepared. The key is required for QX, LC QX and UVF in
 * either scope. Results: 0; INST_RC_INVALID_ARG; those of naming a file and of deleting it. States before the one that
 * failed are gone then.
 */
uint64_t inst_ldpath_delete_swprofile(const char *sdr_key, uint8_t is_local, uint32_t vm_type);

/*
 * Make the prepared profile the active one, by moving its files. A prepared profile that doesn't exist is no failure:
 * nothing changes.
 * Results: 0; those of naming files; an errno code when a file can't be moved; INSTCOMM codes when a flat copy can't.
 * What was moved before a failure stays so. Keys of more than 40 characters: see inst_ldpath_swp_copy().
 */
uint64_t inst_ldpath_swp_move_prep_to_act(const char *sdr_key, uint8_t is_local, uint32_t vm_type, char **err_msg_p);

/*
 * Copy a state of a profile over another one, file by file. A source that doesn't exist is no failure: nothing changes.
 * Results: 0; INSTMGR_RC_INVALID_DATA when both states are the same; those of naming files; an errno code when a file
 * can't be copied; INSTCOMM codes when a flat copy can't. What was copied before a failure stays so. Commands are cut
 * to 199 characters, which keys of up to 40 don't reach: a longer one may make a file of another name, with result 0.
 */
uint64_t inst_ldpath_swp_copy(const char *sdr_key, uint8_t is_local, uint32_t vm_type, int32_t src_state,
                              int32_t dest_state, char **err_msg_p);

/*
 * Add a package to a body in memory, as its last entry; nothing is stored. What the package supersedes stays in the
 * body, but is reported: the caller removes it with inst_ldpath_remove_pkg_in_swp().
 *
 *   pkg_name      heap text, name-version-release. The entry's from success on; the caller's on every other result.
 *   files         heap list of num_files heap texts, paths of the RPMs. Their last components are stored, architectures
 *                 taken off. Freed on success, the caller's on every other result; untouched when num_files is 0.
 *   pkg_value     stored unless 0
 *   pkg_type      install package type (VERD_PKG_...)
 *   replace_list  has room for as many texts as the body has packages and its image files; gets heap copies of the
 *                 names of superseded entries, which the caller frees. May be null: then nothing is reported.
 *   replace_count gets their number, also when the package is there already or the operation fails afterwards. Set it
 *                 to 0 before: under the old rules it is written only when something is superseded. With a null
 *                 pointer the new rules report nothing.
 *   reserved      not used
 *   sp_source     the address of a serv_packs, or 0. Used under the new package rules: when it delivers the package,
 *                 the entry is marked as a member, and the service packs join those of the body.
 *
 * Superseded is, under the old package rules (g_inst_pkg_fmt_info.is_new_format 0), one host SMU by another, or one
 * kernel package by one of the same class; under the new rules each package of the same base name and kind (host SMU,
 * kernel, and base packages that are host-OS or third-party), and, by a host-OS package for which there is none, each
 * base RPM of that base name. An entry without a type counts as being of the type of the last one before it that has
 * one.
 *
 * Results: 0; INSTMGR_DUP_SWPROFILE_PKG when an entry has this name (BEWARE: under the old rules the search ends at the
 * first superseded entry, and a name behind that is added again); INST_RC_INVALID_ARG; INST_RC_NO_MEMORY;
 * INST_RC_FAILED when a service pack has no detail; those of instcomm_split_swp_pkg_entry(), instcomm_match_lists() and
 * instcomm_get_sp_names_from_rpm(). The body is unchanged unless the result is 0.
 */
uint64_t inst_ldpath_add_pkg_in_swp(inst_sw_profile_info *profile, char *pkg_name, uint32_t num_files, char **files,
                                    uint64_t pkg_value, uint32_t pkg_type, char **replace_list, uint32_t *replace_count,
                                    uint32_t reserved, uint64_t sp_source, char **err_msg);

/*
 * Remove a name from a body in memory: every base RPM of that name if the image has one, otherwise every package of
 * that name. Base RPMs are removed under the new package rules only; under the old ones they stay, with result 0. A
 * body whose last package goes has no packages field any more; a base list whose last name goes is there and empty.
 * Results: 0, also when there was nothing to remove; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY with the body unchanged.
 */
uint64_t inst_ldpath_remove_pkg_in_swp(inst_sw_profile_info *profile, const char *pkg_name, char **err_msg);

/*
 * Add a package to a stored profile and, under the new package rules, remove what it supersedes; under the old ones
 * that stays. pkg_name may be a path, of which the last component counts; rpms and the other arguments are those of
 * inst_ldpath_add_pkg_in_swp(), but stay the caller's.
 * Results: 0, also when the package is there already: the profile is stored again then; INST_RC_INVALID_ARG;
 * INST_RC_NO_MEMORY; INSTMGR_RC_NO_MEMORY; those of inst_dup_string_list(), of reading the profile, of
 * inst_ldpath_add_pkg_in_swp() and inst_ldpath_remove_pkg_in_swp(), and of storing. On disk: a failure before the store
 * changes nothing; then as for storing.
 */
uint64_t inst_ldpath_add_swprofile_pkgs(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                        const char *pkg_name, char *const *rpms, uint32_t num_rpms, uint64_t pkg_value,
                                        uint32_t pkg_type, uint64_t sp_source, char **error_message_out);

/*
 * Remove a name from a stored profile: every package of that name or, if there is none, every base RPM. Under the new
 * package rules an architecture is taken off the name before. With a package, the service packs of sp_list, which may
 * be null, leave both lists of the body, and their packages are unmarked as by inst_ldpath_untag_sp_pkg_in_swp().
 * Details get the order of the names; without any name left, both lists are absent. BEWARE: a body with names, but
 * without details, keeps all of them when some remain. With a base RPM all of this stays. Results: 0, also when the
 * name isn't there, with nothing stored; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of reading the profile, of
 * instcomm_get_sp_names_from_sp_list(), inst_ldpath_untag_sp_pkg_in_swp() and of storing. On disk: as above.
 */
uint64_t inst_ldpath_remove_swprofile_pkgs(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                           const char *pkg_name, serv_packs *sp_list, char **error_message_out);

/*
 * Add host packages to the stored profile of Admin, one after the other, each as a transaction of its own: `count`
 * paths of RPM files, architectures taken off. A host package is added as VERD_PKG_HOST_SMU, a third-party one as
 * VERD_PKG_KERNEL and, BEWARE, any other as what the one before it was, or as 0.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of inst_ldpath_add_swprofile_pkgs(). The first failure ends
 * it; what was added before stays. BEWARE: without memory for a file's name the package is added with a null one.
 */
uint64_t instcomm_add_host_pkgs_to_swp(int32_t part_type, const char *sdr_key, uint8_t is_local, uint32_t count,
                                       char *const *pkg_paths, uint64_t sp_source);

/* Does the stored profile have location profiles? 1 or 0; 0 also for a profile that can't be read. */
uint8_t inst_ldpath_chk_loc_profile_exists(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type);

/*
 * Add a package to a stored profile: for all nodes with num_loc 0, otherwise for those of node_locs, which stay the
 * caller's, as do all texts.
 *
 * For all nodes: into the main body, what it supersedes being removed; all location profiles are dropped.
 * For some nodes: if there are location profiles, the package is offered to each in turn; the first that has it already
 * gets the nodes, those before it get the package, and the later ones are left alone. If none has it, all get the
 * package, and NONE gets the nodes. What the package supersedes there stays.
 * Without location profiles, one is made of the package and the nodes.
 *
 * Packages of type VERD_PKG_SMU and VERD_PKG_KERNEL, and under the new package rules also VERD_PKG_HOST_SMU and
 * VERD_PKG_BASE, are bundles below "/install_repo/gl/verdalis/": a name that no file has stands for the first file
 * whose name begins with it. "/install_repo/tmp/" is emptied and the bundle unpacked there; at most 254 RPMs. The name
 * reaches a shell as it stands: check it first if it comes from outside.
 *
 * Results: 0, also when the package was there already (BEWARE: even if the profile couldn't be stored again then), and
 * when single location profiles couldn't take it, which the log tells; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY;
 * INSTMGR_RC_NO_MEMORY; an errno code when no work directory can be made; those of
 * instcomm_get_rpm_package_list_from_bundle(), inst_ldpath_add_pkg_in_swp() and of reading and storing a profile.
 * On disk: a failure before the store changes nothing but the work area; then as for storing.
 * When the file of a system test orders it, it is deleted and the process ended with exit status 1.
 */
uint64_t inst_ldpath_add_pkg_location(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type,
                                      const inst_node_loc *node_locs, uint32_t num_loc, const char *pkg_name,
                                      uint64_t reserved, uint32_t pkg_type, uint64_t sp_source);

/*
 * Add an image for some nodes to a stored profile. If there are location profiles, the first whose image name begins
 * with image_name gets the nodes; when none does, the profile is stored unchanged. Without location profiles, one is
 * made of the image, the version (null is stored as "null") and the nodes. All arguments stay the caller's.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of reading and storing a profile. On disk: a failure before
 * the store changes nothing; then as for storing.
 */
uint64_t inst_ldpath_add_image_location(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type,
                                        const inst_node_loc *node_locs, uint32_t num_loc, const char *image_name,
                                        const char *version);

/*
 * Under the new package rules (the old ones change nothing): mark packages of a body in memory as members of service
 * packs, or unmark them. A package belongs to them when its name is part of the name of one of their RPMs.
 *
 * inst_ldpath_tag_sp_pkg_in_swp    *tagged_out gets 1 when a package belongs to them, be it marked already, and is
 *                                  untouched otherwise: set it to 0 before.
 * inst_ldpath_untag_sp_pkg_in_swp  counts third-party and host-OS RPMs only, and none that a service pack of the body
 *                                  still delivers.
 *
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of instcomm_get_rpms_from_sp_list() and of
 * inst_remove_rpms_part_of_active_sp(). The body is unchanged unless the result is 0.
 */
uint64_t inst_ldpath_tag_sp_pkg_in_swp(inst_sw_profile_info *profile, serv_packs *sp_list, uint8_t *tagged_out);
uint64_t inst_ldpath_untag_sp_pkg_in_swp(inst_sw_profile_info *profile, serv_packs *sp_list);

/*
 * Those of the RPMs that no service pack of the body delivers: a new array of pointers into rpms, of which the caller
 * frees the array only. A body with an empty list of details leaves the outputs untouched: set them to null and 0
 * before; one without details delivers nothing. A null list of 0 RPMs is an empty one. The package rules don't matter.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_INVALID_DATA, with the outputs null and 0, when not
 * all service packs can be converted; those of instcomm_get_rpms_from_sp_list() and instcomm_match_lists().
 */
uint64_t inst_remove_rpms_part_of_active_sp(inst_sw_profile_info *profile, char **rpms, uint32_t rpm_count,
                                            char ***out_rpms, uint32_t *out_count);

/*
 * Record in a stored profile that service packs were installed or removed: those of sp_source, the address of a
 * serv_packs or 0, or of sp_list. The set stays the caller's. Those that are added join the body's, and their packages
 * are marked; those that are removed leave both of its lists, and their packages are unmarked. Nothing is stored when
 * service packs are added to which no package belongs (under the old package rules none does), or sp_list is null.
 * Results: 0; INST_RC_NO_MEMORY, also when adding to names of which one has no detail; INST_RC_FAILED when one that is
 * new has none, or the file of a system test orders it, which is then deleted; those of reading and storing the
 * profile; when adding, those of instcomm_get_sp_names_from_rpm(), instcomm_get_rpms_from_sp_list() and
 * instcomm_match_lists(); when removing, those of instcomm_get_sp_names_from_sp_list(). BEWARE: a body that has names
 * without details keeps all of them when some remain; packages that can't be unmarked are told in the log only; and
 * when no service pack is left, the packages of the RPMs that the details list stay marked. On disk: a failure before
 * the store changes nothing; then as for storing.
 */
uint64_t inst_ldpath_add_swprofile_sps(const char *sdr_key, int32_t is_local, int32_t state, uint32_t vm_type,
                                       uint64_t sp_source);
uint64_t inst_ldpath_remove_swprofile_sps(const char *sdr_key, int32_t is_local, int32_t state, uint32_t vm_type,
                                          serv_packs *sp_list);

/*
 * The service packs of a fetched profile: a new list of their names, freed with inst_free_string_list(), null when
 * there are none; and, unless sp_list_out is null or there are no details, a new set made of those, freed with
 * free_service_pack().
 * Results: 0, also for a record without a profile, with the outputs untouched; INST_RC_INVALID_ARG, also for a service
 * pack without a name; INST_RC_NO_MEMORY. BEWARE: the set may not be whole for lack of memory, as that of
 * instmgr_convert_sp_det_to_serv_pack().
 */
uint64_t inst_ldpath_get_swprofile_sps(inst_sw_profile_sdr_ext *profile, char ***sp_names_out, uint32_t *count_out,
                                       serv_packs **sp_list_out, char **error_message_out);

/*
 * The names of all service packs that count as installed in an SDR: those of the active global QX profile and of the
 * active global Admin profile and, with include_committed, those of the committed ones, each once. A new list as above.
 * Results: 0, with the outputs untouched when there are none; INST_RC_INVALID_ARG; INSTMGR_RC_SWPROFILE_NOT_FOUND when
 * one of these profiles doesn't exist; and those of looking for the profiles, fetching and comparing them, and of
 * instcomm_add_to_list().
 */
uint64_t inst_ldpath_get_all_swprofile_sps(const char *sdr_key, uint8_t include_committed, char ***sp_names_out,
                                           uint32_t *count_out);

/*
 * Make a set of copies of `count` details, freed with free_service_pack(). With count 0 *sp_list_out is untouched.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY. BEWARE: 0 is also returned with a set that is not whole for lack
 * of memory: it has no service packs then, or as many as asked for, of which the last ones are empty.
 */
uint64_t instmgr_convert_sp_det_to_serv_pack(serv_packs **sp_list_out, sp_detail *details, uint32_t count);

/*
 * Copy a set of service packs; the log shows it in the name of `caller`. Freed with free_service_pack(). Results: 0;
 * INST_RC_INVALID_ARG; INST_RC_NO_MEMORY, with *copy_out null or an empty set, which is to be freed all the same.
 */
uint64_t instcomm_duplicate_sp_list(serv_packs **copy_out, serv_packs *source, const char *caller);

/*
 * Fetch the stored profile of one VM type and scope: global QX, global LC QX, global UVF, local QX. *..._pp gets a new
 * record. The key is required, also for the local one.
 * Results: 0; INST_RC_INVALID_ARG (also when the file can't be named); INST_RC_NO_MEMORY; INSTMGR_RC_INVALID_DATA for
 * a file that grows while it is read or doesn't decode, for lack of memory too; an errno code when it can't be opened,
 * measured or read, with an errno of 0 for an empty file.
 */
uint64_t inst_ldpath_get_sdr_swprofile(const char *sdr_key, int32_t part_type,
                                       inst_sw_profile_sdr_ext **local_sw_profile_ext_pp);
uint64_t inst_ldpath_get_sdr_swprofile_lcp(const char *sdr_key, int32_t part_type,
                                           inst_sw_profile_sdr_ext **local_sw_profile_ext_pp);
uint64_t inst_ldpath_get_sdr_swprofile_uvf(const char *sdr_key, int32_t part_type,
                                           inst_sw_profile_sdr_ext **local_sw_profile_ext_pp);
uint64_t inst_ldpath_get_sdr_local_swprofile(const char *sdr_key, int32_t part_type,
                                             inst_sw_profile_sdr_ext **local_sw_profile_ext_pp);

/*
 * Fetch any stored profile; the second is the first in local scope. Results as above, and those of
 * inst_get_sdr_swprofile_file(). Only a null out-parameter and a failure to name the file leave an error text; to
 * the latter the first adds, for a local profile, an entry "R:...;" that tells how to recover.
 */
uint64_t inst_ldpath_get_swprofile(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                   inst_sw_profile_sdr_ext **local_sw_profile_ext_pp, char **error_message_out);
uint64_t inst_ldpath_get_local_swprofile(const char *sdr_key, int32_t part_type, uint32_t vm_type,
                                         inst_sw_profile_sdr_ext **local_sw_profile_ext_pp, char **error_message_out);

/*
 * Fetch a profile that may not exist: INSTMGR_RC_SWPROFILE_NOT_FOUND tells a file that is missing, empty, or can't be
 * reached or examined from a failure, whose results are those of inst_ldpath_get_swprofile().
 */
uint64_t inst_ldpath_get_sw_profile_if_exists(const char *sdr_key, uint8_t is_local, int32_t part_type,
                                              uint32_t vm_type, inst_sw_profile_sdr_ext **local_sw_profile_ext_pp);

/* Free a fetched profile and set *pp to null. A null pp, or one that points to null, is fine. */
void inst_ldpath_free_swprofile_ext(inst_sw_profile_sdr_ext **pp);

/*
 * What a fetched profile holds. Texts, lists and sets are new ones of the caller's, freed with free(),
 * inst_free_string_list() and free_service_pack(). A record without a profile is a success: the outputs are untouched
 * then, so set them to null and 0 before.
 * Results: 0; INST_RC_INVALID_ARG, also when what is to be listed has no name; INST_RC_NO_MEMORY.
 *
 * inst_ldpath_get_swprofile_image     the image's name. *image_out must be null before: a failure frees what it holds
 *                                     and sets it to null.
 * inst_ldpath_get_swprofile_filelist  the image's name, then those of all packages, in the profile's order
 * inst_ldpath_get_swprofile_img_pkgs  the image's name; the names of packages, null and 0 when none is left; and,
 *                                     unless sp_list_out is null, the set of service packs, untouched when there are
 *                                     none or when it can't be made, and not always whole, as that of
 *                                     instmgr_convert_sp_det_to_serv_pack().
 *                                     pkg_filter: 0 host SMUs only; 1 no host SMUs; 4 no entries that have is_sp_pkg,
 *                                     whatever its value; else all. With skip_flagged also without those whose
 *                                     pkg_marker is set.
 * inst_ldpath_get_swprofile_pkgs      the names of all packages, then those of the service packs; null and 0 without
 *                                     packages, even when there are service packs
 */
uint64_t inst_ldpath_get_swprofile_image(inst_sw_profile_sdr_ext *profile, char **image_out);
uint64_t inst_ldpath_get_swprofile_filelist(inst_sw_profile_sdr_ext *profile, char ***file_list_out,
                                            uint32_t *count_out, char **error_message_out);
uint64_t inst_ldpath_get_swprofile_img_pkgs(inst_sw_profile_sdr_ext *profile, char **image_out, char ***pkg_list_out,
                                            uint32_t *count_out, uint32_t pkg_filter, uint8_t skip_flagged,
                                            serv_packs **sp_list_out);
uint64_t inst_ldpath_get_swprofile_pkgs(inst_sw_profile_sdr_ext *profile, char ***file_list_out, uint32_t *count_out);

/*
 * The package names of a stored local profile, as install-common lists them. Results: those of
 * inst_ldpath_get_swprofile() and of instcomm_ldpath_get_pkgs_info_from_swprofile(), also for a null output.
 */
uint64_t inst_ldpath_get_local_swprofile_pkgs_info(const char *sdr_key, int32_t part_type, uint32_t vm_type,
                                                   char ***pkg_names_out, uint32_t *count_out,
                                                   char **error_message_out);

/*
 * The file list, as inst_ldpath_get_swprofile_filelist() makes it, of a stored active profile. Results: those of the
 * latter and of inst_ldpath_get_swprofile().
 */
uint64_t inst_swp_get_show_install_active_data(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                               char ***file_list_out, uint32_t *count_out);

/*
 * Look for a package in the stored ACTIVE profile; part_type is named in messages only. Names are compared exactly. The
 * key is required for QX, LC QX and UVF in either scope.
 *
 * inst_swp_is_pkg_present    takes the architecture off pkg_name before. *is_present gets 1 when there is the package
 *                            and is untouched otherwise: set it to 0 before. It may be null.
 * inst_swp_get_package_rpms  takes it off only under the new package rules (g_inst_pkg_fmt_info.is_new_format). The
 *                            same of *is_found. The list gets copies of the names of its RPM files, freed with
 *                            inst_free_string_list(); both are untouched when there are none. Of several packages of
 *                            the name, the last that has RPMs counts. Each output may be null.
 *
 * Results: 0, whether found or not; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of inst_ldpath_get_swprofile() and of
 * inst_dup_string_list(). BEWARE: the flag may be set by then.
 */
uint64_t inst_swp_is_pkg_present(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                 const char *pkg_name, uint8_t *is_present);
uint64_t inst_swp_get_package_rpms(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                   const char *pkg_name, uint8_t *is_found, char ***rpm_list_out,
                                   uint32_t *rpm_count_out, char **error_message_out);

/*
 * The image name of the stored active global QX profile. *image_out must be null before, and is so afterwards when no
 * name could be had. Results: 0, BEWARE: also when there is no name, or no memory for it; INST_RC_INVALID_ARG; those of
 * inst_ldpath_get_sdr_swprofile().
 */
uint64_t inst_get_image_name(const char *sdr_key, char **image_out);

/*
 * What the active Admin profile says of a node: the global one or, where that can't be fetched, the local one.
 *
 * instmgr_cmp_sw_version          Is sw_version, which may be null, the version of the first location profile that
 *                                 lists the node or, when none does or it has no version, of the main body? Byte by
 *                                 byte; null is the same as none. BEWARE: *is_equal is 1 also when no profile could be
 *                                 fetched; look at the result first.
 * instmgr_check_node_in_loc_mswp  Is the node in a location profile? *in_loc is 0 also when none could be fetched.
 *
 * Results: 0; INST_RC_INVALID_ARG; those of fetching the local profile with inst_ldpath_get_swprofile().
 */
uint64_t instmgr_cmp_sw_version(uint32_t loc_id_1, uint32_t loc_id_2, uint32_t loc_id_3, const char *sw_version,
                                uint8_t *is_equal);
uint64_t instmgr_check_node_in_loc_mswp(uint32_t loc_id_1, uint32_t loc_id_2, uint32_t loc_id_3, uint8_t *in_loc);

/*
 * Are the active and the committed global QX profile of an SDR the same, as instcomm_compare_swp_profiles() tells?
 * *is_equal is 0 after every failure. Results: 0; INST_RC_INVALID_ARG; INSTMGR_RC_SWPROFILE_NOT_FOUND when one of them
 * doesn't exist; those of looking for them, fetching and comparing them.
 */
uint64_t inst_ldpath_is_sdr_master_act_comm_swp_equal(const char *sdr_key, uint8_t *is_equal);

/*
 * Do two states of a profile match? selector and option are those of instcomm_cmp_swprofile_ext(). *matched is
 * untouched when one of them can't be fetched. BEWARE: it gets 1 when they can't be compared; look at the result first.
 * Results: those of inst_ldpath_get_sw_profile_if_exists() and of instcomm_cmp_swprofile_ext().
 */
uint64_t inst_ldpath_check_swp_mismatch_wrapper(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                                int32_t src_part_type, int32_t dst_part_type, uint32_t selector,
                                                uint32_t option, uint8_t *matched);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
