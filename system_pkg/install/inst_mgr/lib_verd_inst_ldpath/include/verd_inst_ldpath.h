/*
 * The software-profile store: creates, stores, fetches, changes and queries software profiles, the records of the
 * software that each VM runs.
 *
 * A profile is an inst_sw_profile_sdr_ext record (zeld.h), stored in a .bin file with a text twin. It is selected by:
 *
 *   sdr_key             the name of the SDR, such as "default-sdr". Becomes part of paths and shell commands unchecked:
 *                       a name from outside must be checked first, and have at most 40 characters. Not used for Admin.
 *   is_local            non-zero: the repository of this node; 0: the global install database
 *   part_type, state    1 committed, 2 active, 3 prepared (VERD_SWP_...)
 *   vm_type             2 Admin, 3 QX, 4 LC QX, 6 UVF (VERD_VM_...); Host and Service VM have no profile. BEWARE: the
 *                       global LC QX profile of an SDR and its global QX profile are one file; storing or deleting one
 *                       replaces or deletes the other. The vm_type of a call and that of the record are not compared.
 *
 * BEWARE: the order of these arguments differs, and swapped integers compile:
 *
 *   sdr_key, is_local, state, vm_type         most functions
 *   sdr_key, is_local, vm_type                deleting, promoting, copying, inst_swp_get_show_install_active_data(),
 *                                             inst_ldpath_check_swp_mismatch_wrapper(); states follow
 *   sdr_key, path, is_local, state, vm_type   inst_get_sdr_swprofile_file()
 *   sdr_key, path, is_local, vm_type          inst_get_boot_active_swp_flag()
 *   sdr_key, state                            the four getters with a fixed VM type and scope
 *   sdr_key, state, vm_type                   inst_ldpath_get_local_swprofile...()
 *   record, is_local, state, text, vm_type    inst_ldpath_store_sdr_swprofile()
 *   state, sdr_key, is_local                  instcomm_add_host_pkgs_to_swp()
 *
 * Results are 64-bit codes, 0 for success; verd_result_name() and verd_result_meaning() turn them into text. Codes of
 * install-common (instcomm.h) are passed on. A null pointer where none is allowed returns INST_RC_INVALID_ARG.
 *
 * Error texts: `char **err_msg_p` (also err_msg, error_message_out) may be null. If it points to a null pointer, an
 * operation may store a text there: entries "E:reason;", from the innermost cause outwards, at most 2047 characters.
 * The caller frees it with free(), whatever the result is: storing, adding and removing packages of a stored profile,
 * promoting, copying, inst_ldpath_check_swprofile_exists() and inst_swp_get_package_rpms() can succeed and leave a
 * text. If it points to a text already, that text is kept.
 *
 * Ownership: returned paths and texts are freed with free(), returned profiles with inst_ldpath_free_swprofile_ext().
 * Unless a comment says otherwise, out-parameters are unchanged on failure.
 *
 * Threads and processes: initialise once, before all other calls. Then every function may be called from any thread,
 * but callers must make sure that two threads or processes do not change one profile at once. Operations that run
 * other programs (promoting, copying, flat copies, bundles, optional packages) fail in a process that ignores SIGCHLD,
 * or in which a signal handler or another thread waits for any child (waitpid(-1)), even if the program succeeds.
 * During a store, a promotion or a copy, readers may find the profile missing: fetching it fails, and
 * inst_ldpath_check_swprofile_exists() reports 0 with result 0. docs/contract.md describes what each failure leaves.
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
#define INST_RC_NO_MEMORY 0x40101278CA100802ULL              /* out of memory */
#define INST_RC_INVALID_ARG 0x40101278CA100803ULL            /* a null argument or name, or a failed strncpy_s() */
#define INST_RC_NO_SWPROFILE 0x40101278CA10081FULL           /* this VM type has no software profile */
#define INSTMGR_RC_EMPTY_SWPROFILE 0x4010127ACA100902ULL     /* the record cannot be encoded */
#define INSTMGR_RC_NO_MEMORY 0x4010127ACA100904ULL           /* out of memory */
#define INSTMGR_RC_INVALID_DATA 0x4010127ACA100907ULL        /* the request or the stored data is invalid */
#define INSTMGR_RC_INIT_FAILED 0x4010127ACA10090CULL         /* the trace cannot be opened */
#define INSTMGR_RC_SWPROFILE_NOT_FOUND 0x1010127ACA100905ULL /* the profile is missing */
#define INSTMGR_DUP_SWPROFILE_PKG 0x4010127ACA100949ULL      /* the profile has the package already */

/* The code of a failed file operation. It contains the low 11 bits of errno. */
static inline uint64_t INSTMGR_RC_ERRNO(int err)
{
    return 0x4000127ACA100000ULL | ((uint64_t)(uint32_t)err & 0x7ffU);
}

/* VM types. */
enum { VERD_VM_HOST = 1, VERD_VM_ADMIN = 2, VERD_VM_QX = 3, VERD_VM_LC_QX = 4, VERD_VM_SERVICE = 5, VERD_VM_UVF = 6 };

/* Profile states. */
enum { VERD_SWP_COMMITTED = 1, VERD_SWP_ACTIVE = 2, VERD_SWP_PREPARED = 3 };

