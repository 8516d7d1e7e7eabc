// Builds sets of service packs from details and from other sets.
#include "frame/marker_files.h"
#include "frame/report.h"

#include <cstdlib>

TRACE_SITES_BEGIN(service_pack_sets)

namespace
{

// Adds copies of the details to a set. If there is no memory for the array, the set remains empty; if a copy fails, it
// and the later ones are present, but empty.
void copy_details(const char *function, serv_packs &set, const sp_detail *details, uint32_t count)
{
    auto *const array = static_cast<sp_detail *>(std::calloc(count, sizeof(sp_detail)));
    if (array == nullptr) {
        return;
    }
    int32_t status = 0;
    for (uint32_t i = 0; i < count && status == 0; ++i) {
        status = zeld_sp_detail_duplicate(&array[i], &details[i], std::malloc, 0);
        if (status != 0) {
            REPORT("SPERROR: %s Failed to duplicate sp_idx=%u ret=%d\n", function, i, status);
        }
    }
    serv_packs_set_service_packs(&set, array, count);
}

} // namespace

extern "C" {

uint64_t instmgr_convert_sp_det_to_serv_pack(serv_packs **sp_list_out, sp_detail *details, uint32_t count)
{
    REPORT_SP_DEBUG("SPDEBUG: %s SP Count fetched  %d\n", __func__, count);
    if (count == 0) {
        return 0;
    }
    if (sp_list_out == nullptr || details == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    auto *const set = static_cast<serv_packs *>(std::calloc(1, sizeof(serv_packs)));
    if (set == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    copy_details(__func__, *set, details, count);
    *sp_list_out = set;
    return instmgr_show_serv_pack(set, __func__);
}

uint64_t instcomm_duplicate_sp_list(serv_packs **copy_out, serv_packs *source, const char *caller)
{
    if (copy_out == nullptr || source == nullptr || caller == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    static_cast<void>(instmgr_show_serv_pack(source, caller));
    *copy_out = static_cast<serv_packs *>(std::calloc(1, sizeof(serv_packs)));
    if (*copy_out == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    const int32_t status = zeld_serv_packs_duplicate(*copy_out, source, std::malloc, 0);
    if (status != 0) {
        REPORT("SPERROR: %s Failed to duplicate ctx sp list, errcode= %d\n", caller, status);
        return INST_RC_NO_MEMORY; // the caller frees *copy_out
    }
    static_cast<void>(instmgr_show_serv_pack(*copy_out, caller));
    return 0;
}
}

TRACE_SITES_END(service_pack_sets);
