/*
 * What the install manager's processes share: the install log, shell commands, string lists, package names, and the
 * rendering of profiles. Outputs are set on success only.
 */
#ifndef INSTCOMM_H
#define INSTCOMM_H

#include <stddef.h>
#include <stdint.h>

#include "zeld.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Result codes of this layer: category 0x40101278, component 3200, number. 0 is success. */
#define INSTCOMM_RC_FAILED 0x40101278C8000801ULL       /* the operation, or the command it ran, failed */
#define INSTCOMM_RC_NO_MEMORY 0x40101278C8000802ULL    /* out of memory */
#define INSTCOMM_RC_INVALID_ARG 0x40101278C8000803ULL  /* a null or unusable argument */
#define INSTCOMM_RC_INVALID_DATA 0x40101278C8000807ULL /* data that isn't what it should be */

/* Package-format settings. `name` is NUL-terminated; a non-zero flag selects the new package rules. */
typedef struct inst_pkg_fmt_info {
    char name[16];
    uint8_t is_new_format;
} inst_pkg_fmt_info;

extern inst_pkg_fmt_info g_inst_pkg_fmt_info;
extern uint16_t g_inst_common_debug_verbosity_level; /* 0: no DEBUG lines; lines have thresholds of 1 to 4 */
extern int32_t g_inst_common_debug_prefix;           /* 0 time; 1 and pid, tid; else and function, line */

/* Prepare this layer. Returns 0; it has nothing that can fail. */
uint64_t instcomm_util_init(uint64_t context, uint64_t reserved);

/*
 * Append one line with time and process id to "/install_repo/log/install.log", in one write, errno preserved. A
 * message without its newline gets one. Null strings print as "(null)". Where the log can't be written, the line is
 * dropped. A log of 16 MiB is renamed to "install.log.1", replacing the previous one, and a new log is begun.
 */
void instcomm_log(const char *format, ...) __attribute__((format(printf, 1, 2)));

/*
 * Format a command and run it through the shell. With a non-null `out`, its first output goes there, cut to out_size
 * and NUL-terminated; otherwise it goes to this process's standard error. Returns 0 when the command exited with 0,
 * else INSTCOMM_RC_FAILED, or INSTCOMM_RC_NO_MEMORY when the command can't be composed, or INSTCOMM_RC_INVALID_ARG
 * without a format.
 */
uint64_t inst_runcmd(char *out, uint32_t out_size, const char *format, ...) __attribute__((format(printf, 3, 4)));

/*
 * Format a command, run it through the shell and collect all of its output in a new text, *out, of *out_size
 * characters, which the caller frees. With `out` and `out_size` null the output is discarded. Results as above, and
 * INSTCOMM_RC_INVALID_ARG when only one of them is null.
 */
