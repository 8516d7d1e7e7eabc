#include "support/bodies.h"

namespace
{

std::string shown(const char *text)
{
    const std::string whole = text == nullptr ? "(null)" : text;
    return whole.size() > 60 ? whole.substr(0, 60) + "..." : whole;
}

std::string joined(char *const *list, uint32_t count)
{
    std::string text;
    for (uint32_t i = 0; i < count; ++i) {
        text += " " + shown(list[i]);
    }
    return text;
}

} // namespace

ServicePacks::ServicePacks(std::initializer_list<Pack> packs)
    : set(static_cast<serv_packs *>(calloc(1, sizeof(serv_packs))))
{
    auto *const array = static_cast<service_pack *>(calloc(packs.size(), sizeof(service_pack)));
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

void put_package(inst_sw_profile_info &body, const inst_swp_package &package)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    packages = static_cast<inst_swp_package *>(realloc(packages, (count + 1) * sizeof *packages));
    packages[count] = package;
    inst_sw_profile_info_set_packages(&body, packages, count + 1);
}

Lines content_of(const inst_sw_profile_info &body)
{
    Lines lines;
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    if (count == 0) {
        lines.push_back(inst_sw_profile_info_has_packages(&body) ? "packages: there, empty" : "no packages");
    }
    for (uint32_t i = 0; i < count; ++i) {
        const inst_swp_package &package = packages[i];
        lines.push_back("package " + shown(package.name) + ", type " + std::to_string(package.pkg_type) +
                        (package.is_sp_pkg != 0 ? ", SP member" : "") +
                        (package.pkg_value != 0 ? ", value " + std::to_string(package.pkg_value) : "") +
                        (package.files_count != 0 ? ", files:" + joined(package.files, package.files_count) : ""));
    }
    if (inst_swp_package_has_files(&body.image)) {
        lines.push_back("base RPMs:" + joined(body.image.files, body.image.files_count));
    }
    for (uint32_t i = 0; i < std::max(body.sp_names_count, body.sp_details_count); ++i) {
        const sp_detail *const detail = i < body.sp_details_count ? &body.sp_details[i] : nullptr;
        lines.push_back("service pack " + (i < body.sp_names_count ? shown(body.sp_names[i]) : "missing") +
                        (detail == nullptr
                             ? ", no detail"
                             : ": " + shown(detail->sp_name) + joined(detail->sp_rpms, detail->sp_rpms_count)));
    }
    return lines;
}

Lines content_of(const inst_sw_profile_sdr &sdr)
{
    Lines lines = content_of(sdr.sw_profile);
    for (uint32_t i = 0; i < sdr.loc_profiles_count; ++i) {
        const inst_sw_profile_loc &location = sdr.loc_profiles[i];
        std::string nodes = "on nodes";
        for (uint32_t j = 0; j < location.node_locs_count; ++j) {
            const inst_node_loc &node = location.node_locs[j];
            nodes += " " + std::to_string(node.loc_id_1) + "/" + std::to_string(node.loc_id_2) + "/" +
                     std::to_string(node.loc_id_3);
        }
        const inst_sw_profile_info &body = location.sw_profile;
        lines.push_back(nodes + ", image " + shown(body.image.name) + ", version " + shown(body.version) + ":");
        for (const std::string &line : content_of(body)) {
            lines.push_back("    " + line);
        }
    }
    return lines;
}
