#include "frame/cut_text.h"
#include "frame/owned.h"
#include "frame/report.h"
#include "frame/text_list.h"
#include "location/repository.h"
#include "persist/encode_buffer.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(create)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_create_sdr_swprofile";
// Quirk: a fixed number instead of the source line; log searches identify the failed copy by it.
constexpr int STRDUP_LINE = 2175;

// The lengths of a request's arrays: 0 for a null array, whatever its count.
struct ArrayCounts {
    uint32_t image_rpms;
    uint32_t packages;
};

void report_request(const swprofile_create_request &request, const ArrayCounts &counts)
{
    char rpms[128];
    inst_print_list(rpms, sizeof rpms, request.image_rpms, counts.image_rpms);
    REPORT("Creating %s %s SW Profile for %s (key=%s), lv_name=%s, image=%s, num_image_rpms=%d (%s), "
           "packages_count=%d, is_single_initrd_supported = %d \n",
           verd_scope_name(request.is_local), verd_state_name(static_cast<int32_t>(request.part_type)),
           verd_vm_type_name(request.vm_type), text_or_null(request.sdr_key), text_or_null(request.lv_name),
           text_or_null(request.image), request.num_image_rpms, rpms, request.packages_count,
           request.is_single_initrd_supported);
    if (counts.packages != 0) {
        REPORT("Package RPM list:\n");
        for (uint32_t i = 0; i < counts.packages; ++i) {
            REPORT("    Pkg RPM %d: %s\n", i, request.packages[i].name);
        }
    }
}

void fill_image(inst_swp_package &image, const swprofile_create_request &request, const ArrayCounts &counts)
{
    if (request.image != nullptr) {
        char *const slash = std::strrchr(request.image, '/');
        inst_swp_package_set_name(&image, slash == nullptr ? request.image : slash + 1);
    }
    if (request.image_aux_name != nullptr) {
        inst_swp_package_set_aux_name(&image, request.image_aux_name);
    }
    if (counts.image_rpms != 0) {
        inst_swp_package_set_files(&image, request.image_rpms, counts.image_rpms);
    }
    inst_swp_package_set_pkg_type(&image, 0);
}

// Fills the record except its packages and service packs. The record borrows the request's texts and arrays.
void fill_record(inst_sw_profile_sdr &sdr, const swprofile_create_request &request, const ArrayCounts &counts)
{
    inst_sw_profile_info &body = sdr.sw_profile;
    inst_sw_profile_sdr_set_vm_type(&sdr, request.vm_type);
    if (verd_vm_type_has_sdr(request.vm_type)) {
        inst_sw_profile_sdr_set_sdr_key(&sdr, request.sdr_key);
    }
    inst_sw_profile_info_set_lv_name(&body, request.lv_name);
    fill_image(body.image, request, counts);
    if (request.version != nullptr) {
        inst_sw_profile_info_set_version(&body, request.version);
    } else {
        REPORT("Error! Version information is NULL\n");
    }
    if (request.is_single_initrd_supported != 0) {
        inst_sw_profile_info_set_is_single_initrd_supported(&body, request.is_single_initrd_supported);
    }
}

bool has_service_pack_package(const inst_swp_package *packages, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        if (packages[i].is_sp_pkg != 0) {
            REPORT("SPINFO: Found %s as first sp rpm\n", packages[i].name);
            return true;
        }
    }
    return false;
}

// Copies optional packages, up to the first one without a name. If a copy fails, returns the wait status of the
// command: installers recognise a faulty medium by it.
uint64_t copy_optional_packages(const inst_swp_package *packages, uint32_t count)
{
    if (access(repository::OPTIONAL_PACKAGES, F_OK) != 0) {
        return 0;
    }
    REPORT("Optional Packages being set in the SWP\n");
    for (uint32_t i = 0; i < count && packages[i].name != nullptr; ++i) {
        char source[256];
        char command[256];
        format_cut(source, sizeof source, "%s/%s", repository::OPTIONAL_PACKAGES, packages[i].name);
        format_cut(command, sizeof command, "cp %s %s > %s", source, repository::QX_PACKAGES_DIRECTORY,
                   repository::PACKAGE_COPY_LOG);
        const int64_t status = wsystem(command);
        if (status != 0) {
            REPORT("Unable to copy files to the dpath rc=%ld, %s\n  %s\n", status, command, source);
            return static_cast<uint64_t>(status);
        }
    }
    return 0;
}

// Returns whether every service pack has a name. Later queries reject a service pack without a name.
bool all_have_names(const serv_packs &source)
{
    for (uint32_t i = 0; source.service_packs != nullptr && i < source.service_packs_count; ++i) {
        if (source.service_packs[i].sp_name == nullptr) {
            REPORT("Error! Service pack %u has no name\n", i);
            return false;
        }
    }
    return true;
}

