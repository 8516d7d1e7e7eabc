#include "instcomm.h"

extern "C" {

inst_pkg_fmt_info g_inst_pkg_fmt_info;
uint16_t g_inst_common_debug_verbosity_level;
int32_t g_inst_common_debug_prefix;

uint64_t instcomm_util_init(uint64_t, uint64_t)
{
    return 0;
}
}
