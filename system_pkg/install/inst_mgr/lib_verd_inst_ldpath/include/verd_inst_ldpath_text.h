/*
 * VM types, package types, states and scopes: their properties, and their names as they appear in messages. Texts for
 * result codes. Directories of the repository. verd_inst_ldpath.h includes this file. Returned texts must not be freed;
 * all are constant except those of verd_result_meaning() for an errno code.
 */
#ifndef VERD_INST_LDPATH_TEXT_H
#define VERD_INST_LDPATH_TEXT_H

#include <string.h>

#include "verd_inst_ldpath.h"

/* The directories of profiles. Both have the profiles of an SDR in sdr/KEY/. */
#define VERD_LOCAL_DIRECTORY "/install_repo/local/"
#define VERD_GLOBAL_DIRECTORY "/install_repo/gl/instdb/"

/* Packages and bundles. Bundles are unpacked in the work area, whose content, except dot files, is deleted before. */
#define VERD_PACKAGES_DIRECTORY "/install_repo/gl/verdalis/"
#define VERD_WORK_AREA "/install_repo/tmp/"

/* The SDR whose local QX and LC QX profiles have flat copies: copies of their files directly in VERD_LOCAL_DIRECTORY.
 */
#define VERD_DEFAULT_SDR "default-sdr"

typedef struct verd_vm_type {
    uint32_t number;
    const char *name;
    bool has_profile;
    bool has_sdr;         /* a profile per SDR, which contains the SDR's key */
    bool has_flat_copies; /* of the default SDR's local profiles */
} verd_vm_type;

/* Returns the VM type with this number, or null. To visit all types, count from 1 until null. */
static inline const verd_vm_type *verd_find_vm_type(uint32_t number)
{
    static const verd_vm_type types[] = {
        {VERD_VM_HOST, "Host", false, false, false},
        {VERD_VM_ADMIN, "Admin", true, false, false},
        {VERD_VM_QX, "QX", true, true, true},
        {VERD_VM_LC_QX, "LC QX", true, true, true},
        {VERD_VM_SERVICE, "Service VM", false, false, false},
        {VERD_VM_UVF, "UVF", true, true, false},
    };
    for (size_t i = 0; i < sizeof types / sizeof types[0]; ++i) {
        if (types[i].number == number) {
            return &types[i];
        }
    }
    return NULL;
}

/* "Admin", "QX", ..., or "unknown". */
static inline const char *verd_vm_type_name(uint32_t vm_type)
{
    const verd_vm_type *const type = verd_find_vm_type(vm_type);
    return type == NULL ? "unknown" : type->name;
}

/* Returns whether this VM type has a profile per SDR, which contains the SDR's key. */
static inline bool verd_vm_type_has_sdr(uint32_t vm_type)
{
    const verd_vm_type *const type = verd_find_vm_type(vm_type);
    return type != NULL && type->has_sdr;
}

/* Returns whether packages of this type (VERD_PKG_...) are bundles of RPMs. is_new_format: under the new rules. */
static inline bool verd_pkg_type_is_bundle(uint32_t pkg_type, bool is_new_format)
{
    return pkg_type == VERD_PKG_SMU || pkg_type == VERD_PKG_KERNEL ||
           (is_new_format && (pkg_type == VERD_PKG_HOST_SMU || pkg_type == VERD_PKG_BASE));
}

/* "committed", "active", "prepared", or "unknown". */
static inline const char *verd_state_name(int32_t part_type)
{
    switch (part_type) {
    case VERD_SWP_COMMITTED:
        return "committed";
    case VERD_SWP_ACTIVE:
        return "active";
    case VERD_SWP_PREPARED:
        return "prepared";
    default:
        return "unknown";
    }
}

static inline const char *verd_scope_name(uint8_t is_local)
{
    return is_local != 0 ? "local" : "global";
}

/* Returns whether the files of this profile have flat copies. */
static inline bool verd_has_flat_copies(const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    const verd_vm_type *const type = verd_find_vm_type(vm_type);
    return is_local != 0 && type != NULL && type->has_flat_copies && sdr_key != NULL &&
           strcmp(sdr_key, VERD_DEFAULT_SDR) == 0;
}