/* Install package types, as arguments of calls that add packages. BEWARE: the numbers overlap with the next ones. */
enum { VERD_PKG_SMU = 4, VERD_PKG_HOST_SMU = 6, VERD_PKG_KERNEL = 7, VERD_PKG_BASE = 8 };

/* Profile package types, as stored in a package entry. */
enum { VERD_SWP_PKG_BASE = 1, VERD_SWP_PKG_KERNEL = 4, VERD_SWP_PKG_HOST_SMU = 5 };

/* Filters of inst_ldpath_get_swprofile_img_pkgs(). Any other number lists all packages, too. */
enum { VERD_FILTER_HOST_SMUS = 0, VERD_FILTER_NO_HOST_SMUS = 1, VERD_FILTER_ALL = 2, VERD_FILTER_NO_MEMBERS = 4 };

/* Names of VM types, states and result codes, and the directories of the repository. */
#include "verd_inst_ldpath_text.h"

/* The handle of this library's trace, "verd_inst_ldpath"; 0 until initialised. */
extern uint64_t verd_inst_ldpath_vestra_hdl;

/*
 * Initialises the library. Passes `context` on to the trace and to install-common. Copies `fmt_info`, which may be
 * null, into g_inst_pkg_fmt_info; a name of more than 15 characters is cut.
 * Results: 0; INSTMGR_RC_INIT_FAILED, with one line on standard error, after which the library must not be used; those
 * of instcomm_util_init().
 */
uint64_t verd_inst_ldpath_lib_init(uint64_t context, const inst_pkg_fmt_info *fmt_info);

/* Returns whether part_type is a state: 1, 2 or 3. */
bool is_part_type_valid(int32_t part_type);

/*
 * Returns the profile package type of an install package type: 2 for 1, 3 for 3, 5 for 6 (host SMU), 4 for 7 (kernel),
 * and 1 for every other.
 */
uint32_t instcomm_inst_pkg_type_to_swp_type(uint32_t pkg_type);

/*
 * Copies `count` node locations, with their presence bits, into a new array. *dst_p is null if count is 0, and on
 * failure. The caller frees each element with zeld_inst_node_loc_free_ext() and the array with free().
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY.
 */
uint64_t verd_inst_dup_node_loc_list(uint32_t count, const inst_node_loc *src, inst_node_loc **dst_p);

/*
 * Composes the path of a profile's .bin file in a new text, whether or not the file exists. QX, LC QX and UVF require a
 * key in the global scope. Paths of more than 4095 characters are cut.
 * Results: 0; INST_RC_INVALID_ARG; INSTMGR_RC_INVALID_DATA for an unknown state, or if the marker file of a system test
 * requests it (the call deletes that file; swprofile-repository(5) lists these files); INST_RC_NO_SWPROFILE;
 * INST_RC_NO_MEMORY, with *swprofile_file_p null.
 * BEWARE: if strncpy_s() fails (INST_RC_INVALID_ARG), *swprofile_file_p is an empty text that the caller frees. A null
 * key in the local scope becomes "(null)" in the paths of QX, LC QX and UVF, which the shell commands of promoting and
 * copying reject.
 */
uint64_t inst_get_sdr_swprofile_file(const char *sdr_key, char **swprofile_file_p, uint8_t is_local, int32_t part_type,
                                     uint32_t vm_type, char **err_msg_p);

/*
 * Composes the path of the text twin of a .bin path in a new text: replaces everything from the last '.' by ".txt".
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_INVALID_DATA for a path without a '.'.
 */
uint64_t inst_get_sdr_swprofile_txt_file(const char *swprofile_file, char **swprofile_txt_file_p, char **err_msg_p);

/*
 * Composes the path of the boot-active flag file in a new text; the caller creates and deletes the file. The Admin flag
 * is always local; the other VM types use the flag of the SDR. QX, LC QX and UVF require a key in the global scope;
 * elsewhere a null key becomes "(null)" in the path.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY. *swprofile_file_p: as for inst_get_sdr_swprofile_file().
 */
uint64_t inst_get_boot_active_swp_flag(const char *sdr_key, char **swprofile_file_p, uint8_t is_local,
                                       uint32_t vm_type);

/*
 * Sets *exists to 1 if the profile's .bin file exists and is not empty, otherwise to 0. A file that cannot be reached,
 * or that cannot be examined (with an error text), counts as missing.
 * Results: 0; INST_RC_INVALID_ARG; those of inst_get_sdr_swprofile_file().
 */
uint64_t inst_ldpath_check_swprofile_exists(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                            uint8_t *exists, char **err_msg_p);

