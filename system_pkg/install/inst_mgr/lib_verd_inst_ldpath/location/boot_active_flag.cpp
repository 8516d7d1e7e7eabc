#include "frame/cut_text.h"
#include "frame/debug_line.h"
#include "location/path_text.h"
#include "location/repository.h"

TRACE_SITES_BEGIN(boot_active_flag)

namespace
{

constexpr char ADMIN_FLAG[] = "kelo_boot_active";
constexpr char QX_FLAG[] = "qx_boot_active";

void compose_path(char (&path)[repository::PATH_SIZE], const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    if (vm_type == VERD_VM_ADMIN) { // always local
        format_cut(path, sizeof path, "%s%s", repository::LOCAL_DIRECTORY, ADMIN_FLAG);
    } else if (is_local != 0) {
        format_cut(path, sizeof path, "%s%s/%s", repository::LOCAL_SDR_DIRECTORY, sdr_key, QX_FLAG);
        // Quirk: without a newline; log searches match this text.
        REPORT("Stub file name for sdr %s is %s", sdr_key, path);
    } else {
        format_cut(path, sizeof path, "%s%s/%s", repository::GLOBAL_SDR_DIRECTORY, sdr_key, QX_FLAG);
    }
}

} // namespace

extern "C" uint64_t inst_get_boot_active_swp_flag(const char *sdr_key, char **swprofile_file_p, uint8_t is_local,
                                                  uint32_t vm_type)
{
    if (is_local == 0 && verd_vm_type_has_sdr(vm_type) && sdr_key == nullptr) {
        REPORT("Error! sdr_key for QX based VM is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    if (swprofile_file_p == nullptr) {
        REPORT("Error! swprofile_file_p is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    REPORT("%s :VM Type is %d\n", __func__, vm_type);
    char path[repository::PATH_SIZE];
    compose_path(path, sdr_key, is_local, vm_type);
    const uint64_t rc = copy_path(path, swprofile_file_p);
    if (rc != 0) {
        REPORT("Error! Can't allocate file name\n");
        return rc;
    }
    DEBUG_LINE(1, "%s BOOT_ACTIVE stub file: %s\n", is_local != 0 ? "Local" : "SDR", path);
    return 0;
}

TRACE_SITES_END(boot_active_flag);
