#include "edit/replacement_list.h"

#include "frame/report.h"
#include "frame/text_list.h"

TRACE_SITES_BEGIN(replacement_list)

uint64_t allocate_replacement_list(OwnedStringList &list, const inst_sw_profile_info &body)
{
    const std::size_t room = std::size_t{inst_sw_profile_info_get_packages(&body, nullptr)} +
                             inst_swp_package_get_files(&body.image, nullptr);
    if (room == 0) {
        return 0;
    }
    if (!allocate_list(list, room)) {
        REPORT("Failed to allocate memory for replace_pkgs\n");
        return INSTMGR_RC_NO_MEMORY;
    }
    return 0;
}

uint64_t shrink_replacement_list(OwnedStringList &list)
{
    if (!shrink(list)) {
        REPORT("Failed to realloc memory for temp\n");
        return INSTMGR_RC_NO_MEMORY;
    }
    return 0;
}

TRACE_SITES_END(replacement_list);