/*
 * Encodes a profile, writes its .bin file, verifies it by reading it back, and writes its .txt twin. Creates missing
 * directories. Copies both files of local QX and LC QX profiles of "default-sdr" to "/install_repo/local/" as well. The
 * record is not changed and remains the caller's.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_EMPTY_SWPROFILE if the record cannot be encoded;
 * INSTMGR_RC_INVALID_DATA; those of inst_get_sdr_swprofile_file(); an errno code if a file cannot be opened or fwrite()
 * cannot write the .bin; INSTCOMM codes if the text cannot be rendered or a copy to "/install_repo/local/" fails.
 * On disk: a failure before the .bin is opened changes no file. A .bin that could not be written is removed. Later
 * failures leave the new .bin, unless it could not be verified (see below). A failed copy to "/install_repo/local/" may
 * leave the old file there or a truncated one, next to the new .bin.
 * BEWARE: 0 is also returned if the .bin was not verified:
 *   - The .bin is removed, with an error text, if its content differs or if there was no memory for reading it back.
 *     The result of fflush() is not checked, so on a full disk an incomplete write may be found only this way. If the
 *     profile has copies in "/install_repo/local/", copying then fails, with an INSTCOMM code.
 *   - The .bin remains, without an error text, if it could not be opened for reading.
 * sdr_key is not compared with the key in the record: if they differ, a later edit reads the profile of sdr_key, but
 * stores the result as the profile of the key in the record.
 */
uint64_t inst_write_sdr_swprofile_to_file2(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                           inst_sw_profile_sdr_ext *profile, char **error_message_out);

/*
 * Stores a profile under the SDR key in its record (no key for Admin). If part_short_name is given and the record has
 * an SDR key, the call first lets lv_name point to part_short_name, which the record does not own: save lv_name before
 * the call, and restore it before freeing the record.
 * Results and disk: as for inst_write_sdr_swprofile_to_file2().
 */
uint64_t inst_ldpath_store_sdr_swprofile(inst_sw_profile_sdr_ext *profile, uint8_t is_local, int32_t part_type,
                                         char *part_short_name, uint32_t vm_type, char **error_message_out);

/* A profile to be created. Everything remains the caller's; texts may be null. */
typedef struct swprofile_create_request {
    char *sdr_key; /* required for QX, LC QX and UVF in global scope */
    uint8_t is_local;
    uint32_t part_type;
    char *lv_name;           /* logical volume that contains the software */
    char *image;             /* path of the image file; its last component is stored */
    char **image_rpms;       /* RPMs inside the image; sorted in place */
    uint32_t num_image_rpms; /* entries of image_rpms */
    uint32_t vm_type;
    char *version;
    char *image_aux_name;       /* a second name of the image */
    inst_swp_package *packages; /* initial packages, presence bits set */
    uint32_t packages_count;
    struct serv_packs *serv_packs; /* recorded if is_sp_pkg of a package is not 0, otherwise ignored */
    uint8_t is_single_initrd_supported;
} swprofile_create_request;

/*
 * Creates a profile and stores it. If "/misc/disk1/usb/opt_pkgs" exists, first copies the request's packages, up to the
 * first one without a name, from there to "/install_repo/gl/qx/". The nested inst_sw_profile_sdr, encoded alone, may
 * take up to 102400 bytes.
 * Results: 0; INST_RC_INVALID_ARG, also for a service pack without a name; INST_RC_NO_MEMORY; INSTMGR_RC_NO_MEMORY;
 * INSTMGR_RC_INVALID_DATA if the inst_sw_profile_sdr takes more; the wait status of a failed copy of an optional
 * package, sign-extended; those of inst_write_sdr_swprofile_to_file2().
 * On disk: a failure before the store leaves the profile as it was. Optional packages that were copied remain; the one
 * whose copy failed may be incomplete. Each copy writes "/tmp/pkg_cpy_log" again. From the store on: as for
 * inst_write_sdr_swprofile_to_file2().
 * BEWARE: the shell command of a copy is cut to 255 characters. Package names of up to 187 characters fit.
 */
uint64_t inst_ldpath_create_sdr_swprofile(swprofile_create_request *request);

/*
 * Deletes a .bin file, its text twin, and the files with the same two names in "/install_repo/local/". Missing files
 * are skipped.
 * Results: 0, even if nothing existed or a file could not be removed; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY;
 * INSTMGR_RC_INVALID_DATA for a path without a '.'. On disk: the .bin is removed first, whatever the result, unless the
 * path is null.
 * BEWARE: the names in "/install_repo/local/" are those of the default SDR's flat copies. Deleting the QX or LC QX
 * profile of any SDR, in either scope, deletes them.
 */
uint64_t inst_ldpath_delete_swprofile_file(const char *swprofile_file);

/*
 * Deletes a profile in all three states, in the order committed, active, prepared. QX, LC QX and UVF require a key in
 * either scope.
 * Results: 0; INST_RC_INVALID_ARG; those of inst_get_sdr_swprofile_file() and inst_ldpath_delete_swprofile_file(). On
 * disk: states before the failed one are deleted. BEWARE: see inst_ldpath_delete_swprofile_file().
 */
uint64_t inst_ldpath_delete_swprofile(const char *sdr_key, uint8_t is_local, uint32_t vm_type);

