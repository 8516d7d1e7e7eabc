#include "frame/entry_name.h"
#include "frame/report.h"
#include "frame/text_list.h"

#include <cstring>

TRACE_SITES_BEGIN(add_host_packages)

namespace
{

// A path of neither a host nor a third-party package gets the type of the preceding path.
uint32_t type_of(const char *path, uint32_t previous_type)
{
    if (instcomm_is_host_pkg(path) != 0) {
        return VERD_PKG_HOST_SMU;
    }
    if (instcomm_is_tp_pkg(path, 0) != 0) {
        return VERD_PKG_KERNEL;
    }
    return previous_type;
}

// Adds a host package to the Admin profile. `type` has the type of the preceding path and receives that of this one.
uint64_t add_host_package(int32_t part_type, const char *sdr_key, uint8_t is_local, const char *pkg_path,
                          uint64_t sp_source, uint32_t &type)
{
    const Owned<char> path(copy_without_architecture(pkg_path));
    if (path.ptr == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    type = type_of(pkg_path, type);
    OwnedStringList files;
    if (!allocate_list(files, 1)) {
        return INST_RC_NO_MEMORY;
    }
    files.count = 1; // if there is no memory for the file's name, the list has a null entry
    if (copy_text(file_name_of(pkg_path), &files.list[0]) == 0) {
        instcomm_strip_arch_from_package_name(files.list[0]);
    }
    return inst_ldpath_add_swprofile_pkgs(sdr_key, is_local, part_type, VERD_VM_ADMIN, path.ptr, files.list, 1, 0, type,
                                          sp_source, nullptr);
}

} // namespace

extern "C" uint64_t instcomm_add_host_pkgs_to_swp(int32_t part_type, const char *sdr_key, uint8_t is_local,
                                                  uint32_t count, char *const *pkg_paths, uint64_t sp_source)
{
    REPORT("Host package count is %d\n", count);
    if (pkg_paths == nullptr && count != 0) {
        REPORT("Error! pkg_paths is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    for (uint32_t i = 0; i < count; ++i) {
        REPORT("%s\n", pkg_paths[i]);
    }
    uint64_t rc = 0;
    uint32_t type = 0;
    for (uint32_t i = 0; i < count && rc == 0; ++i) {
        rc = pkg_paths[i] == nullptr ? INST_RC_INVALID_ARG
                                     : add_host_package(part_type, sdr_key, is_local, pkg_paths[i], sp_source, type);
    }
    return rc;
}

TRACE_SITES_END(add_host_packages);
