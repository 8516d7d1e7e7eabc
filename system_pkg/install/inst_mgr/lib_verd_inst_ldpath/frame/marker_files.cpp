#include "frame/marker_files.h"

#include <unistd.h>

bool marker_exists(const char *path)
{
    return access(path, F_OK) == 0;
}

bool take_test_file(const char *path)
{
    const bool fires = marker_exists(path);
    if (fires) {
        static_cast<void>(unlink(path));
    }
    return fires;
}
