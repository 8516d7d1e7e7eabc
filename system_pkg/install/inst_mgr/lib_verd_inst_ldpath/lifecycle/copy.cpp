#include "frame/debug_line.h"
#include "frame/error_text.h"
#include "lifecycle/state_transition.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(copy)

namespace
{

constexpr TransitionVariant VARIANT = {
    .verb = "cp",
    .no_file_name =
        [](const Transition &transition, const StateFiles &files, uint64_t rc, char **text) {
            REPORT("Error! inst_get_sdr_swprofile_file failed, %lx\n", rc);
            error_text_add(text, "Failed to get %s software profile filename for %s\n", verd_state_name(files.state),
                           verd_vm_type_name(transition.vm_type));
        },
    .not_checked =
        [](const StateFiles &files, uint64_t rc, char **text) {
            REPORT("Error! inst_ldpath_check_swprofile_file_exists failed, %lx\n", rc);
            error_text_add(text, "Failed to check for existence of software profile in file %s\n", files.bin.ptr);
        },
    .no_twin_name =
        [](const StateFiles &files, uint64_t rc, char **text) {
            REPORT("Error! inst_get_sdr_swprofile_txt_file failed, %lx, %s\n", rc, files.bin.ptr);
            error_text_add(text, "Failed to get the software profile text file for %s\n", files.bin.ptr);
        },
    .shell_failed =
        [](const char *command, int status, int err, const char *from, const char *to, char **text) {
            REPORT("Failed to %s: %d(%s)\n", command, status, std::strerror(err));
            error_text_add(text, "Failed to copy %s to %s\n", from, to);
        },
    .flat_copy_failed =
        [](const char *from, const char *to, int, char **text) {
            REPORT("Failed to copy %s to %s\n", from, to);
            error_text_add(text, "Failed to copy %s to %s\n", from, to);
        },
    .flat_copy_done = [](const char *from, const char *to) { REPORT("Copied %s to %s\n", from, to); },
};

uint64_t copy(Transition &transition, char **text)
{
    if (transition.from.state == transition.to.state) {
        REPORT("Error! src and dest swp files are the same.\n");
        return INSTMGR_RC_INVALID_DATA;
    }
    uint64_t rc = locate(transition, transition.from, VARIANT, text);
    if (rc != 0 || transition.from.exists == 0) {
        return rc;
    }
    rc = locate(transition, transition.to, VARIANT, text);
    if (rc != 0) {
        return rc;
    }
    // Quirk: deletes the old .bin of the destination first, so a failed copy leaves none or a truncated one; callers
    // that find none copy again (docs/contract.md).
    if (transition.to.exists != 0) {
        static_cast<void>(unlink(transition.to.bin.ptr));
    }
    rc = transfer_in_shell(transition.from.bin.ptr, transition.to.bin.ptr, VARIANT, text);
    if (rc != 0) {
        return rc;
    }
    return transfer_companions(transition, VARIANT, text);
}

} // namespace

extern "C" uint64_t inst_ldpath_swp_copy(const char *sdr_key, uint8_t is_local, uint32_t vm_type, int32_t src_state,
                                         int32_t dest_state, char **err_msg_p)
{
    DEBUG_LINE(4, "Entering function %s, %s, %d, %d, %d, %d \n", __func__, text_or_null(sdr_key), is_local, vm_type,
               src_state, dest_state);
    Transition transition = {sdr_key, is_local, vm_type, {src_state}, {dest_state}};
    char *text = nullptr;
    const uint64_t rc = copy(transition, &text);
    error_text_hand_over(&text, err_msg_p);
    return rc;
}

TRACE_SITES_END(copy);
