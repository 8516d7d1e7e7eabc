#include "location/package_source.h"

#include "frame/cut_text.h"
#include "location/repository.h"

#include "instcomm.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

void find_package_file(const char *name, char (&path)[PACKAGE_PATH_SIZE])
{
    format_cut(path, sizeof path, "%s%s", repository::PACKAGES_DIRECTORY, name);
    if (access(path, F_OK) == 0) {
        return;
    }
    char first[PACKAGE_PATH_SIZE] = "";
    static_cast<void>(inst_runcmd(first, sizeof first, "ls %s* | head -n1", path));
    const std::size_t length = std::strlen(first);
    if (length > 1) {
        first[length - 1] = '\0'; // the newline
        if (access(first, F_OK) == 0) {
            std::memcpy(path, first, length);
        }
    }
}

bool create_work_directory(char (&path)[PACKAGE_PATH_SIZE])
{
    static_cast<void>(inst_runcmd_outbuff(nullptr, nullptr, "/bin/rm -rf %s/* 2>&1", repository::WORK_AREA));
    format_cut(path, sizeof path, "%ssmu.XXXXXX", repository::WORK_AREA);
    return mkdtemp(path) != nullptr;
}
