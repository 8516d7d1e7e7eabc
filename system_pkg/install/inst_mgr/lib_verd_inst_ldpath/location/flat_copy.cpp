#include "location/flat_copy.h"

#include "frame/cut_text.h"

#include <cstring>

void name_flat_copy(const char *path, char (&copy)[repository::PATH_SIZE])
{
    const char *const slash = std::strrchr(path, '/');
    format_cut(copy, sizeof copy, "%s%s", repository::LOCAL_DIRECTORY, slash == nullptr ? path : slash + 1);
}
