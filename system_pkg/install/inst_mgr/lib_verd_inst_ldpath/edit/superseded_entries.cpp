#include "edit/superseded_entries.h"

#include "frame/cut_text.h"
#include "frame/entry_name.h"
#include "frame/error_text.h"
#include "frame/owned.h"
#include "frame/report.h"

TRACE_SITES_BEGIN(superseded_entries)

namespace
{

uint64_t record_superseded(SearchResult &found, const char *name)
{
    found.supersedes_any = true;
    if (found.superseded == nullptr) {
        return 0;
    }
    char *const copy = strdup(name);
    if (copy == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    found.superseded[found.count++] = copy;
    return 0;
}

bool is_kernel_of_same_class(const inst_swp_package &entry, const NewPackage &package)
{
    int new_class = 0;
    if (package.file_count != 0 && package.files[0] != nullptr) {
        static_cast<void>(instcomm_get_kernel_pkg_class(package.files[0], &new_class));
    }
    char **files = nullptr;
    if (inst_swp_package_get_files(&entry, &files) == 0 || files[0] == nullptr) {
        return false;
    }
    int existing_class = 0;
    static_cast<void>(instcomm_get_kernel_pkg_class(files[0], &existing_class));
    REPORT("Kernel type for package %s is %d [kernel_class = %d]\n", files[0], new_class, existing_class);
    return new_class == existing_class;
}

// Old rules: a host SMU supersedes any other host SMU, a kernel package any other of its class.
bool is_superseded_by_old_rules(const inst_swp_package &entry, uint32_t existing_type, const NewPackage &package)
{
    if (existing_type == VERD_SWP_PKG_HOST_SMU && package.type == VERD_PKG_HOST_SMU) {
        REPORT("Current profile already has a host SMU %s. Mark it for  replacement\n", entry.name);
        return true;
    }
    return existing_type == VERD_SWP_PKG_KERNEL && package.type == VERD_PKG_KERNEL &&
           is_kernel_of_same_class(entry, package);
}

// New rules: can the package supersede entries of this type? Their base names must be equal, too.
bool can_supersede_kind(uint32_t existing_type, const NewPackage &package, const BaseName &base)
{
    switch (existing_type) {
    case VERD_SWP_PKG_HOST_SMU:
        return package.type == VERD_PKG_HOST_SMU;
    case VERD_SWP_PKG_KERNEL:
        return package.type == VERD_PKG_KERNEL;
    case VERD_SWP_PKG_BASE:
        return package.type == VERD_PKG_BASE && (base.is_hostos || base.is_tp);
    default:
        return false;
    }
}

// Records the entry if it may be superseded and has the new package's base name.
uint64_t record_if_superseded(const char *existing, bool may_be_superseded, const BaseName &base, SearchResult &found,
                              char **text)
{
    Owned<char> split;
    const uint64_t rc = instcomm_split_swp_pkg_entry(existing, &split.ptr, nullptr, nullptr, nullptr);
    if (rc != 0) {
        REPORT("Error: could not split SWP package name\n");
        error_text_add(text, "Failed to split software profile package name\n");
        return rc;
    }
    return may_be_superseded && is_same_name(split.ptr, base.text) ? record_superseded(found, existing) : 0;
}

// Old rules (`base` is null): stops at the first superseded entry. New rules: scans all entries. Both stop at a
// duplicate.
uint64_t scan_packages(const inst_sw_profile_info &body, const NewPackage &package, const BaseName *base,
                       SearchResult &found, char **text)
{
    inst_swp_package *entries = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &entries);
    uint32_t existing_type = 0; // an entry without a type has the type of the last entry with one
    for (uint32_t i = 0; i < count; ++i) {
        const char *const existing = name_of(entries[i]);
        if (inst_swp_package_has_pkg_type(&entries[i])) {
            existing_type = entries[i].pkg_type;
        }
        if (existing == nullptr) {
            continue;
        }
        if (is_same_name(existing, package.name)) {
            REPORT("Package %s already in SW Profile, skipping add\n", package.name);
            found.is_duplicate = true;
            return 0;
        }
        if (base == nullptr && is_superseded_by_old_rules(entries[i], existing_type, package)) {
            return record_superseded(found, existing);
        }
        // Quirk: splits the names of entries of every type; a name that cannot be split fails the call. Callers
        // recognise such a body by the error (docs/contract.md).
        if (base != nullptr) {
            const bool may_be_superseded = can_supersede_kind(existing_type, package, *base);
            const uint64_t rc = record_if_superseded(existing, may_be_superseded, *base, found, text);
            if (rc != 0) {
                return rc;
            }
        }
    }
    return 0;
}

uint64_t scan_base_rpms(const inst_swp_package &image, const BaseName &base, SearchResult &found, char **text)
{
    char **rpms = nullptr;
    const uint32_t count = inst_swp_package_get_files(&image, &rpms);
    uint64_t rc = 0;
    for (uint32_t i = 0; i < count && rc == 0; ++i) {
        if (rpms[i] != nullptr) {
            rc = record_if_superseded(rpms[i], true, base, found, text);
        }
    }
    return rc;
}

} // namespace

uint64_t read_base_name(const char *name, BaseName &base, char **text)
{
    Owned<char> split;
    const uint64_t rc = instcomm_split_swp_pkg_entry(name, &split.ptr, nullptr, nullptr, nullptr);
    if (rc != 0) {
        REPORT("Error: could not read name metadata from rpm\n");
        error_text_add(text, "Failed to read metadata information from RPM %s\n", name);
        return rc;
    }
    format_cut(base.text, sizeof base.text, "%s", split.ptr);
    base.is_hostos = instcomm_is_hostos_pkg(base.text) != 0;
    base.is_tp = instcomm_is_tp_pkg(base.text, 0) != 0;
    return 0;
}

uint64_t find_superseded(const inst_sw_profile_info &body, const NewPackage &package, const BaseName *base,
                         SearchResult &found, char **text)
{
    const uint64_t rc = scan_packages(body, package, base, found, text);
    // A host-OS package that supersedes no package entry may supersede base RPMs of the image.
    if (rc == 0 && base != nullptr && base->is_hostos && !found.supersedes_any) {
        return scan_base_rpms(body.image, *base, found, text);
    }
    return rc;
}

TRACE_SITES_END(superseded_entries);
