#include "lifecycle/state_transition.h"

#include "frame/cut_text.h"
#include "lifecycle/remove_file.h"
#include "location/existence.h"
#include "location/flat_copy.h"
#include "location/path_text.h"
#include "verd_inst_ldpath.h"

#include <cerrno>

namespace
{

constexpr std::size_t COMMAND_SIZE = 200;

uint64_t name_twin_of(StateFiles &files, const TransitionVariant &variant, char **text)
{
    const uint64_t rc = name_twin(files.bin.ptr, &files.twin.ptr, text);
    if (rc != 0) {
        variant.no_twin_name(files, rc, text);
    }
    return rc;
}

uint64_t transfer_flat_copy(const char *from_file, const char *to_file, const TransitionVariant &variant, char **text)
{
    char from[repository::PATH_SIZE];
    char to[repository::PATH_SIZE];
    name_flat_copy(from_file, from);
    name_flat_copy(to_file, to);
    remove_if_exists(to);
    if (access(from, F_OK) != 0) {
        return 0;
    }
    const uint64_t rc = inst_runcmd(nullptr, 0, "%s %s %s 2>&1", variant.verb, from, to);
    if (rc != 0) {
        variant.flat_copy_failed(from, to, errno, text);
        return rc;
    }
    variant.flat_copy_done(from, to);
    return 0;
}

uint64_t transfer_twin(const Transition &transition, const TransitionVariant &variant, char **text)
{
    const char *const from = transition.from.twin.ptr;
    const char *const to = transition.to.twin.ptr;
    remove_if_exists(to);
    return access(from, F_OK) == 0 ? transfer_in_shell(from, to, variant, text) : 0;
}

uint64_t transfer_flat_copies(const Transition &transition, const TransitionVariant &variant, char **text)
{
    if (!verd_has_flat_copies(transition.sdr_key, transition.is_local, transition.vm_type)) {
        return 0;
    }
    uint64_t rc = transfer_flat_copy(transition.from.bin.ptr, transition.to.bin.ptr, variant, text);
    if (rc == 0) {
        rc = transfer_flat_copy(transition.from.twin.ptr, transition.to.twin.ptr, variant, text);
    }
    if (rc == 0) {
        sync();
    }
    return rc;
}

} // namespace

uint64_t locate(const Transition &transition, StateFiles &files, const TransitionVariant &variant, char **text)
{
    uint64_t rc = inst_get_sdr_swprofile_file(transition.sdr_key, &files.bin.ptr, transition.is_local, files.state,
                                              transition.vm_type, text);
    if (rc != 0) {
        variant.no_file_name(transition, files, rc, text);
        return rc;
    }
    rc = inst_ldpath_check_swprofile_file_exists(files.bin.ptr, &files.exists, text);
    if (rc != 0) {
        variant.not_checked(files, rc, text);
    }
    return rc;
}

uint64_t transfer_in_shell(const char *from, const char *to, const TransitionVariant &variant, char **text)
{
    char command[COMMAND_SIZE];
    format_cut(command, sizeof command, "%s %s %s", variant.verb, from, to);
    // Quirk: system() instead of inst_runcmd(), which hides the status; log searches match the status and the error.
    const int status = std::system(command);
    if (status != 0) {
        const int err = errno;
        variant.shell_failed(command, status, err, from, to, text);
        return INSTMGR_RC_ERRNO(err);
    }
    return 0;
}

uint64_t transfer_companions(Transition &transition, const TransitionVariant &variant, char **text)
{
    uint64_t rc = name_twin_of(transition.to, variant, text);
    if (rc == 0) {
        rc = name_twin_of(transition.from, variant, text);
    }
    if (rc == 0) {
        rc = transfer_twin(transition, variant, text);
    }
    if (rc != 0) {
        return rc;
    }
    sync();
    return transfer_flat_copies(transition, variant, text);
}