/*
 * Makes the prepared profile the active one by moving its files. If the prepared profile is missing, empty or cannot be
 * reached, the call changes nothing and returns 0, without an error text: call inst_ldpath_check_swprofile_exists()
 * first. The profile is not decoded, so a damaged one becomes active: fetch it first.
 * Results: 0; those of naming files; an errno code if a file cannot be moved; INSTCOMM codes if a flat copy cannot be
 * moved.
 * On disk: files that were moved before a failure remain moved. The file that the call was replacing when it failed
 * (the old active .bin, its twin or a flat copy) may be removed.
 * BEWARE: 0 with the error text "E:Failed to stat() file ...;" about the prepared .bin also means that nothing was
 * done. With a null key in the local scope, for QX, LC QX and UVF, the .bin is moved, but moving an existing twin
 * fails. Keys of more than 40 characters: see inst_ldpath_swp_copy().
 */
uint64_t inst_ldpath_swp_move_prep_to_act(const char *sdr_key, uint8_t is_local, uint32_t vm_type, char **err_msg_p);

/*
 * Copies a state of a profile over another state, file by file. If the source is missing, empty or cannot be reached,
 * the call changes nothing and returns 0, without an error text: call inst_ldpath_check_swprofile_exists() first. The
 * source is not decoded, so a damaged one is copied: fetch it first.
 * Results: 0; INSTMGR_RC_INVALID_DATA if both states are the same; those of naming files; an errno code if a file
 * cannot be copied; INSTCOMM codes if a flat copy cannot be copied. On disk: files that were copied before a failure
 * remain. The file of the destination that the call was replacing when it failed (.bin, twin or flat copy) may be
 * removed.
 * BEWARE: 0 with the error text "E:Failed to stat() file ...;" about the .bin of the source also means that nothing was
 * done. For QX, LC QX and UVF, with a null key in the local scope, the call removes the destination and then fails, if
 * the source exists. Shell commands are cut to 199 characters. Keys of up to 40 characters fit; with a longer key the
 * call may create a file of another name and return 0.
 */
uint64_t inst_ldpath_swp_copy(const char *sdr_key, uint8_t is_local, uint32_t vm_type, int32_t src_state,
                              int32_t dest_state, char **err_msg_p);

/*
 * Adds a package to a body in memory, as its last entry. Stores nothing. Superseded entries stay in the body and are
 * reported: the caller removes them with inst_ldpath_remove_pkg_in_swp().
 *
 *   pkg_name       heap text, name-version-release. On success the entry takes ownership; otherwise the caller keeps
 *                  it.
 *   files          heap list of num_files heap texts: paths of the RPMs. Their last components are stored, without
 *                  architectures. Freed on success; otherwise, or if num_files is 0, the caller keeps it.
 *   pkg_value      stored unless 0
 *   pkg_type       install package type (VERD_PKG_...)
 *   replace_list   receives heap copies of the names of superseded entries, which the caller frees. Must have room for
 *                  all packages of the body and all files of its image. May be null: then nothing is reported.
 *   replace_count  receives their number, even if the package is a duplicate or the call fails afterwards. Set it to 0
 *                  first: it is not written if pkg_name is rejected or, under the old rules, if nothing is superseded.
 *                  May be null: then replace_list is not used.
 *   reserved       not used
 *   sp_source      address of a serv_packs, or 0. Under the new package rules, if service packs of this set deliver
 *                  the package, the entry is marked as a member, and the body gets those of them that it lacks.
 *
 * Superseded entries, by the package rules (old: g_inst_pkg_fmt_info.is_new_format is 0). An entry without a type
 * counts as having the type of the last entry before it that has one.
 *
 *   rules  new package                               superseded entries
 *   old    VERD_PKG_HOST_SMU                         the first host SMU
 *   old    VERD_PKG_KERNEL                           the first kernel package of the same class
 *   new    VERD_PKG_HOST_SMU or VERD_PKG_KERNEL      all of that type and base name
 *   new    VERD_PKG_BASE, if host-OS or third-party  all base entries of that base name
 *   new    host-OS, if it supersedes no package      all base RPMs of that base name
 *
 * Results: 0; INSTMGR_DUP_SWPROFILE_PKG if an entry has this name; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY, also if
 * service packs deliver the package and a service pack of the body has no detail; INST_RC_FAILED if a service pack that
 * the body lacks has no detail; those of instcomm_split_swp_pkg_entry(), instcomm_match_lists() and
 * instcomm_get_sp_names_from_rpm(). The body is unchanged unless the result is 0.
 * BEWARE: under the old rules the search ends at the first superseded entry; a duplicate after it is not found.
 */
uint64_t inst_ldpath_add_pkg_in_swp(inst_sw_profile_info *profile, char *pkg_name, uint32_t num_files, char **files,
                                    uint64_t pkg_value, uint32_t pkg_type, char **replace_list, uint32_t *replace_count,
                                    uint32_t reserved, uint64_t sp_source, char **err_msg);

/*
 * Removes a name from a body in memory: every base RPM of that name if the image has one, otherwise every package of
 * that name. Under the old package rules, if a base RPM has the name, nothing is removed, and the result is 0. A body
 * without packages left loses the field; an image without base RPMs left keeps an empty list.
 * Results: 0, even if nothing was removed; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY, with the body unchanged.
 */
uint64_t inst_ldpath_remove_pkg_in_swp(inst_sw_profile_info *profile, const char *pkg_name, char **err_msg);

