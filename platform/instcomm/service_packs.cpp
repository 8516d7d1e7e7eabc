#include "architecture_suffix.h"

#include "instcomm.h"

#include <cstdlib>
#include <cstring>

namespace
{

// Returns whether the package, a name without architecture, is one of the RPMs.
bool delivers(const service_pack &pack, std::string_view package)
{
    char **rpms = nullptr;
    const uint32_t count = sp_detail_get_sp_rpms(&pack, &rpms);
    for (uint32_t i = 0; i < count; ++i) {
        if (rpms[i] != nullptr && instcomm::without_architecture(rpms[i]) == package) {
            return true;
        }
    }
    return false;
}

// Parallel arrays: details[i] is a copy of the service pack names[i].
struct FoundPacks {
    char **names = nullptr;
    sp_detail *details = nullptr;
    uint32_t count = 0;

    bool allocate(uint32_t packs)
    {
        names = static_cast<char **>(std::calloc(packs, sizeof(char *)));
        details = static_cast<sp_detail *>(std::calloc(packs, sizeof(sp_detail)));
        return names != nullptr && details != nullptr;
    }

    uint64_t add(const service_pack &pack)
    {
        if (!sp_detail_has_sp_name(&pack) || pack.sp_name == nullptr) {
            return INSTCOMM_RC_INVALID_DATA; // queries require a name
        }
        names[count] = strdup(pack.sp_name);
        const bool copied =
            names[count] != nullptr && zeld_sp_detail_duplicate(&details[count], &pack, std::malloc, 0) == 0;
        ++count;
        return copied ? 0 : INSTCOMM_RC_NO_MEMORY;
    }

    void free_details()
    {
        for (uint32_t i = 0; details != nullptr && i < count; ++i) {
            zeld_sp_detail_free_ext(&details[i], std::free, 0);
        }
        std::free(details);
        details = nullptr;
    }

    void free_all()
    {
        free_details();
        inst_free_string_list(count, names);
        *this = {};
    }
};

uint64_t find_packs(const serv_packs &source, const char *package, FoundPacks &found)
{
    service_pack *packs = nullptr;
    const uint32_t count = serv_packs_get_service_packs(&source, &packs);
    if (count == 0) {
        return 0;
    }
    if (!found.allocate(count)) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    const std::string_view name = package == nullptr ? "" : instcomm::without_architecture(package);
    uint64_t rc = 0;
    for (uint32_t i = 0; i < count && rc == 0; ++i) {
        if (package == nullptr || delivers(packs[i], name)) {
            rc = found.add(packs[i]);
        }
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t instcomm_get_sp_names_from_rpm(uint64_t sp_source, const char *pkg_name, char ***names, uint32_t *count,
                                        sp_detail **details)
{
    const auto *const source = reinterpret_cast<const serv_packs *>(sp_source);
    if (source == nullptr || names == nullptr || count == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    FoundPacks found;
    const uint64_t rc = find_packs(*source, pkg_name, found);
    if (rc != 0 || found.count == 0) {
        found.free_all();
    }
    if (rc != 0) {
        return rc;
    }
    if (details == nullptr) {
        found.free_details();
    } else {
        *details = found.details;
    }
    *names = found.names;
    *count = found.count;
    return 0;
}

uint64_t instcomm_get_sp_names_from_sp_list(const serv_packs *sp_list, char ***names, uint32_t *count)
{
    return instcomm_get_sp_names_from_rpm(reinterpret_cast<uint64_t>(sp_list), nullptr, names, count, nullptr);
}

uint64_t instcomm_get_rpms_from_sp_list(const serv_packs *sp_list, char ***rpms, uint32_t *count, uint32_t, uint32_t)
{
    if (sp_list == nullptr || rpms == nullptr || count == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    service_pack *packs = nullptr;
    const uint32_t pack_count = serv_packs_get_service_packs(sp_list, &packs);
    char **all = nullptr;
    uint32_t all_count = 0;
    for (uint32_t i = 0; i < pack_count; ++i) {
        char **of_pack = nullptr;
        const uint32_t rpm_count = sp_detail_get_sp_rpms(&packs[i], &of_pack);
        const uint64_t rc = instcomm_add_to_list(&all, &all_count, of_pack, rpm_count);
        if (rc != 0) {
            inst_free_string_list(all_count, all);
            return rc;
        }
    }
    *rpms = all;
    *count = all_count;
    return 0;
}

uint64_t instmgr_show_serv_pack(const serv_packs *sp_list, const char *caller)
{
    service_pack *packs = nullptr;
    const uint32_t count = sp_list == nullptr ? 0 : serv_packs_get_service_packs(sp_list, &packs);
    if (count == 0) {
        instcomm_log("%s: no service packs\n", caller);
    }
    for (uint32_t i = 0; i < count; ++i) {
        char **rpms = nullptr;
        const uint32_t rpm_count = sp_detail_get_sp_rpms(&packs[i], &rpms);
        char text[512];
        inst_print_list(text, sizeof text, rpms, rpm_count);
        const bool has_name = sp_detail_has_sp_name(&packs[i]) && packs[i].sp_name != nullptr;
        const char *const name = has_name ? packs[i].sp_name : "(null)";
        instcomm_log("%s: service pack %s delivers %s\n", caller, name, text);
    }
    return 0;
}

void free_service_pack(serv_packs *sp_list)
{
    zeld_serv_packs_free_ext(sp_list, std::free, 0);
    std::free(sp_list);
}
}