typedef struct verd_result_text {
    uint64_t rc;
    const char *name;
    const char *meaning;
} verd_result_text;

/* Returns the texts of 0 or of a constant of verd_inst_ldpath.h or instcomm.h; null for any other code. */
static inline const verd_result_text *verd_find_result_text(uint64_t rc)
{
    static const verd_result_text texts[] = {
        {0, "OK", "success"},
        {INST_RC_FAILED, "INST_RC_FAILED", "a generic failure"},
        {INST_RC_NO_MEMORY, "INST_RC_NO_MEMORY", "out of memory"},
        {INST_RC_INVALID_ARG, "INST_RC_INVALID_ARG", "a null or unusable argument"},
        {INST_RC_NO_SWPROFILE, "INST_RC_NO_SWPROFILE", "this VM type has no software profile"},
        {INSTMGR_RC_EMPTY_SWPROFILE, "INSTMGR_RC_EMPTY_SWPROFILE", "the profile cannot be encoded"},
        {INSTMGR_RC_NO_MEMORY, "INSTMGR_RC_NO_MEMORY", "out of memory"},
        {INSTMGR_RC_INVALID_DATA, "INSTMGR_RC_INVALID_DATA", "the request or the stored profile is invalid"},
        {INSTMGR_RC_INIT_FAILED, "INSTMGR_RC_INIT_FAILED", "the trace cannot be opened"},
        {INSTMGR_RC_SWPROFILE_NOT_FOUND, "INSTMGR_RC_SWPROFILE_NOT_FOUND", "a required profile is missing"},
        {INSTMGR_DUP_SWPROFILE_PKG, "INSTMGR_DUP_SWPROFILE_PKG", "the package is in the profile already"},
        {INSTCOMM_RC_FAILED, "INSTCOMM_RC_FAILED", "a command failed, or a bundle is missing"},
        {INSTCOMM_RC_NO_MEMORY, "INSTCOMM_RC_NO_MEMORY", "out of memory"},
        {INSTCOMM_RC_INVALID_ARG, "INSTCOMM_RC_INVALID_ARG", "a null or unusable argument"},
        {INSTCOMM_RC_INVALID_DATA, "INSTCOMM_RC_INVALID_DATA",
         "an unusable bundle, or a name that is missing or not name-version-release"},
    };
    for (size_t i = 0; i < sizeof texts / sizeof texts[0]; ++i) {
        if (texts[i].rc == rc) {
            return &texts[i];
        }
    }
    return NULL;
}

/* Returns whether this is an errno code (INSTMGR_RC_ERRNO). */
static inline bool verd_result_is_errno(uint64_t rc)
{
    return (rc & ~(uint64_t)0x7ff) == INSTMGR_RC_ERRNO(0);
}

/* Returns the errno in a code; 0 if it has none, for an empty file, and possibly for a failed shell command. */
static inline int verd_result_errno(uint64_t rc)
{
    return verd_result_is_errno(rc) ? (int)(rc & 0x7ff) : 0;
}

/* Returns the name of a code's constant, "INSTMGR_RC_ERRNO", "wait status" (of a shell command), or "unknown". */
static inline const char *verd_result_name(uint64_t rc)
{
    const verd_result_text *const text = verd_find_result_text(rc);
    if (text != NULL) {
        return text->name;
    }
    return verd_result_is_errno(rc) ? "INSTMGR_RC_ERRNO" : rc <= 0xffff || rc == UINT64_MAX ? "wait status" : "unknown";
}

/*
 * Returns the meaning of a code. For an errno other than 0, it is the text of strerror(), valid until its next call.
 * For an errno of 0, it is "empty file", although a shell command may have failed instead.
 */
static inline const char *verd_result_meaning(uint64_t rc)
{
    const verd_result_text *const text = verd_find_result_text(rc);
    if (text != NULL) {
        return text->meaning;
    }
    if (verd_result_is_errno(rc)) {
        return verd_result_errno(rc) == 0 ? "empty file" : strerror(verd_result_errno(rc));
    }
    if (rc == UINT64_MAX) {
        return "a shell command could not be started";
    }
    if (rc <= 0xffff) {
        return (rc & 0x7f) != 0 ? "a shell command was killed by a signal" : "a shell command failed";
    }
    return "unknown result code";
}

#endif
