// The VM types: what they are called, and what the files of their profiles are called.
#pragma once

#include "verd_inst_ldpath.h"

struct VmType {
    uint32_t number;
    const char *name;
    const char *local_files;  // begin with this; null where the type has no profiles
    const char *global_files; // begin with this
    bool is_per_sdr;          // its profiles carry an SDR key: the QX-based types
    bool has_flat_copies;     // of the default SDR's local profiles
};

// The global profile of the LC QX type is the same file as that of the QX type.
inline constexpr VmType VM_TYPES[] = {
    {VERD_VM_HOST, "Host", nullptr, nullptr, false, false},
    {VERD_VM_ADMIN, "Admin", "kelo-swprofile", "kelo-master-swprofile", false, false},
    {VERD_VM_QX, "QX", "qx-swprofile", "qx-swprofile", true, true},
    {VERD_VM_LC_QX, "LC QX", "qx-lcp-swprofile", "qx-swprofile", true, true},
    {VERD_VM_SERVICE, "Service VM", nullptr, nullptr, false, false},
    {VERD_VM_UVF, "UVF", "uvf-swprofile", "uvf-swprofile", true, false},
};

// What a number that is no VM type's stands for.
inline constexpr VmType UNKNOWN_VM_TYPE = {0, "unknown", nullptr, nullptr, false, false};

constexpr const VmType &find_vm_type(uint32_t number)
{
    for (const VmType &type : VM_TYPES) {
        if (type.number == number) {
            return type;
        }
    }
    return UNKNOWN_VM_TYPE;
}

constexpr const char *vm_type_name(uint32_t vm_type)
{
    return find_vm_type(vm_type).name;
}

constexpr bool is_qx_based(uint32_t vm_type)
{
    return find_vm_type(vm_type).is_per_sdr;
}
