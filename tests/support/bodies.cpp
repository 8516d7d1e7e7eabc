#include "support/bodies.h"

ServicePacks::ServicePacks(std::initializer_list<Pack> packs) : set(new_array<serv_packs>())
{
    auto *const array = new_array<service_pack>(packs.size());
    service_pack *next = array;
    for (const Pack &pack : packs) {
        if (pack.name != nullptr) {
            sp_detail_set_sp_name(next, strdup(pack.name));
        }
        sp_detail_set_sp_rpms(next, new_list(pack.rpms), static_cast<uint32_t>(pack.rpms.size()));
        ++next;
    }
    serv_packs_set_service_packs(set, array, static_cast<uint32_t>(packs.size()));
}

Addition::Addition(const char *package, const std::vector<const char *> &paths)
    : name(strdup(package)), files(new_list(paths)), file_count(static_cast<uint32_t>(paths.size()))
{
}

Addition::~Addition()
{
    std::free(name);
    inst_free_string_list(file_count, files);
    std::for_each(std::begin(superseded), std::end(superseded), std::free);
}

uint64_t Addition::add_to(inst_sw_profile_info &body, uint64_t value, uint32_t type, uint64_t source, char **err)
{
    const uint64_t rc = inst_ldpath_add_pkg_in_swp(&body, name, file_count, files, value, type, superseded,
                                                   &superseded_count, 0, source, err);
    if (rc == 0) {
        name = nullptr;
        files = nullptr;
    }
    return rc;
}

void put_package(inst_sw_profile_info &body, const inst_swp_package &package)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    packages = static_cast<inst_swp_package *>(realloc(packages, (count + 1) * sizeof *packages));
    packages[count] = package;
    inst_sw_profile_info_set_packages(&body, packages, count + 1);
}

inst_sw_profile_sdr_ext *new_profile_of(const std::vector<inst_swp_package> &packages)
{
    inst_sw_profile_sdr_ext *const profile = new_profile("default-sdr");
    for (const inst_swp_package &package : packages) {
        put_package(profile->sdr_sw_profile.sw_profile, package);
    }
    return profile;
}

std::string content_of(const inst_sw_profile_info &body)
{
    std::string text;
    for (uint32_t i = 0; i < body.packages_count; ++i) {
        const inst_swp_package &package = body.packages[i];
        text += (i == 0 ? "" : ", ") + shown(package.name) + "/" + std::to_string(package.pkg_type) +
                (package.is_sp_pkg != 0 ? " SP member" : "") +
                (package.pkg_value != 0 ? " value " + std::to_string(package.pkg_value) : "") +
                (package.files_count != 0 ? " of" + joined(package.files, package.files_count) : "");
    }
    if (body.packages_count == 0) {
        text = inst_sw_profile_info_has_packages(&body) ? "an empty list of packages" : "no packages";
    }
    text += inst_swp_package_has_files(&body.image) ? "; base" + joined(body.image.files, body.image.files_count) : "";
    text += inst_sw_profile_info_has_sp_names(&body) && body.sp_names_count == 0 ? "; an empty list of names" : "";
    for (uint32_t i = 0; i < std::max(body.sp_names_count, body.sp_details_count); ++i) {
        text += "; " + (i < body.sp_names_count ? shown(body.sp_names[i]) : "no name");
        text += i < body.sp_details_count
                    ? " (" + shown(body.sp_details[i].sp_name) +
                          joined(body.sp_details[i].sp_rpms, body.sp_details[i].sp_rpms_count) + ")"
                    : " without detail";
    }
    return text;
}

std::string content_of(const inst_sw_profile_sdr &sdr)
{
    std::string text = content_of(sdr.sw_profile);
    for (uint32_t i = 0; i < sdr.loc_profiles_count; ++i) {
        const inst_sw_profile_loc &location = sdr.loc_profiles[i];
        text += "; on";
        for (uint32_t j = 0; j < location.node_locs_count; ++j) {
            const inst_node_loc &node = location.node_locs[j];
            text += " " + std::to_string(node.loc_id_1) + "/" + std::to_string(node.loc_id_2) + "/" +
                    std::to_string(node.loc_id_3);
        }
        const inst_sw_profile_info &body = location.sw_profile;
        text += ", image " + shown(body.image.name) + ", version " + shown(body.version) + ": " + content_of(body);
    }
    return text;
}
