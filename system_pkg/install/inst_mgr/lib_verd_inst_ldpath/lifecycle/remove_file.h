// Removes files that may be missing.
#pragma once

#include <unistd.h>

// Ignores a failure.
inline void remove_if_exists(const char *path)
{
    if (access(path, F_OK) == 0) {
        static_cast<void>(unlink(path));
    }
}
