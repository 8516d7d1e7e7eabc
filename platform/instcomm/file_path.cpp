#include "instcomm.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>

namespace
{

bool make_directory(const char *path)
{
    if (mkdir(path, 0755) == 0) {
        return true;
    }
    struct stat found;
    if (errno != EEXIST || stat(path, &found) != 0) {
        return false;
    }
    errno = ENOTDIR; // callers examine errno only if this returns false
    return S_ISDIR(found.st_mode);
}

} // namespace

extern "C" {

int instcomm_create_filepath_dirs(const char *path)
{
    char *const copy = path == nullptr ? nullptr : strdup(path);
    if (copy == nullptr) {
        errno = path == nullptr ? EINVAL : ENOMEM;
        return -1;
    }
    bool made = true;
    for (char *slash = std::strchr(copy, '/'); slash != nullptr && made; slash = std::strchr(slash + 1, '/')) {
        if (slash != copy) {
            *slash = '\0';
            made = make_directory(copy);
            *slash = '/';
        }
    }
    const int err = errno;
    std::free(copy);
    errno = err;
    return made ? 0 : -1;
}
}
