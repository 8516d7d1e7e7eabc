#include "frame/report.h"

#include <cstdlib>

TRACE_SITES_BEGIN(node_locations)

extern "C" uint64_t verd_inst_dup_node_loc_list(uint32_t count, const inst_node_loc *src, inst_node_loc **dst_p)
{
    if (dst_p == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    *dst_p = nullptr;
    if (count == 0) {
        REPORT("list1_cnt is 0\n");
        return 0;
    }
    if (src == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    auto *const copy = static_cast<inst_node_loc *>(std::calloc(count, sizeof(inst_node_loc)));
    if (copy == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < count; ++i) {
        static_cast<void>(zeld_inst_node_loc_duplicate(&copy[i], &src[i], std::malloc, 0));
    }
    *dst_p = copy;
    return 0;
}

TRACE_SITES_END(node_locations);
