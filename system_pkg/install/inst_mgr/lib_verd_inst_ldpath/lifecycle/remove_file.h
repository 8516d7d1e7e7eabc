// Removing files that may not be there.
#pragma once

#include <unistd.h>

// A file that can't be removed stays.
inline void remove_if_there(const char *path)
{
    if (access(path, F_OK) == 0) {
        static_cast<void>(unlink(path));
    }
}
