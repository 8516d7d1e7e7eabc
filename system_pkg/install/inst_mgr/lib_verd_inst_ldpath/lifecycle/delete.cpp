#include "frame/debug_line.h"
#include "frame/owned.h"
#include "lifecycle/remove_file.h"
#include "location/flat_copy.h"
#include "location/path_text.h"

TRACE_SITES_BEGIN(delete)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_delete_swprofile_file";

void remove_flat_copy(const char *path)
{
    char copy[repository::PATH_SIZE];
    name_flat_copy(path, copy);
    remove_if_exists(copy);
}

uint64_t delete_files(const char *swprofile_file)
{
    remove_if_exists(swprofile_file);
    Owned<char> twin;
    uint64_t rc = name_twin(swprofile_file, &twin.ptr, nullptr);
    if (rc != 0) {
        REPORT("Error! inst_get_sdr_swprofile_txt_file failed, %lx\n", rc);
        return rc;
    }
    remove_if_exists(twin.ptr);
    // Quirk: copies the path, although nothing changes it; log searches match the message of a failed copy.
    Owned<char> copy;
    rc = copy_path(swprofile_file, &copy.ptr);
    if (rc != 0) {
        REPORT("%s: Error, Failed to allocate memory \n", FUNCTION);
        return rc;
    }
    remove_flat_copy(copy.ptr);
    remove_flat_copy(twin.ptr);
    sync();
    return 0;
}

// A state of a profile, and the messages if it cannot be deleted.
struct StateToDelete {
    int32_t state;
    void (*no_file_name)(uint64_t rc);
    void (*not_deleted)(const char *path, uint64_t rc);
};

// Quirk: the first message lacks the "Error! " of the others; log searches expect it so.
constexpr StateToDelete STATES[] = {
    {VERD_SWP_COMMITTED, [](uint64_t rc) { REPORT("Failed to get committed SW profile file: %lx\n", rc); },
     [](const char *path, uint64_t rc) {
         REPORT("Error! Failed to delete committed SW profile file %s: %lx\n", path, rc);
     }},
    {VERD_SWP_ACTIVE, [](uint64_t rc) { REPORT("Error! Failed to get active SW profile file: %lx\n", rc); },
     [](const char *path, uint64_t rc) {
         REPORT("Error! Failed to delete active SW profile file %s: %lx\n", path, rc);
     }},
    {VERD_SWP_PREPARED, [](uint64_t rc) { REPORT("Error! Failed to get prepared SW profile file: %lx\n", rc); },
     [](const char *path, uint64_t rc) {
         REPORT("Error! Failed to delete prepared SW profile file %s: %lx\n", path, rc);
     }},
};

uint64_t delete_state(const StateToDelete &state, const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    Owned<char> path;
    uint64_t rc = inst_get_sdr_swprofile_file(sdr_key, &path.ptr, is_local, state.state, vm_type, nullptr);
    if (rc != 0) {
        state.no_file_name(rc);
        return rc;
    }
    rc = inst_ldpath_delete_swprofile_file(path.ptr);
    if (rc != 0) {
        state.not_deleted(path.ptr, rc);
    }
    return rc;
}

uint64_t delete_all_states(const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    if (verd_vm_type_has_sdr(vm_type) && sdr_key == nullptr) {
        REPORT("Error! sdr_key is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    for (const StateToDelete &state : STATES) {
        const uint64_t rc = delete_state(state, sdr_key, is_local, vm_type);
        if (rc != 0) {
            return rc;
        }
    }
    return 0;
}

} // namespace

extern "C" {

uint64_t inst_ldpath_delete_swprofile_file(const char *swprofile_file)
{
    if (swprofile_file == nullptr) {
        REPORT("Error! sdr_swprofile_file is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    return delete_files(swprofile_file);
}

uint64_t inst_ldpath_delete_swprofile(const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    DEBUG_LINE(4, "Entering function %s, %s, %d, %d \n", __func__, text_or_null(sdr_key), is_local, vm_type);
    const uint64_t rc = delete_all_states(sdr_key, is_local, vm_type);
    DEBUG_LINE(4, "Leaving function %s, rc = %lx\n", __func__, rc);
    return rc;
}
}

TRACE_SITES_END(delete);
