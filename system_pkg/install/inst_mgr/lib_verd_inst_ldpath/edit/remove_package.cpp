#include "edit/package_array.h"
#include "frame/error_text.h"
#include "frame/report.h"

TRACE_SITES_BEGIN(remove_package)

namespace
{

uint64_t remove_package(inst_sw_profile_info &body, const char *name, char **text)
{
    if (has_base_rpm(body.image, name)) {
        // A base RPM hides packages of the same name. It is removed under the new package rules only.
        if (g_inst_pkg_fmt_info.is_new_format != 0 && remove_base_rpms(body.image, name) != RemoveResult::Done) {
            REPORT("Error! Can't allocate base_rpm_list\n");
            error_text_add(text, "Failed to allocate memory\n");
            return INST_RC_NO_MEMORY;
        }
        return 0;
    }
    if (!has_package(body, name)) {
        REPORT("Pkg %s not found in SWP, nothing to do\n", name);
        return 0;
    }
    if (remove_packages(body, name) != RemoveResult::Done) {
        REPORT("Error! Can't allocate file_list\n");
        error_text_add(text, "Failed to allocate memory\n");
        return INST_RC_NO_MEMORY;
    }
    return 0;
}

} // namespace

extern "C" uint64_t inst_ldpath_remove_pkg_in_swp(inst_sw_profile_info *profile, const char *pkg_name, char **err_msg)
{
    if (profile == nullptr) {
        REPORT("Error! profile is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    if (pkg_name == nullptr) {
        REPORT("Error! pkg_name is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    char *text = nullptr;
    const uint64_t rc = remove_package(*profile, pkg_name, &text);
    error_text_hand_over(&text, err_msg);
    return rc;
}

TRACE_SITES_END(remove_package);
