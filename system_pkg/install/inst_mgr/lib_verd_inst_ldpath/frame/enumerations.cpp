#include "frame/result_codes.h"

#include "verd_inst_ldpath.h"

extern "C" {

bool is_part_type_valid(int32_t part_type)
{
    return part_type == VERD_SWP_COMMITTED || part_type == VERD_SWP_ACTIVE || part_type == VERD_SWP_PREPARED;
}

uint32_t instcomm_inst_pkg_type_to_swp_type(uint32_t pkg_type)
{
    switch (pkg_type) {
    // 1 and 3 are types of the platform without a name here.
    case 1:
        return 2;
    case 3:
        return 3;
    case VERD_PKG_HOST_SMU:
        return VERD_SWP_PKG_HOST_SMU;
    case VERD_PKG_KERNEL:
        return VERD_SWP_PKG_KERNEL;
    default:
        return VERD_SWP_PKG_BASE;
    }
}
}
