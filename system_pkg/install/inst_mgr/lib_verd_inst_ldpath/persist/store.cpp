#include "frame/debug_line.h"
#include "frame/error_text.h"
#include "frame/owned.h"
#include "location/path_text.h"
#include "location/repository.h"
#include "persist/binary_writer.h"
#include "persist/encode_buffer.h"
#include "persist/text_writer.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(store)

namespace
{

constexpr char WRITE_FUNCTION[] = "inst_write_sdr_swprofile_to_file2";
constexpr char STORE_FUNCTION[] = "inst_ldpath_store_sdr_swprofile";
constexpr char NULL_POINTER_TEXT[] = "Hit an unexpected NULL pointer while storing QX software profile\n";
// Quirk: a fixed number instead of the source line; log searches identify the rejected argument by it.
constexpr int NULL_PROFILE_LINE = 1933;

// Encodes into a new buffer of `size` bytes. `length` receives the size that the encoding needs; if it is greater than
// `size`, the encoding did not fit.
uint64_t encode(const inst_sw_profile_sdr_ext *profile, uint32_t size, Owned<void> &buffer, uint32_t &length,
                char **text)
{
    std::free(buffer.release());
    buffer.ptr = std::calloc(size, 1);
    if (buffer.ptr == nullptr) {
        REPORT("Error! Can't allocate encode buffer\n");
        error_text_add(text, "Failed to allocate memory\n");
        return INST_RC_NO_MEMORY;
    }
    length = zeld_inst_sw_profile_sdr_ext_encode_ext(profile, buffer.ptr, size, 0, 0, 0);
    return 0;
}

// If the encoding does not fit, retries once with the size that the encoder needs.
uint64_t encode_profile(const inst_sw_profile_sdr_ext *profile, Owned<void> &buffer, uint32_t &length, char **text)
{
    uint64_t rc = encode(profile, ENCODE_BUFFER_SIZE, buffer, length, text);
    if (rc != 0 || length <= ENCODE_BUFFER_SIZE) {
        return rc;
    }
    REPORT("Default buffer size too small, retrying %d, %d\n", length, ENCODE_BUFFER_SIZE);
    const uint32_t size = length;
    rc = encode(profile, size, buffer, length, text);
    if (rc == 0 && length > size) {
        REPORT("Error! buffer size is not sufficient, %d, %d\n", length, size);
        error_text_add(text, "An internal error occurred while encoding the SDR software profile\n");
        rc = INSTMGR_RC_INVALID_DATA;
    }
    return rc;
}

uint64_t write_bin(const char *path, const void *bytes, uint32_t length, char **text)
{
    const uint64_t rc = inst_write_sdr_swprofile_to_file(path, bytes, length, text);
    if (rc != 0) {
        REPORT("%s: Error! Failed to write SW profile to file %s: %lx\n", WRITE_FUNCTION, path, rc);
        error_text_add(text, "Failed to write SDR software profile to .bin file\n");
    }
    return rc;
}

uint64_t write_txt(const char *bin_path, const inst_sw_profile_sdr_ext *profile, char **text)
{
    const uint64_t rc = inst_write_sdr_swprofile_to_txt_file(bin_path, profile, text);
    if (rc != 0) {
        REPORT("%s: Error! Failed to write SW profile to text file %s: %lx\n", WRITE_FUNCTION, bin_path, rc);
        error_text_add(text, "Failed to write SDR software profile to .txt file\n");
    }
    return rc;
}

uint64_t make_flat_copy(const char *path, char **text)
{
    const uint64_t rc = inst_runcmd(nullptr, 0, "cp -a %s %s 2>&1", path, repository::LOCAL_DIRECTORY);
    if (rc != 0) {
        const int err = errno;
        REPORT("Error! failed to copy %s to %s\n", path, repository::LOCAL_DIRECTORY);
        error_text_add(text, "Failed to run the command 'cp -a %s %s' (%s)\n", path, repository::LOCAL_DIRECTORY,
                       std::strerror(err));
        return rc;
    }
    REPORT("Copied (file: %s)\n", path);
    return 0;
}

uint64_t make_flat_copies(const char *bin_path, char **text)
{
    uint64_t rc = make_flat_copy(bin_path, text);
    if (rc != 0) {
        error_text_add(text, "Failed to copy QX software profile file to install repository\n");
        return rc;
    }
    Owned<char> txt_path;
    rc = name_twin(bin_path, &txt_path.ptr, text);
    if (rc != 0) {
        REPORT("Error! inst_get_sdr_swprofile_txt_file failed, %lx\n", rc);
        error_text_add(text, "Failed to get SDR software profile txt file\n");
        return rc;
    }
    return make_flat_copy(txt_path.ptr, text);
}

uint64_t write_profile(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                       const inst_sw_profile_sdr_ext *profile, char **text)
{
    if (profile == nullptr) {
        REPORT("Error! profile is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT);
        return INST_RC_INVALID_ARG;
    }
    Owned<void> bytes;
    uint32_t length = 0;
    uint64_t rc = encode_profile(profile, bytes, length, text);
    if (rc != 0) {
        return rc;
    }
    Owned<char> path;
    rc = inst_get_sdr_swprofile_file(sdr_key, &path.ptr, is_local, part_type, vm_type, text);
    if (rc != 0) {
        REPORT("Error! inst_get_sdr_swprofile_file failed, %lx\n", rc);
        error_text_add(text, "Failed to get SDR software profile file\n");
        return rc;
    }
    rc = write_bin(path.ptr, bytes.ptr, length, text);
    if (rc != 0) {
        return rc;
    }
    rc = write_txt(path.ptr, profile, text);
    if (rc != 0) {
        return rc;
    }
    sync();
    if (verd_has_flat_copies(sdr_key, is_local, vm_type)) {
        rc = make_flat_copies(path.ptr, text);
        if (rc != 0) {
            return rc;
        }
    }
    sync();
    return 0;
}

uint64_t store_profile(inst_sw_profile_sdr_ext *profile, uint8_t is_local, int32_t part_type, char *part_short_name,
                       uint32_t vm_type, char **text)
{
    if (profile == nullptr) {
        REPORT("Error! Parameter is NULL, %s, %d\n", STORE_FUNCTION, NULL_PROFILE_LINE);
        error_text_add(text, NULL_POINTER_TEXT);
        return INST_RC_INVALID_ARG;
    }
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    const char *sdr_key = nullptr;
    if (inst_sw_profile_sdr_has_sdr_key(&sdr)) {
        sdr_key = sdr.sdr_key;
        if (part_short_name != nullptr) {
            inst_sw_profile_info_set_lv_name(&sdr.sw_profile, part_short_name);
        }
    }
    REPORT("Storing %s %s SW Profile for %s (key=%s), part_short_name=%s\n", verd_scope_name(is_local),
           verd_state_name(part_type), verd_vm_type_name(vm_type), text_or_null(sdr_key),
           text_or_null(part_short_name));
    const uint64_t rc = inst_write_sdr_swprofile_to_file2(sdr_key, is_local, part_type, vm_type, profile, text);
    if (rc != 0) {
        REPORT("%s: Error! Failed to write SW profile to file: %lx\n", STORE_FUNCTION, rc);
        error_text_add(text, "Failed to write software profile to file\n");
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t inst_write_sdr_swprofile_to_file2(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                                           inst_sw_profile_sdr_ext *profile, char **error_message_out)
{
    DEBUG_LINE(4, "Entering function %s \n", __func__);
    char *text = nullptr;
    const uint64_t rc = write_profile(sdr_key, is_local, part_type, vm_type, profile, &text);
    error_text_hand_over(&text, error_message_out);
    DEBUG_LINE(4, "Leaving  function %s, rc = %lx\n", __func__, rc);
    return rc;
}

uint64_t inst_ldpath_store_sdr_swprofile(inst_sw_profile_sdr_ext *profile, uint8_t is_local, int32_t part_type,
                                         char *part_short_name, uint32_t vm_type, char **error_message_out)
{
    char *text = nullptr;
    const uint64_t rc = store_profile(profile, is_local, part_type, part_short_name, vm_type, &text);
    error_text_hand_over(&text, error_message_out);
    DEBUG_LINE(4, "Leaving  function %s, rc = %lx\n", __func__, rc);
    return rc;
}
}

TRACE_SITES_END(store);