/*
 * Adds a package to a stored profile. Under the new package rules, removes superseded entries; under the old rules
 * keeps them. pkg_name may be a path, whose last component counts. rpms and the other arguments are those of
 * inst_ldpath_add_pkg_in_swp(), but remain the caller's. Stores under the SDR key in the record, not under sdr_key.
 * Results: 0, also if the package is a duplicate (the profile is stored again, under the new rules without the
 * superseded entries that were found); INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_NO_MEMORY; those of
 * inst_dup_string_list(), inst_ldpath_add_pkg_in_swp(), inst_ldpath_remove_pkg_in_swp(), and of reading and storing the
 * profile. On disk: a failure before the store changes nothing; then as for storing.
 */
uint64_t inst_ldpath_add_swprofile_pkgs(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                        const char *pkg_name, char *const *rpms, uint32_t num_rpms, uint64_t pkg_value,
                                        uint32_t pkg_type, uint64_t sp_source, char **error_message_out);

/*
 * Removes a name from a stored profile: every package of that name or, if there is none, every base RPM of it. Under
 * the new package rules, an architecture suffix of the name is ignored. If a package is removed, the service packs of
 * sp_list, which may be null, are removed from the body as well. In this case, even if sp_list is null, the details of
 * the body's service packs are put into the order of the list of names; details whose names are not in that list are
 * dropped. If no name remains, both lists become absent. Finally, the packages of sp_list are unmarked as by
 * inst_ldpath_untag_sp_pkg_in_swp(). Stores under the SDR key in the record, not under sdr_key.
 * Results: 0, also if the name does not exist (nothing is stored); INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of
 * reading the profile, of instcomm_get_sp_names_from_sp_list(), inst_ldpath_untag_sp_pkg_in_swp() and of storing. On
 * disk: a failure before the store changes nothing; from the store on, as for storing.
 * BEWARE: if the body has names of service packs, but no list of details, the names are removed only if sp_list has
 * all of them.
 */
uint64_t inst_ldpath_remove_swprofile_pkgs(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                           const char *pkg_name, serv_packs *sp_list, char **error_message_out);

/*
 * Adds host and third-party packages to the stored Admin profile, one after the other, each with a store of its own.
 * pkg_paths are `count` paths of RPM files; architecture suffixes are ignored. A host package is added as
 * VERD_PKG_HOST_SMU, a third-party package as VERD_PKG_KERNEL.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of inst_ldpath_add_swprofile_pkgs(). On disk: the first
 * failure ends the call; packages that were added before it remain.
 * BEWARE: any other package gets the type of the preceding one, or 0. Without memory for a file's name, the package is
 * added with a null name in its list of files.
 */
uint64_t instcomm_add_host_pkgs_to_swp(int32_t part_type, const char *sdr_key, uint8_t is_local, uint32_t count,
                                       char *const *pkg_paths, uint64_t sp_source);

/* Returns 1 if the stored profile has location profiles, otherwise 0, also if it cannot be read. */
uint8_t inst_ldpath_chk_loc_profile_exists(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type);

/*
 * Adds a package to a stored profile: for all nodes if num_loc is 0, otherwise for the nodes of node_locs. All
 * arguments remain the caller's. The presence bits of the node locations must be set: an ID without its bit is stored
 * as 0. Stores under the SDR key in the record, not under sdr_key.
 *
 *   all nodes                           adds the package to the main body, removes superseded entries, and removes all
 *                                       location profiles
 *   some nodes, no location profile     creates one with the package and the nodes
 *   some nodes, with location profiles  tries each in turn. The first that has the package gets the nodes, even nodes
 *                                       that it lists already. Those before it get the package; those after it are
 *                                       unchanged. If none has it, all get the package and NONE gets the nodes.
 *                                       Superseded packages stay.
 *
 * Packages of type VERD_PKG_SMU and VERD_PKG_KERNEL, and under the new package rules VERD_PKG_HOST_SMU and
 * VERD_PKG_BASE, are bundles in "/install_repo/gl/verdalis/": the file of that name or, if it is missing, the first
 * file whose name begins with it, in the order of the environment's locale: "a-1-r1" also finds "a-1-r10.tar". The
 * content of "/install_repo/tmp/", which must exist, is deleted, except dot files, and the bundle is unpacked there; it
 * may have up to 254 RPMs. The name becomes part of a shell command unchecked.
 *
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_NO_MEMORY; an errno code if no work directory can be
 * created; those of instcomm_get_rpm_package_list_from_bundle(), inst_ldpath_add_pkg_in_swp() and of reading and
 * storing a profile. On disk: a failure before the store changes only the work area; from the store on, as for storing.
 * If the marker file of a system test exists, the call deletes it, and the process exits with status 1.
 * BEWARE: 0 is also returned if
 *   - a location profile to which the package could not be added was skipped (the log says why);
 *   - memory ran out for a location profile's list of superseded names: neither this location profile nor those after
 *     it get the package;
 *   - the package was a duplicate, but the profile could not be stored again.
 */
uint64_t inst_ldpath_add_pkg_location(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type,
                                      const inst_node_loc *node_locs, uint32_t num_loc, const char *pkg_name,
                                      uint64_t reserved, uint32_t pkg_type, uint64_t sp_source);

