#include "frame/error_text.h"
#include "frame/report.h"
#include "lifecycle/state_transition.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(promote)

namespace
{

constexpr TransitionVariant VARIANT = {
    .verb = "mv",
    .no_file_name =
        [](const Transition &, const StateFiles &, uint64_t rc, char **text) {
            REPORT("Error! inst_get_sdr_swprofile_file failed, %lx\n", rc);
            error_text_add(text, "Failed to get QX software profile file\n");
        },
    .not_checked =
        [](const StateFiles &, uint64_t rc, char **text) {
            REPORT("Error! inst_ldpath_check_swprofile_file_exists failed, %lx\n", rc);
            error_text_add(text, "Failed to check if QX software profile file exists\n");
        },
    .no_twin_name =
        [](const StateFiles &files, uint64_t rc, char **text) {
            REPORT("Error! inst_get_sdr_swprofile_txt_file failed, %lx, %s\n", rc, files.bin.ptr);
            error_text_add(text, "Failed to get QX software profile txt file\n");
        },
    .shell_failed =
        [](const char *command, int status, int err, const char *from, const char *, char **text) {
            REPORT("Failed to %s: %d(%s)\n", command, status, std::strerror(err));
            error_text_add(text, "Failed to access() file %s (%s)\n", from, std::strerror(err));
        },
    .flat_copy_failed =
        [](const char *from, const char *to, int err, char **text) {
            REPORT("Failed to move %s to %s\n", from, to);
            error_text_add(text, "Failed to run the command 'mv %s %s' (%s)\n", from, to, std::strerror(err));
        },
    .flat_copy_done = [](const char *from, const char *to) { REPORT("Moved %s to %s\n", from, to); },
};

uint64_t rename_bin(const Transition &transition, char **text)
{
    const char *const prepared = transition.from.bin.ptr;
    const char *const active = transition.to.bin.ptr;
    // Quirk: deletes the old active .bin first, so a failed rename() leaves none; callers that find none promote again
    // (docs/contract.md).
    if (transition.to.exists != 0) {
        static_cast<void>(unlink(active));
    }
    const int status = std::rename(prepared, active);
    if (status != 0) {
        const int err = errno;
        REPORT("Failed to move files: %d(%s)\n", status, std::strerror(err));
        error_text_add(text, "Failed to rename() file %s to %s (%s)\n", prepared, active, std::strerror(err));
        return INSTMGR_RC_ERRNO(err);
    }
    return 0;
}

uint64_t promote(Transition &transition, char **text)
{
    uint64_t rc = locate(transition, transition.from, VARIANT, text);
    if (rc != 0) {
        return rc;
    }
    if (transition.from.exists == 0) {
        REPORT("Error! %s profile doesn't exists\n", transition.from.bin.ptr);
        return 0;
    }
    rc = locate(transition, transition.to, VARIANT, text);
    if (rc != 0) {
        return rc;
    }
    rc = rename_bin(transition, text);
    if (rc != 0) {
        return rc;
    }
    return transfer_companions(transition, VARIANT, text);
}

} // namespace

extern "C" uint64_t inst_ldpath_swp_move_prep_to_act(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                                     char **err_msg_p)
{
    REPORT("Entering function %s, %s, %d, %d \n", __func__, text_or_null(sdr_key), is_local, vm_type);
    Transition transition = {sdr_key, is_local, vm_type, {VERD_SWP_PREPARED}, {VERD_SWP_ACTIVE}};
    char *text = nullptr;
    const uint64_t rc = promote(transition, &text);
    error_text_hand_over(&text, err_msg_p);
    return rc;
}

TRACE_SITES_END(promote);
