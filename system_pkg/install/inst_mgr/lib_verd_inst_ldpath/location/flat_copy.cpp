#include "location/flat_copy.h"

#include "frame/cut_text.h"
#include "verd_inst_ldpath.h"

#include <cstring>

bool has_flat_copies(const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    return (vm_type == VERD_VM_QX || vm_type == VERD_VM_LC_QX) && sdr_key != nullptr &&
           std::strcmp(sdr_key, repository::DEFAULT_SDR) == 0 && is_local != 0;
}

void name_flat_copy(const char *path, char (&copy)[repository::PATH_SIZE])
{
    const char *const slash = std::strrchr(path, '/');
    format_cut(copy, sizeof copy, "%s%s", repository::LOCAL_DIRECTORY, slash == nullptr ? path : slash + 1);
}