/*
 * Adds an image for some nodes to a stored profile. If there are location profiles, the first whose image name begins
 * with image_name gets the nodes; if none matches, the profile is stored unchanged. Without location profiles, creates
 * one with the image, the version (null is stored as "null") and the nodes. All arguments remain the caller's. The
 * presence bits of the node locations must be set. Stores under the SDR key in the record, not under sdr_key.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of reading and storing a profile. On disk: a failure before
 * the store changes nothing; from the store on, as for storing.
 */
uint64_t inst_ldpath_add_image_location(const char *sdr_key, uint8_t is_local, int32_t state, uint32_t vm_type,
                                        const inst_node_loc *node_locs, uint32_t num_loc, const char *image_name,
                                        const char *version);

/*
 * Mark packages of a body in memory as members of service packs, or unmark them. A package is a member if its name is
 * part of the name of one of the RPMs of the service packs. Under the old package rules nothing changes. With result 0
 * the packages may be in a new array, and the old array and its texts are freed: get the packages again.
 *
 * inst_ldpath_tag_sp_pkg_in_swp    sets *tagged_out to 1 if a package is a member, even if it is marked already;
 *                                  otherwise leaves it unchanged, so set it to 0 first.
 * inst_ldpath_untag_sp_pkg_in_swp  unmarks the packages of each third-party or host-OS RPM of sp_list that no service
 *                                  pack of the body delivers. A package that also belongs to another RPM, which is
 *                                  still delivered, is unmarked as well.
 *
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of instcomm_get_rpms_from_sp_list() and of
 * inst_remove_rpms_part_of_active_sp(). The body is unchanged unless the result is 0.
 */
uint64_t inst_ldpath_tag_sp_pkg_in_swp(inst_sw_profile_info *profile, serv_packs *sp_list, uint8_t *tagged_out);
uint64_t inst_ldpath_untag_sp_pkg_in_swp(inst_sw_profile_info *profile, serv_packs *sp_list);

/*
 * Returns the RPMs that no service pack of the body delivers: a new array of pointers into rpms. The caller frees the
 * array only. A body whose list of details is absent delivers nothing. A null rpms with rpm_count 0 is an empty list.
 * The package rules do not matter.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; INSTMGR_RC_INVALID_DATA, with the outputs null and 0, if memory
 * runs out while the details of the body are copied; those of instcomm_get_rpms_from_sp_list() and
 * instcomm_match_lists().
 * BEWARE: if the body has an empty list of details, the outputs are unchanged: set them to null and 0 first.
 */
uint64_t inst_remove_rpms_part_of_active_sp(inst_sw_profile_info *profile, char **rpms, uint32_t rpm_count,
                                            char ***out_rpms, uint32_t *out_count);

/*
 * Record in a stored profile that service packs were installed (those of sp_source, the address of a serv_packs or 0)
 * or removed (those of sp_list). The sets remain the caller's. Both store under the SDR key in the record, not under
 * sdr_key.
 *
 * Adding appends the service packs that the body does not have and marks their packages. If the service packs have no
 * package in the profile, which is always so under the old package rules, nothing is stored. If sp_source is 0 or its
 * set is empty, the profile is stored unchanged.
 *
 * Removing deletes the service packs from the names and the details of the body and unmarks their packages. The
 * remaining details are put into the order of the remaining names, and details that belong to none of these names are
 * dropped; this is done even if the set is empty. If the body has no list of names, the profile is stored unchanged. If
 * sp_list is null, nothing is stored.
 *
 * Results: 0; INST_RC_NO_MEMORY; those of reading and storing the profile; when adding, INST_RC_NO_MEMORY also if a
 * service pack of the body has no detail, INST_RC_FAILED if a new service pack has no detail or if the marker file of a
 * system test requests it (the call deletes that file), and those of instcomm_get_sp_names_from_rpm(),
 * instcomm_get_rpms_from_sp_list() and instcomm_match_lists(); when removing, those of
 * instcomm_get_sp_names_from_sp_list(). On disk: a failure before the store changes nothing; from the store on, as for
 * storing.
 * BEWARE, when removing: if the body has names, but no list of details, they are removed only if the set has all of
 * them. A failure to unmark packages is only logged. If the call removes all service packs of the body, the packages
 * that their details deliver stay marked.
 */
uint64_t inst_ldpath_add_swprofile_sps(const char *sdr_key, int32_t is_local, int32_t state, uint32_t vm_type,
                                       uint64_t sp_source);
uint64_t inst_ldpath_remove_swprofile_sps(const char *sdr_key, int32_t is_local, int32_t state, uint32_t vm_type,
                                          serv_packs *sp_list);

/*
 * Returns the service packs of a fetched profile: a new list of their names, freed with inst_free_string_list(), null
 * if there are none; and, unless sp_list_out is null or there are no details, a new set of the details, freed with
 * free_service_pack().
 * Results: 0; INST_RC_INVALID_ARG, also for a service pack without a name; INST_RC_NO_MEMORY.
 * BEWARE: for a record without a body, the result is 0 and the outputs are unchanged: set them to null and 0 first.
 * If memory runs out, the set may be incomplete, like that of instmgr_convert_sp_det_to_serv_pack().
 */
