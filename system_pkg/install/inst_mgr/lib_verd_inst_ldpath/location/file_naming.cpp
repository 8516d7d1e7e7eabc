#include "frame/cut_text.h"
#include "frame/debug_line.h"
#include "frame/error_text.h"
#include "frame/marker_files.h"
#include "frame/owned.h"
#include "location/path_text.h"
#include "location/repository.h"

#include <cstring>

TRACE_SITES_BEGIN(file_naming)

namespace
{

// The beginnings of profile file names. The global profiles of QX and LC QX are the same file.
struct ProfileFiles {
    uint32_t vm_type;
    const char *local; // null if the VM type has no profiles
    const char *global;
};

constexpr ProfileFiles PROFILE_FILES[] = {
    {VERD_VM_ADMIN, "kelo-swprofile", "kelo-master-swprofile"},
    {VERD_VM_QX, "qx-swprofile", "qx-swprofile"},
    {VERD_VM_LC_QX, "qx-lcp-swprofile", "qx-swprofile"},
    {VERD_VM_UVF, "uvf-swprofile", "uvf-swprofile"},
};

constexpr ProfileFiles files_of_vm_type(uint32_t vm_type)
{
    for (const ProfileFiles &files : PROFILE_FILES) {
        if (files.vm_type == vm_type) {
            return files;
        }
    }
    return {vm_type, nullptr, nullptr};
}

constexpr char BINARY_EXTENSION[] = ".bin";
constexpr char TEXT_EXTENSION[] = ".txt";

constexpr char NULL_POINTER_TEXT[] = "Hit an unexpected NULL pointer while getting QX software profile file\n";
constexpr char NULL_POINTER_TEXT_OF_TWIN[] =
    "Hit an unexpected NULL pointer while getting QX software profile txt file\n";

// Quirk: paths of Admin profiles contain "//"; other tools compare these texts.
void compose_path(char (&path)[repository::PATH_SIZE], uint32_t vm_type, const char *sdr_key, uint8_t is_local,
                  int32_t part_type)
{
    const bool has_sdr = verd_vm_type_has_sdr(vm_type);
    const ProfileFiles files = files_of_vm_type(vm_type);
    const char *const directory =
        has_sdr ? (is_local != 0 ? repository::LOCAL_SDR_DIRECTORY : repository::GLOBAL_SDR_DIRECTORY)
                : (is_local != 0 ? repository::LOCAL_DIRECTORY : repository::GLOBAL_DIRECTORY);
    format_cut(path, sizeof path, "%s%s/%s-%s%s", directory, has_sdr ? sdr_key : "",
               is_local != 0 ? files.local : files.global, verd_state_name(part_type), BINARY_EXTENSION);
}

uint64_t name_file(const char *sdr_key, char **swprofile_file_p, uint8_t is_local, int32_t part_type, uint32_t vm_type,
                   char **text)
{
    if (is_local == 0 && verd_vm_type_has_sdr(vm_type) && sdr_key == nullptr) {
        REPORT("Error! sdr_key for QX based VM is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT);
        return INST_RC_INVALID_ARG;
    }
    if (swprofile_file_p == nullptr) {
        REPORT("Error! swprofile_file_p is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT);
        return INST_RC_INVALID_ARG;
    }
    if (take_test_file(INVALID_PARTITION_TYPE_TEST_FILE)) {
        error_text_add(text, "Error as partition type is invalid\n");
        return INSTMGR_RC_INVALID_DATA;
    }
    if (!is_part_type_valid(part_type)) {
        REPORT("Error! part_type=%d is invalid\n", part_type);
        error_text_add(text, "Error as partition type is invalid\n");
        return INSTMGR_RC_INVALID_DATA;
    }
    if (files_of_vm_type(vm_type).local == nullptr) {
        REPORT("No software profile exists for VM %d (%s)\n", vm_type, verd_scope_name(is_local));
        return INST_RC_NO_SWPROFILE;
    }
    char path[repository::PATH_SIZE];
    compose_path(path, vm_type, sdr_key, is_local, part_type);
    const uint64_t rc = copy_path(path, swprofile_file_p);
    if (rc != 0) {
        REPORT("Unable to allocate memory for swprofile path\n");
        error_text_add(text, "Error as failed to allocate memory\n");
        return rc;
    }
    REPORT("Software profile path for VM %d (%s), sdr %s is %s\n", vm_type, verd_scope_name(is_local), sdr_key, path);
    return 0;
}

// Returns by how many characters the path of the text twin is longer than this path; 0 if it is not longer.
std::size_t extra_length_of_twin(const char *path)
{
    constexpr std::size_t required = sizeof TEXT_EXTENSION - 1;
    const char *const extension = std::strrchr(path, '.');
    const std::size_t length = extension == nullptr ? required : std::strlen(extension);
    return length < required ? required - length : 0;
}

uint64_t name_txt_file(const char *swprofile_file, char **swprofile_txt_file_p, char **text)
{
    if (swprofile_file == nullptr) {
        REPORT("Error! swprofile_file is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT_OF_TWIN);
        return INST_RC_INVALID_ARG;
    }
    if (swprofile_txt_file_p == nullptr) {
        REPORT("Error! swprofile_txt_file_p is NULL\n");
        error_text_add(text, NULL_POINTER_TEXT_OF_TWIN);
        return INST_RC_INVALID_ARG;
    }
    Owned<char> copy;
    const uint64_t rc = copy_path(swprofile_file, &copy.ptr, extra_length_of_twin(swprofile_file));
    if (rc != 0) {
        REPORT("Error! Can't allocate swprofile txt file\n");
        error_text_add(text, "Failed to allocate memory\n");
        return rc;
    }
    char *const extension = std::strrchr(copy.ptr, '.');
    if (extension == nullptr) {
        error_text_add(text, "Invalid software profile txt filename\n");
        return INSTMGR_RC_INVALID_DATA;
    }
    std::memcpy(extension, TEXT_EXTENSION, sizeof TEXT_EXTENSION);
    *swprofile_txt_file_p = copy.release();
    DEBUG_LINE_OF("inst_get_sdr_swprofile_txt_file", 4, "SwProfile txt file: %s\n", *swprofile_txt_file_p);
    return 0;
}

} // namespace

extern "C" {

uint64_t inst_get_sdr_swprofile_file(const char *sdr_key, char **swprofile_file_p, uint8_t is_local, int32_t part_type,
                                     uint32_t vm_type, char **err_msg_p)
{
    char *text = nullptr;
    const uint64_t rc = name_file(sdr_key, swprofile_file_p, is_local, part_type, vm_type, &text);
    error_text_hand_over(&text, err_msg_p);
    return rc;
}

uint64_t inst_get_sdr_swprofile_txt_file(const char *swprofile_file, char **swprofile_txt_file_p, char **err_msg_p)
{
    char *text = nullptr;
    const uint64_t rc = name_txt_file(swprofile_file, swprofile_txt_file_p, &text);
    error_text_hand_over(&text, err_msg_p);
    return rc;
}
}

TRACE_SITES_END(file_naming);