uint64_t inst_runcmd_outbuff(char **out, uint32_t *out_size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* Run a shell command. Returns its wait status, 0 for success, -1 when it can't be started. */
int wsystem(const char *command);

/* Make every directory above the path's last '/', mode 0755. Returns 0, or -1 with errno. */
int instcomm_create_filepath_dirs(const char *path);

/*
 * Copy at most `count` characters of src and terminate. Returns 0, or EINVAL (a null pointer, size 0) or ERANGE (it
 * doesn't fit) with dst, where there is one, made empty.
 */
int strncpy_s(char *dst, size_t dst_size, const char *src, size_t count);

/*
 * String lists: (count, array) of heap strings; an entry may be null and stays so. A null array counts as empty, and
 * an empty list is a null array.
 */
uint64_t inst_dup_string_list(uint32_t count, char *const *list, char ***copy, char **err);
void inst_free_string_list(uint32_t count, char **list); /* strings and array; null is fine */
void inst_print_list(char *buffer, uint32_t size, char *const *list, uint32_t count); /* "a, b, c", cut to size */

/*
 * The entries of a that are not in b, in their order: a new array of pointers into a, of which the caller frees the
 * array only. Null entries match nothing. n log n. Results: 0, INSTCOMM_RC_INVALID_ARG, INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_match_lists(char *const *a, uint32_t a_count, char *const *b, uint32_t b_count, char ***out,
                              uint32_t *out_count);

/* Append copies of names to a heap list, which may be moved; unchanged on failure. The results of the copy. */
uint64_t instcomm_add_to_list(char ***list, uint32_t *count, char *const *names, uint32_t n);

/*
 * Free the entries that are among those to be removed, close up, and set the places that are left at the end to null.
 * Null entries stay. n log n; the product of both counts without memory.
 */
void instcomm_remove_from_list(char **list, uint32_t *count, char *const *remove, uint32_t remove_count);

/*
 * Free every entry that equals an earlier one, close up, and set the places that are left at the end to null. Null
 * entries are equal. n log n; quadratic without memory.
 */
void remove_duplicates_from_list(char **list, uint32_t *count);

/* A qsort comparator over two `char *`: byte order of the names, null before all. */
int package_comp(const void *a, const void *b);

/*
 * Which kind of package does a name belong to? The table in package_kinds.cpp tells. Host packages are host SMUs,
 * hostos packages the host's operating system, tp packages third-party software; kernel packages have a class, 0 for
 * what is none. Names may be base names, whole names, or paths, of which the last component counts;
 * a null name is nothing. The classifier of kernels returns 0, or INSTCOMM_RC_INVALID_ARG for a null pointer.
 */
int instcomm_is_host_pkg(const char *name);
int instcomm_is_hostos_pkg(const char *name);
int instcomm_is_tp_pkg(const char *name, int reserved);
uint64_t instcomm_get_kernel_pkg_class(const char *file_name, int *class_out, ...);

/*
 * Split "name-version-release[.arch[.rpm]]" at its last two dashes into new texts, which the caller frees; *arch is
 * null when there is none. Outputs that aren't wanted may be null. Results: 0; INSTCOMM_RC_INVALID_ARG for a null
 * entry; INSTCOMM_RC_INVALID_DATA for one that has no such form; INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_split_swp_pkg_entry(const char *entry, char **base_name, char **version, char **release, char **arch);

/* Cut ".x86_64" and its like off a name, and a ".rpm" behind it. A null name is fine. */
void instcomm_strip_arch_from_package_name(char *name);

/* What follows a path's last '/'; null when there is none. */
const char *instcomm_extract_file_name_from_path(const char *path);

/*
 * Unpack a bundle, which is a tar of RPM files or a single ".rpm", into work_dir, and list the RPMs there: paths, in
 * the order of the bundle, a new list that is the caller's. *pkg_value is the bundle's size in bytes. Members that
 * aren't RPMs are unpacked, but not listed.
 * Results: 0; INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY; INSTCOMM_RC_FAILED when the bundle isn't there, tar
 * can't be run (as in a process that ignores SIGCHLD) or fails to unpack it (as for a member that leads through a
 * link); INSTCOMM_RC_INVALID_DATA, with nothing unpacked, for a bundle that tar can't list or that is damaged, holds no
 * RPM or more than `limit`, or a member whose name would leave work_dir, and when something listed as an RPM is no
 * file. The log tells why. `err` isn't used.
 */
uint64_t instcomm_get_rpm_package_list_from_bundle(const char *bundle_path, const char *work_dir, uint32_t *count,
                                                   char ***files, uint32_t limit, uint64_t *pkg_value, char **err);

/*
 * The service packs of a source, the address of a serv_packs, that deliver a package, or all when pkg_name is null: new
 * lists of their names and, unless null, of copies of themselves, *details[i] for *names[i]; null when there are none.
 * A package is delivered when its name is one of the RPM names, architectures taken off both.
 * Results: 0; INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY; INSTCOMM_RC_INVALID_DATA when one of them has no name.
 */
uint64_t instcomm_get_sp_names_from_rpm(uint64_t sp_source, const char *pkg_name, char ***names, uint32_t *count,
                                        sp_detail **details);

/*
 * The names of the service packs of a set, or those of all the RPMs that they deliver, in order: a new list, null when
 * there are none. The last two arguments aren't used. Results: 0; INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY; of
 * the names also INSTCOMM_RC_INVALID_DATA when one of them has none.
 */
uint64_t instcomm_get_sp_names_from_sp_list(const serv_packs *sp_list, char ***names, uint32_t *count);
uint64_t instcomm_get_rpms_from_sp_list(const serv_packs *sp_list, char ***rpms, uint32_t *count, uint32_t reserved_1,
                                        uint32_t reserved_2);

/* Log a set of service packs, on behalf of a caller. Null is fine. Returns 0. */
uint64_t instmgr_show_serv_pack(const serv_packs *sp_list, const char *caller);

/* Free a set of service packs, contents and record; null is fine. */
void free_service_pack(serv_packs *sp_list);

/*
 * Render a profile for people: every present field on a line of its own, nested by indentation, everything but
 * printable ASCII escaped. The new text is the caller's, who frees it. `style` is always 1. `err` isn't used.
 */
uint64_t instcomm_get_swprofile_sdr_str(const inst_sw_profile_sdr_ext *profile, char **text, int style, char **err);

/*
 * Do two profiles hold the same? *is_equal gets 1 or 0. Everything counts, the order of packages too, but for lv_name,
 * which names the partition and differs between states, and sdr_sw_profile_len; a nested record without any field
 * counts as absent. `mode` isn't used. Results: 0; INSTCOMM_RC_INVALID_ARG.
 */
uint64_t instcomm_compare_swp_profiles(const inst_sw_profile_sdr_ext *a, const inst_sw_profile_sdr_ext *b,
                                       uint8_t *is_equal, uint32_t mode);

/*
 * The same for selected parts. `selector` is a sum of 1 image, 2 packages, 4 service packs and 16 version, of the main
 * body, and 8 location profiles as a whole; with none of these everything is compared, also what none of them names.
 * Option 1 disregards the order of packages, at n log n. The first difference is logged, and *first cleared then,
 * unless it is 0 already; `first` may be null. `reserved` isn't used. Results as above, and INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_cmp_swprofile_ext(const inst_sw_profile_sdr_ext *src, const inst_sw_profile_sdr_ext *dst,
                                    uint32_t selector, uint8_t *first, uint32_t reserved, uint32_t option,
                                    uint8_t *match);

/*
 * The names of a profile's packages, in its order: a new list, null when there are none. `err` isn't used. Results: 0;
 * INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_ldpath_get_pkgs_info_from_swprofile(const inst_sw_profile_sdr_ext *profile, char ***pkg_names,
                                                      uint32_t *count, char **err);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