uint64_t inst_ldpath_get_swprofile_sps(inst_sw_profile_sdr_ext *profile, char ***sp_names_out, uint32_t *count_out,
                                       serv_packs **sp_list_out, char **error_message_out);

/*
 * Returns the names of all service packs that are installed in an SDR, each once: those of the active global QX profile
 * and of the active global Admin profile and, with include_committed, those of the committed ones. A new list, freed
 * with inst_free_string_list().
 * Results: 0, with the outputs unchanged if there are none; INST_RC_INVALID_ARG; INSTMGR_RC_SWPROFILE_NOT_FOUND if one
 * of these profiles is missing; those of checking, fetching and comparing the profiles, and of instcomm_add_to_list().
 */
uint64_t inst_ldpath_get_all_swprofile_sps(const char *sdr_key, uint8_t include_committed, char ***sp_names_out,
                                           uint32_t *count_out);

/*
 * Builds a set from copies of `count` details, freed with free_service_pack(). If count is 0, *sp_list_out is
 * unchanged.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY.
 * BEWARE: if memory runs out, the result may be 0 with an incomplete set: without service packs, or with empty ones at
 * its end.
 */
uint64_t instmgr_convert_sp_det_to_serv_pack(serv_packs **sp_list_out, sp_detail *details, uint32_t count);

/*
 * Copies a set of service packs, freed with free_service_pack(); the log shows it under the name `caller`.
 * Results: 0; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY, with *copy_out null, or an empty set that the caller frees.
 */
uint64_t instcomm_duplicate_sp_list(serv_packs **copy_out, serv_packs *source, const char *caller);

/*
 * Fetch a stored profile of a fixed VM type and scope: global QX, global LC QX, global UVF, local QX. *..._pp receives
 * a new record. sdr_key is required, for the local profile too.
 * Results: 0; INST_RC_INVALID_ARG, also if no file can be named (unknown state, or out of memory); INST_RC_NO_MEMORY;
 * INSTMGR_RC_INVALID_DATA if the file grows while it is read, or cannot be decoded (damaged, or out of memory); an
 * errno code if it cannot be opened, measured or read, with an errno of 0 for an empty file.
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
 * Fetch any stored profile; the second function does so in the local scope. *..._pp receives a new record.
 * Results: as above, and those of inst_get_sdr_swprofile_file(). Only a null out-parameter and a failure to name the
 * file leave an error text. If the file of a local profile cannot be named, the first function also appends an entry
 * "R:...;" that says how to recover.
 */
uint64_t inst_ldpath_get_swprofile(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                   inst_sw_profile_sdr_ext **local_sw_profile_ext_pp, char **error_message_out);
uint64_t inst_ldpath_get_local_swprofile(const char *sdr_key, int32_t part_type, uint32_t vm_type,
                                         inst_sw_profile_sdr_ext **local_sw_profile_ext_pp, char **error_message_out);

/*
 * Fetches a profile that may be missing. Results: INSTMGR_RC_SWPROFILE_NOT_FOUND if the file is missing or empty, or
 * cannot be reached or examined; those of inst_ldpath_get_swprofile().
 */
uint64_t inst_ldpath_get_sw_profile_if_exists(const char *sdr_key, uint8_t is_local, int32_t part_type,
                                              uint32_t vm_type, inst_sw_profile_sdr_ext **local_sw_profile_ext_pp);

/* Frees a fetched profile and sets *pp to null. pp and *pp may be null. */
void inst_ldpath_free_swprofile_ext(inst_sw_profile_sdr_ext **pp);

/*
 * Return parts of a fetched profile as new texts, lists and sets, freed with free(), inst_free_string_list() and
 * free_service_pack(). For a record without a body the result is 0 and the outputs are unchanged: set them to null
 * and 0 first.
 * Results: 0; INST_RC_INVALID_ARG, also if a listed entry has no name; INST_RC_NO_MEMORY.
 *
 * inst_ldpath_get_swprofile_image     the name of the image. *image_out must be null before: a failure frees its text
 *                                     and sets it to null.
 * inst_ldpath_get_swprofile_filelist  the name of the image, then those of all packages, in their order
 * inst_ldpath_get_swprofile_img_pkgs  the name of the image; the names of packages, null and 0 if the filter leaves
 *                                     none; and, unless sp_list_out is null, the set of service packs. *sp_list_out is
 *                                     unchanged if the body has no details or the set cannot be built; the set may be
 *                                     incomplete, as for instmgr_convert_sp_det_to_serv_pack(). pkg_filter:
 *                                     VERD_FILTER_...; _NO_MEMBERS leaves out entries that have is_sp_pkg, whatever
 *                                     its value.
 *                                     skip_flagged: without packages whose pkg_marker is set.
 * inst_ldpath_get_swprofile_pkgs      the names of all packages, then those of the service packs; null and 0 without
 *                                     packages, even if there are service packs
 */
uint64_t inst_ldpath_get_swprofile_image(inst_sw_profile_sdr_ext *profile, char **image_out);
uint64_t inst_ldpath_get_swprofile_filelist(inst_sw_profile_sdr_ext *profile, char ***file_list_out,
                                            uint32_t *count_out, char **error_message_out);
