/*
 * Functions that the processes of the install manager share: install log, shell commands, string lists, package names,
 * bundles, service packs, and rendering and comparing profiles. Unless a comment says otherwise, outputs are set on
 * success only.
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

/* Result codes of this layer: category 0x40101278 (32 bits), component 0xC80 (12), number (20). 0 is success. */
#define INSTCOMM_RC_FAILED 0x40101278C8000801ULL       /* the operation, or the command it ran, failed */
#define INSTCOMM_RC_NO_MEMORY 0x40101278C8000802ULL    /* out of memory */
#define INSTCOMM_RC_INVALID_ARG 0x40101278C8000803ULL  /* a null or unusable argument */
#define INSTCOMM_RC_INVALID_DATA 0x40101278C8000807ULL /* invalid or damaged data */

/* Package-format settings. A non-zero is_new_format selects the new package rules. */
typedef struct inst_pkg_fmt_info {
    char name[16];
    uint8_t is_new_format;
} inst_pkg_fmt_info;

extern inst_pkg_fmt_info g_inst_pkg_fmt_info;
extern uint16_t g_inst_common_debug_verbosity_level; /* 0: no DEBUG lines; lines have thresholds of 1 to 4 */
extern int32_t g_inst_common_debug_prefix;           /* 0: time; 1: also pid, tid; else: also function, line */

/* Initialises this layer. Always returns 0. */
uint64_t instcomm_util_init(uint64_t context, uint64_t reserved);

/*
 * Appends one line with time and process id to "/install_repo/log/install.log", in one write. Preserves errno. Adds a
 * missing newline. Null strings print as "(null)". If the log cannot be written, the line is dropped. Without
 * memory, a long line is cut to 1 KiB. A log of 16 MiB is renamed to "install.log.1", which replaces the previous one,
 * and a new log is started.
 */
void instcomm_log(const char *format, ...) __attribute__((format(printf, 1, 2)));

/*
 * Formats a command and runs it through the shell. If `out` is not null and out_size not 0, stores the beginning of the
 * command's standard output there, cut to out_size and NUL-terminated, also on failure; otherwise prints the output to
 * standard error. Results: 0 if the command exited with 0; INSTCOMM_RC_FAILED; INSTCOMM_RC_NO_MEMORY if the command
 * cannot be composed; INSTCOMM_RC_INVALID_ARG for a null format.
 */
uint64_t inst_runcmd(char *out, uint32_t out_size, const char *format, ...) __attribute__((format(printf, 3, 4)));

/*
 * Formats a command, runs it through the shell and returns its whole standard output in a new text, *out, of *out_size
 * characters, which the caller frees. If `out` and `out_size` are null, the output is discarded. Results: as above;
 * also INSTCOMM_RC_NO_MEMORY if the output cannot be stored, and INSTCOMM_RC_INVALID_ARG if only one of `out` and
 * `out_size` is null.
 */
uint64_t inst_runcmd_outbuff(char **out, uint32_t *out_size, const char *format, ...)
    __attribute__((format(printf, 3, 4)));

/* Runs a shell command. Returns its wait status, 0 for success, or -1 if it cannot be started. */
int wsystem(const char *command);

/* Creates all missing directories of a file's path, with mode 0755. Returns 0, or -1 with errno. */
int instcomm_create_filepath_dirs(const char *path);

/*
 * Copies at most `count` characters of src and terminates the copy. Returns 0; EINVAL for a null pointer or size 0;
 * ERANGE if the copy does not fit. On failure, dst becomes empty, if it is not null and has a size.
 */
int strncpy_s(char *dst, size_t dst_size, const char *src, size_t count);

/*
 * String lists: a count and a heap array of heap strings. Entries may be null; copies keep null entries. A null array
 * counts as empty, and an empty list is returned as a null array. inst_dup_string_list() returns 0,
 * INSTCOMM_RC_INVALID_ARG for a null `copy`, or INSTCOMM_RC_NO_MEMORY. `err` is not used.
 */
