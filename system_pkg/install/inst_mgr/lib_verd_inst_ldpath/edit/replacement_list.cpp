#include "edit/replacement_list.h"

#include "frame/report.h"

#include "zeld/record_fields.h"

TRACE_SITES_BEGIN(replacement_list)

uint64_t make_replacement_list(OwnedStringList &list, const inst_sw_profile_info &body)
{
    const std::size_t room = std::size_t{record::get<&inst_sw_profile_info::packages>(body, nullptr)} +
                             record::get<&inst_swp_package::files>(body.image, nullptr);
    if (room == 0) {
        return 0;
    }
    list.list = static_cast<char **>(std::calloc(room, sizeof(char *)));
    if (list.list == nullptr) {
        REPORT("Failed to allocate memory for replace_pkgs\n");
        return INSTMGR_RC_NO_MEMORY;
    }
    return 0;
}

uint64_t shrink_replacement_list(OwnedStringList &list)
{
    if (list.count == 0) {
        std::free(std::exchange(list.list, nullptr));
        return 0;
    }
    auto *const shrunk = static_cast<char **>(std::realloc(list.list, list.count * sizeof(char *)));
    if (shrunk == nullptr) {
        REPORT("Failed to realloc memory for temp\n");
        return INSTMGR_RC_NO_MEMORY;
    }
    list.list = shrunk;
    return 0;
}

TRACE_SITES_END(replacement_list);