uint64_t inst_ldpath_get_swprofile_img_pkgs(inst_sw_profile_sdr_ext *profile, char **image_out, char ***pkg_list_out,
                                            uint32_t *count_out, uint32_t pkg_filter, uint8_t skip_flagged,
                                            serv_packs **sp_list_out);
uint64_t inst_ldpath_get_swprofile_pkgs(inst_sw_profile_sdr_ext *profile, char ***file_list_out, uint32_t *count_out);

/*
 * Returns the package names of a stored local profile, with instcomm_ldpath_get_pkgs_info_from_swprofile(). Results:
 * those of inst_ldpath_get_swprofile() and of instcomm_ldpath_get_pkgs_info_from_swprofile(); INSTCOMM_RC_INVALID_ARG
 * for a null output.
 */
uint64_t inst_ldpath_get_local_swprofile_pkgs_info(const char *sdr_key, int32_t part_type, uint32_t vm_type,
                                                   char ***pkg_names_out, uint32_t *count_out,
                                                   char **error_message_out);

/*
 * Returns the list of inst_ldpath_get_swprofile_filelist() for a stored active profile. Results: those of that
 * function and of inst_ldpath_get_swprofile().
 */
uint64_t inst_swp_get_show_install_active_data(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                               char ***file_list_out, uint32_t *count_out);

/*
 * Search the stored ACTIVE profile for a package; part_type appears in messages only. Names are compared exactly. QX,
 * LC QX and UVF require a key in either scope.
 *
 * inst_swp_is_pkg_present    ignores an architecture suffix of pkg_name. Sets *is_present to 1 if the package exists;
 *                            otherwise leaves it unchanged, so set it to 0 first. is_present may be null.
 * inst_swp_get_package_rpms  ignores the suffix only under the new package rules (g_inst_pkg_fmt_info.is_new_format).
 *                            *is_found: as above. Returns copies of the names of its RPM files, freed with
 *                            inst_free_string_list(); list and count are unchanged if there are none. Of several
 *                            packages of the name, the last one with RPMs counts. Each output may be null.
 *
 * Results: 0, whether or not the package exists; INST_RC_INVALID_ARG; INST_RC_NO_MEMORY; those of
 * inst_ldpath_get_swprofile() and inst_dup_string_list(). BEWARE: *is_found may be set after a failure.
 */
uint64_t inst_swp_is_pkg_present(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                 const char *pkg_name, uint8_t *is_present);
uint64_t inst_swp_get_package_rpms(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                   const char *pkg_name, uint8_t *is_found, char ***rpm_list_out,
                                   uint32_t *rpm_count_out, char **error_message_out);

/*
 * Returns the image name of the stored active global QX profile. *image_out must be null before.
 * Results: 0; INST_RC_INVALID_ARG; those of inst_ldpath_get_sdr_swprofile(). BEWARE: if there is no name, or no memory
 * for it, the result is 0 and *image_out is null.
 */
uint64_t inst_get_image_name(const char *sdr_key, char **image_out);

/*
 * Query the active Admin profile about a node: the global profile or, if it cannot be fetched, the local one.
 *
 * instmgr_cmp_sw_version          compares sw_version with the version of the first location profile that lists the
 *                                 node or, if there is none or it has no version, with that of the main body. Null
 *                                 equals a missing version.
 * instmgr_check_node_in_loc_mswp  sets *in_loc to 1 if a location profile lists the node, otherwise to 0, also on
 *                                 failure.
 *
 * Results: 0; INST_RC_INVALID_ARG; those of fetching the local profile with inst_ldpath_get_swprofile(); INST_RC_FAILED
 * if an interposed inst_ldpath_get_swprofile() returns 0 without a record.
 * BEWARE: *is_equal is 1 if no profile could be fetched; check the result first.
 */
uint64_t instmgr_cmp_sw_version(uint32_t loc_id_1, uint32_t loc_id_2, uint32_t loc_id_3, const char *sw_version,
                                uint8_t *is_equal);
uint64_t instmgr_check_node_in_loc_mswp(uint32_t loc_id_1, uint32_t loc_id_2, uint32_t loc_id_3, uint8_t *in_loc);

/*
 * Compares the active and the committed global QX profile of an SDR with instcomm_compare_swp_profiles(). *is_equal is
 * 0 after every failure.
 * Results: 0; INST_RC_INVALID_ARG; INSTMGR_RC_SWPROFILE_NOT_FOUND if one of them is missing; those of checking,
 * fetching and comparing them.
 */
uint64_t inst_ldpath_is_sdr_master_act_comm_swp_equal(const char *sdr_key, uint8_t *is_equal);

/*
 * Compares two states of a profile. selector and option are those of instcomm_cmp_swprofile_ext(). *matched is
 * unchanged if one of the states cannot be fetched.
 * Results: 0; INST_RC_INVALID_ARG; those of inst_ldpath_get_sw_profile_if_exists() and instcomm_cmp_swprofile_ext().
 * BEWARE: *matched is 1 if the comparison fails; check the result first.
 */
uint64_t inst_ldpath_check_swp_mismatch_wrapper(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                                int32_t src_part_type, int32_t dst_part_type, uint32_t selector,
                                                uint32_t option, uint8_t *matched);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
