#include "location/path_text.h"

#include "verd_inst_ldpath.h"

#include <cstdlib>
#include <cstring>

uint64_t copy_path(const char *path, char **copy_p, std::size_t spare)
{
    const std::size_t length = std::strlen(path);
    *copy_p = static_cast<char *>(std::malloc(length + 1 + spare));
    if (*copy_p == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    **copy_p = '\0'; // get_fixed() in query/fetch.cpp, and perhaps callers, read the text even if strncpy_s() fails
    return strncpy_s(*copy_p, length + 1, path, length) == 0 ? 0 : INST_RC_INVALID_ARG;
}

uint64_t name_twin(const char *bin_path, char **twin_p, char **text)
{
    const uint64_t rc = inst_get_sdr_swprofile_txt_file(bin_path, twin_p, text);
    return rc == 0 && *twin_p == nullptr ? INST_RC_FAILED : rc;
}