// Adds the service packs to the body: borrowed details, and copies of the names, which `names` owns.
// Quirk: if rc is already an error (an optional package was not copied), still copies the names before returning it; if
// that fails, returns the new error instead. Log searches match the messages of both failures.
uint64_t attach_service_packs(inst_sw_profile_info &body, const serv_packs &source, uint64_t rc, OwnedStringList &names)
{
    service_pack *const packs = source.service_packs;
    const uint32_t count = packs == nullptr ? 0 : source.service_packs_count;
    inst_sw_profile_info_set_sp_details(&body, packs, count);

    if (!allocate_list(names, count == 0 ? 1 : count)) {
        return INST_RC_NO_MEMORY;
    }
    names.count = count;
    for (uint32_t i = 0; i < count; ++i) {
        if ((names.list[i] = strdup(packs[i].sp_name)) == nullptr) {
            REPORT("SPERROR: FUNC: %s LINE: %d strdup failed \n", FUNCTION, STRDUP_LINE);
            return INSTMGR_RC_NO_MEMORY;
        }
    }
    if (rc != 0) {
        return rc;
    }
    REPORT("SPINFO: Following SP(s) are being added to SWP\n");
    for (uint32_t i = 0; i < count; ++i) {
        REPORT("SP[%d]: %s\n", i, names.list[i]);
    }
    inst_sw_profile_info_set_sp_names(&body, names.list, count);
    return 0;
}

// If rc is already an error, stores nothing and returns rc. Rejects a profile whose inst_sw_profile_sdr does not
// fit the buffer.
uint64_t encode_and_store(inst_sw_profile_sdr_ext &profile, const swprofile_create_request &request, uint64_t rc)
{
    const Owned<void> buffer(std::malloc(ENCODE_BUFFER_SIZE));
    if (buffer.ptr == nullptr || rc != 0) {
        // Quirk: also logged after a failed copy of an optional package; log searches match this text.
        REPORT("Error! Can't allocate encode buffer\n");
        return rc != 0 ? rc : INST_RC_NO_MEMORY;
    }
    const uint32_t length =
        zeld_inst_sw_profile_sdr_encode_ext(&profile.sdr_sw_profile, buffer.ptr, ENCODE_BUFFER_SIZE, 0, 0, 0);
    if (length > ENCODE_BUFFER_SIZE) {
        REPORT("Error! encode buffer size is not sufficient\n");
        return INSTMGR_RC_INVALID_DATA;
    }
    inst_sw_profile_sdr_ext_set_sdr_sw_profile_len(&profile, length);
    rc = inst_write_sdr_swprofile_to_file2(request.sdr_key, request.is_local, static_cast<int32_t>(request.part_type),
                                           request.vm_type, &profile, nullptr);
    if (rc != 0) {
        // Quirk: "(null)" instead of the file name; log searches match this text.
        constexpr char file_name[] = "(null)";
        REPORT("%s: Error! Failed to write SW profile to file %s: %lx\n", FUNCTION, file_name, rc);
    }
    return rc;
}

uint64_t create_profile(const swprofile_create_request &request)
{
    const ArrayCounts counts = {request.image_rpms == nullptr ? 0 : request.num_image_rpms,
                                request.packages == nullptr ? 0 : request.packages_count};
    report_request(request, counts);
    if (verd_vm_type_has_sdr(request.vm_type) && request.is_local == 0 && request.sdr_key == nullptr) {
        REPORT("Error! sdr_key is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    if (counts.image_rpms != 0) {
        qsort(request.image_rpms, counts.image_rpms, sizeof *request.image_rpms, package_comp);
    }
    inst_sw_profile_sdr_ext profile = {};
    inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    fill_record(profile.sdr_sw_profile, request, counts);
    const bool has_service_packs =
        has_service_pack_package(request.packages, counts.packages) && request.serv_packs != nullptr;
    if (has_service_packs && !all_have_names(*request.serv_packs)) {
        return INST_RC_INVALID_ARG;
    }

    REPORT("Adding initial packages to SWP\n");
    inst_sw_profile_info_set_packages(&body, request.packages, counts.packages);

    OwnedStringList sp_names; // the record borrows everything else from the request
    uint64_t rc = copy_optional_packages(request.packages, counts.packages);
    if (has_service_packs) {
        rc = attach_service_packs(body, *request.serv_packs, rc, sp_names);
        if (rc != 0) {
            return rc;
        }
    }
    return encode_and_store(profile, request, rc);
}

} // namespace

extern "C" uint64_t inst_ldpath_create_sdr_swprofile(swprofile_create_request *request)
{
    if (request == nullptr) {
        REPORT("Error! request is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    return create_profile(*request);
}

TRACE_SITES_END(create);
