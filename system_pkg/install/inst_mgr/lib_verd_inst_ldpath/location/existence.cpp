#include "location/existence.h"

#include "frame/debug_line.h"
#include "frame/error_text.h"
#include "frame/owned.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

TRACE_SITES_BEGIN(existence)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_check_swprofile_file_exists";
constexpr char NULL_POINTER_TEXT[] = "Hit an unexpected NULL pointer while checking if software profile exists\n";

uint8_t examine_file(const char *swprofile_file, char **text)
{
    if (access(swprofile_file, F_OK) != 0) {
        DEBUG_LINE_OF(FUNCTION, 4, "SwProfile file %s %s\n", swprofile_file, "not found");
        return 0;
    }
    struct stat status;
    if (stat(swprofile_file, &status) != 0) {
        const int err = errno;
        REPORT("ERROR, could not stat %s rc=%d (%s)\n", swprofile_file, err, std::strerror(err));
        error_text_add(text, "Failed to stat() file %s (%s)\n", swprofile_file, std::strerror(err));
        return 0;
    }
    if (status.st_size == 0) {
        REPORT("ERROR, empty SWP file %s, consider it gone\n", swprofile_file);
        return 0;
    }
    DEBUG_LINE_OF(FUNCTION, 4, "SwProfile file %s %s\n", swprofile_file, "exists");
    return 1;
}

uint64_t check_file(const char *swprofile_file, uint8_t *exists, char **text)
{
    if (swprofile_file == nullptr) {
        REPORT("Error! sdr_swprofile_file is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT);
        return INST_RC_INVALID_ARG;
    }
    if (exists == nullptr) {
        REPORT("Error! exists is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT);
        return INST_RC_INVALID_ARG;
    }
    *exists = examine_file(swprofile_file, text);
    return 0;
}

uint64_t check_profile(const char *sdr_key, uint8_t is_local, int32_t part_type, uint32_t vm_type, uint8_t *exists,
                       char **text)
{
    if (verd_vm_type_has_sdr(vm_type) && is_local == 0 && sdr_key == nullptr) {
        REPORT("Error! sdr_key is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    if (exists == nullptr) {
        REPORT("Error! exists is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    Owned<char> path;
    uint64_t rc = inst_get_sdr_swprofile_file(sdr_key, &path.ptr, is_local, part_type, vm_type, text);
    if (rc != 0) {
        REPORT("Error! inst_get_sdr_swprofile_file failed, %lx\n", rc);
        error_text_add(text, "Failed to get QX software profile file\n");
        return rc;
    }
    rc = inst_ldpath_check_swprofile_file_exists(path.ptr, exists, text);
    if (rc != 0) {
        REPORT("Error! inst_ldpath_check_swprofile_file_exists failed, %lx\n", rc);
        error_text_add(text, "Failed to check the existence of QX software profile file\n");
    }
    return rc;
}

} // namespace

uint64_t inst_ldpath_check_swprofile_file_exists(const char *swprofile_file, uint8_t *exists, char **err_msg_p)
{
    char *text = nullptr;
    const uint64_t rc = check_file(swprofile_file, exists, &text);
    error_text_hand_over(&text, err_msg_p);
    return rc;
}

extern "C" uint64_t inst_ldpath_check_swprofile_exists(const char *sdr_key, uint8_t is_local, int32_t part_type,
                                                       uint32_t vm_type, uint8_t *exists, char **err_msg_p)
{
    DEBUG_LINE(4, "Entering function %s, %s, %d \n", __func__, text_or_null(sdr_key), part_type);
    char *text = nullptr;
    const uint64_t rc = check_profile(sdr_key, is_local, part_type, vm_type, exists, &text);
    error_text_hand_over(&text, err_msg_p);
    DEBUG_LINE(4, "Leaving function %s, rc = %lx, %d\n", __func__, rc, rc == 0 ? *exists : 0);
    return rc;
}

TRACE_SITES_END(existence);
