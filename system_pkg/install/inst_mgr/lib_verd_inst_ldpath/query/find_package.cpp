// Searches the active profile for a package. The state argument appears in messages only.
#include "frame/debug_line.h"
#include "frame/entry_name.h"
#include "frame/error_text.h"
#include "frame/owned.h"
#include "persist/owned_profile.h"

TRACE_SITES_BEGIN(find_package)

namespace
{

using Package = inst_swp_package;

struct Search {
    const char *sdr_key;
    uint8_t is_local;
    int32_t part_type;
    uint32_t vm_type;
    const char *pkg_name;

    const char *scope() const { return verd_scope_name(is_local); }
    const char *state() const { return verd_state_name(part_type); }
    const char *vm() const { return verd_vm_type_name(vm_type); }
    const char *key() const { return text_or_null(sdr_key); }
};

uint64_t check_arguments(const Search &search)
{
    if (verd_vm_type_has_sdr(search.vm_type) && search.sdr_key == nullptr) {
        REPORT("Error! sdr_key is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    return search.pkg_name == nullptr ? INST_RC_INVALID_ARG : 0;
}

uint64_t fetch_active(const Search &search, OwnedProfile &profile, char **text)
{
    return inst_ldpath_get_swprofile(search.sdr_key, search.is_local, VERD_SWP_ACTIVE, search.vm_type, &profile.record,
                                     text);
}

// Calls found(package) for every package of this name until a call returns an error.
template <class Found> uint64_t for_each_of_name(const inst_sw_profile_sdr &sdr, const char *name, Found found)
{
    Package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&sdr.sw_profile, &packages);
    uint64_t rc = 0;
    for (uint32_t i = 0; i < count && rc == 0; ++i) {
        if (is_same_name(name_of(packages[i]), name)) {
            rc = found(packages[i]);
        }
    }
    return rc;
}

uint64_t find_package(const Search &search, uint8_t *is_present)
{
    uint64_t rc = check_arguments(search);
    if (rc != 0) {
        return rc;
    }
    const Owned<char> name(copy_without_architecture(search.pkg_name));
    if (name.ptr == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    OwnedProfile profile;
    rc = fetch_active(search, profile, nullptr);
    if (rc != 0) {
        REPORT("Failed to get %s active QX sw profile, rc=0x%lx\n", search.scope(), rc);
        return rc;
    }
    if (profile.record == nullptr) {
        REPORT("Failed to get %s active QX sw profile (NULL)\n", search.scope());
        return 0;
    }
    static_cast<void>(for_each_of_name(profile.sdr(), name.ptr, [&](const Package &) -> uint64_t {
        REPORT("Found pkg %s in %s %s SW Profile for %s (key=%s)\n", name.ptr, search.scope(), search.state(),
               search.vm(), search.key());
        if (is_present != nullptr) {
            *is_present = 1;
        }
        return 0;
    }));
    // Quirk: tests the pointer, not the flag, so it is logged if the caller passes no flag, even if the package was
    // found; log searches match this message.
    if (is_present == nullptr) {
        REPORT("Did not find pkg %s in %s %s SW Profile for %s VM (key=%s)\n", name.ptr, search.scope(), search.state(),
               search.vm(), search.key());
    }
    return 0;
}

// The RPM list of the last package with this name that has one.
struct Rpms {
    bool is_found = false;
    OwnedStringList list;
};

uint64_t copy_rpms(const Search &search, const Package &package, Rpms &rpms, char **text)
{
    rpms.is_found = true;
    char **files = nullptr;
    const uint32_t count = inst_swp_package_get_files(&package, &files);
    if (count == 0) {
        return 0;
    }
    inst_free_string_list(std::exchange(rpms.list.count, 0), std::exchange(rpms.list.list, nullptr));
    const uint64_t rc = inst_dup_string_list(count, files, &rpms.list.list, text);
    if (rc != 0) {
        REPORT("%s: failed to allocate string\n", "inst_swp_get_package_rpms");
        return rc;
    }
    rpms.list.count = count;
    char shown[128];
    inst_print_list(shown, sizeof shown, rpms.list.list, count);
    REPORT("%s %s SW Profile for %s (key=%s) contains pkgs: %s\n", search.scope(), search.state(), search.vm(),
           search.key(), shown);
    return 0;
}

uint64_t find_rpms(const Search &search, Rpms &rpms, char **text)
{
    uint64_t rc = check_arguments(search);
    if (rc != 0) {
        return rc;
    }
    OwnedProfile profile;
    rc = fetch_active(search, profile, text);
    if (rc != 0) { // Quirk: says "local" in both scopes; log searches match this text.
        REPORT("Failed to get local active QX sw profile, rc=0x%lx\n", rc);
        error_text_add(text, "Failed to get local active QX software profile\n");
        return rc;
    }
    if (profile.record == nullptr) {
        REPORT("Failed to get local active QX sw profile (NULL)\n");
        error_text_add(text, "Hit an internal error while getting local active QX software profile\n");
        return 0;
    }
    Owned<char> stripped;
    if (g_inst_pkg_fmt_info.is_new_format != 0) {
        stripped.ptr = copy_without_architecture(search.pkg_name);
        if (stripped.ptr == nullptr) {
            return INST_RC_NO_MEMORY;
        }
    }
    return for_each_of_name(profile.sdr(), stripped.ptr != nullptr ? stripped.ptr : search.pkg_name,
                            [&](const Package &package) { return copy_rpms(search, package, rpms, text); });
}

} // namespace

extern "C" {

uint64_t inst_swp_is_pkg_present(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                 const char *pkg_name, uint8_t *is_present)
{
    DEBUG_LINE(4, "Entering function %s, %s, %d \n", __func__, text_or_null(sdr_key), is_local);
    const uint64_t rc = find_package({sdr_key, is_local, part_type, vm_type, pkg_name}, is_present);
    DEBUG_LINE(4, "Leaving function %s, rc = %lx, %d\n", __func__, rc, is_present == nullptr ? 0 : *is_present);
    return rc;
}

uint64_t inst_swp_get_package_rpms(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                   const char *pkg_name, uint8_t *is_found, char ***rpm_list_out,
                                   uint32_t *rpm_count_out, char **error_message_out)
{
    DEBUG_LINE(4, "Entering function %s, %s, %d \n", __func__, text_or_null(sdr_key), is_local);
    char *text = nullptr;
    Rpms rpms;
    const uint64_t rc = find_rpms({sdr_key, is_local, part_type, vm_type, pkg_name}, rpms, &text);
    if (is_found != nullptr && rpms.is_found) {
        *is_found = 1;
    }
    if (rpms.list.list != nullptr) {
        if (rpm_count_out != nullptr) {
            *rpm_count_out = rpms.list.count;
        }
        if (rpm_list_out != nullptr) {
            *rpm_list_out = std::exchange(rpms.list.list, nullptr);
        }
    }
    error_text_hand_over(&text, error_message_out);
    DEBUG_LINE(4, "Leaving function %s, rc = %lx, %d\n", __func__, rc, is_found == nullptr ? 0 : *is_found);
    return rc;
}
}

TRACE_SITES_END(find_package);
