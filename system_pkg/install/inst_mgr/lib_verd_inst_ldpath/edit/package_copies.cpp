#include "edit/package_copies.h"

#include "verd_inst_ldpath.h"

uint64_t add_copied_package(inst_sw_profile_info &body, const PackageRequest &package, PackageCopies &copies,
                            OwnedStringList &superseded, uint32_t reserved, char **text)
{
    const uint64_t rc =
        inst_ldpath_add_pkg_in_swp(&body, copies.name.ptr, copies.rpms.count, copies.rpms.list, package.value,
                                   package.type, superseded.list, &superseded.count, reserved, package.sp_source, text);
    if (rc == 0) {
        static_cast<void>(copies.name.release());
        copies.rpms.list = nullptr;
    }
    return rc;
}