uint64_t inst_dup_string_list(uint32_t count, char *const *list, char ***copy, char **err);
void inst_free_string_list(uint32_t count, char **list); /* strings and array; list may be null */
void inst_print_list(char *buffer, uint32_t size, char *const *list, uint32_t count); /* "a, b, c", cut to size */

/*
 * Returns the entries of list `a` that are not in list `b`, in their order, in a new array of pointers to strings of
 * `a`. The array is never null; the caller frees only the array. Null entries match nothing. Takes n log n. Results: 0;
 * INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_match_lists(char *const *a, uint32_t a_count, char *const *b, uint32_t b_count, char ***out,
                              uint32_t *out_count);

/* Appends copies of n names to a heap list and reallocates it. Results: those of inst_dup_string_list(). */
uint64_t instcomm_add_to_list(char ***list, uint32_t *count, char *const *names, uint32_t n);

/*
 * Frees the entries that equal an entry of `remove`, moves the others together, and sets the unused entries at the end
 * to null. Keeps null entries. Takes n log n or, if there is no memory, the product of both counts.
 */
void instcomm_remove_from_list(char **list, uint32_t *count, char *const *remove, uint32_t remove_count);

/*
 * Frees the entries that equal an earlier one, moves the others together, and sets the unused entries at the end to
 * null. Null entries equal each other. Takes n log n or, if there is no memory, quadratic time.
 */
void remove_duplicates_from_list(char **list, uint32_t *count);

/* A qsort comparator for `char *`: orders names by their bytes, null first. */
int package_comp(const void *a, const void *b);

/*
 * Classify packages by their names, by the table in package_kinds.cpp: host SMUs (host), packages of the host's
 * operating system (hostos), third-party packages (tp). Kernel packages have a class; any other package has class 0. A
 * name may be a base name, a whole name, or a path, whose last component counts; a kernel's class requires a whole
 * name. A null name belongs to no kind. instcomm_get_kernel_pkg_class() returns 0, or INSTCOMM_RC_INVALID_ARG for a
 * null pointer.
 */
int instcomm_is_host_pkg(const char *name);
int instcomm_is_hostos_pkg(const char *name);
int instcomm_is_tp_pkg(const char *name, int reserved);
uint64_t instcomm_get_kernel_pkg_class(const char *file_name, int *class_out, ...);

/*
 * Splits "name-version-release[.arch[.rpm]]" at the last two dashes into new texts, which the caller frees. *arch is
 * null if there is no architecture. Each output pointer may be null. Results: 0; INSTCOMM_RC_INVALID_ARG for a null
 * entry; INSTCOMM_RC_INVALID_DATA for an entry of another form; INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_split_swp_pkg_entry(const char *entry, char **base_name, char **version, char **release, char **arch);

/* Removes an architecture suffix such as ".x86_64" or ".x86_64.rpm" in place. The name may be null. */
void instcomm_strip_arch_from_package_name(char *name);

/* Returns the part after a path's last '/', a pointer into the path; null without a '/'. */
const char *instcomm_extract_file_name_from_path(const char *path);

/*
 * Unpacks a bundle (a tar archive of RPM files, or a single ".rpm") into work_dir and returns the paths of the RPMs
 * there, in the order of the bundle, in a new list that the caller frees. *pkg_value is the size of the bundle in
 * bytes. Members that are not RPMs are unpacked, but not listed. `err` is not used. Results: 0;
 * INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY; and, with the reason in the log unless noted otherwise:
 *
 *   INSTCOMM_RC_FAILED        the bundle is missing or cannot be examined; tar (for a single RPM: cp) cannot be run,
 *                             for example because the process ignores SIGCHLD, or cannot unpack it, for example
 *                             because a member's path leads through a link; no temporary file can be created for
 *                             tar's list (not logged)
 *   INSTCOMM_RC_INVALID_DATA  before unpacking: the bundle is empty, not a regular file or damaged; tar cannot list
 *                             it; it has no RPM, more than `limit`, or a member that would be written outside of
 *                             work_dir. After unpacking: an RPM is not a regular file
 */
