#include "instcomm.h"

#include <cstdlib>

extern "C" uint64_t instcomm_ldpath_get_pkgs_info_from_swprofile(const inst_sw_profile_sdr_ext *profile,
                                                                 char ***pkg_names, uint32_t *count, char **err)
{
    if (profile == nullptr || pkg_names == nullptr || count == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    inst_swp_package *packages = nullptr;
    const uint32_t package_count = inst_sw_profile_info_get_packages(&profile->sdr_sw_profile.sw_profile, &packages);
    const auto names = static_cast<char **>(std::calloc(std::size_t{package_count} + 1, sizeof(char *)));
    if (names == nullptr) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < package_count; ++i) {
        names[i] = inst_swp_package_has_name(&packages[i]) ? packages[i].name : nullptr;
    }
    const uint64_t rc = inst_dup_string_list(package_count, names, pkg_names, err);
    std::free(names);
    if (rc == 0) {
        *count = package_count;
    }
    return rc;
}