uint64_t instcomm_get_rpm_package_list_from_bundle(const char *bundle_path, const char *work_dir, uint32_t *count,
                                                   char ***files, uint32_t limit, uint64_t *pkg_value, char **err);

/*
 * sp_source is the address of a serv_packs. Returns its service packs that deliver a package, or all if pkg_name is
 * null: a new list of their names and, unless `details` is null, a new array of copies, in the same order. Both are
 * null if there are none. A service pack delivers a package if the package's name equals the name of one of its RPMs;
 * architectures are ignored. Results: 0; INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY; INSTCOMM_RC_INVALID_DATA if
 * one of them has no name.
 */
uint64_t instcomm_get_sp_names_from_rpm(uint64_t sp_source, const char *pkg_name, char ***names, uint32_t *count,
                                        sp_detail **details);

/*
 * Return the names of the service packs of a set, or the names of all RPMs that they deliver, in their order: a new
 * list, null if there are none. reserved_1 and reserved_2 are not used. Results: 0; INSTCOMM_RC_INVALID_ARG;
 * INSTCOMM_RC_NO_MEMORY; the first function also INSTCOMM_RC_INVALID_DATA if a service pack has no name.
 */
uint64_t instcomm_get_sp_names_from_sp_list(const serv_packs *sp_list, char ***names, uint32_t *count);
uint64_t instcomm_get_rpms_from_sp_list(const serv_packs *sp_list, char ***rpms, uint32_t *count, uint32_t reserved_1,
                                        uint32_t reserved_2);

/* Logs a set of service packs under the caller's name. The set may be null. Returns 0. */
uint64_t instmgr_show_serv_pack(const serv_packs *sp_list, const char *caller);

/* Frees a set of service packs: its content and the record itself. The set may be null. */
void free_service_pack(serv_packs *sp_list);

/*
 * Renders a profile for people: one present field per line, nested records indented, packages and nodes in tables. A
 * backslash and every byte except printable ASCII are escaped. The caller frees the new text. `style` is always 1.
 * `err` is not used. Results: 0; INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_get_swprofile_sdr_str(const inst_sw_profile_sdr_ext *profile, char **text, int style, char **err);

/*
 * Compares two profiles and sets *is_equal to 1 or 0. Compares every field except lv_name, which differs between
 * states, and sdr_sw_profile_len. The order of packages matters. A nested record without any field counts as absent.
 * Logs the first difference. `mode` is not used. Results: 0; INSTCOMM_RC_INVALID_ARG.
 */
uint64_t instcomm_compare_swp_profiles(const inst_sw_profile_sdr_ext *a, const inst_sw_profile_sdr_ext *b,
                                       uint8_t *is_equal, uint32_t mode);

/*
 * Compares selected parts of two profiles. `selector` is a sum of numbers: for parts of the main body, 1 (image), 2
 * (packages), 4 (service packs) and 16 (version); for the location profiles, 8. If it has none of them, every field is
 * compared, also fields outside of these parts, except lv_name and sdr_sw_profile_len. Option 1 ignores the order of
 * packages and takes n log n. If *first is not 0, logs the first difference and sets *first to 0; `first` may be null.
 * `reserved` is not used.
 * Results: as above, and INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_cmp_swprofile_ext(const inst_sw_profile_sdr_ext *src, const inst_sw_profile_sdr_ext *dst,
                                    uint32_t selector, uint8_t *first, uint32_t reserved, uint32_t option,
                                    uint8_t *match);

/*
 * Returns the names of a profile's packages, in their order: a new list, null if there are none. `err` is not used.
 * Results: 0; INSTCOMM_RC_INVALID_ARG; INSTCOMM_RC_NO_MEMORY.
 */
uint64_t instcomm_ldpath_get_pkgs_info_from_swprofile(const inst_sw_profile_sdr_ext *profile, char ***pkg_names,
                                                      uint32_t *count, char **err);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
