// Bundles: tar archives of RPM files, which the system's tar lists and unpacks, and single RPM files. Names go to the
// programs as arguments of their own, never through a shell.
#include "instcomm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

// Runs a program; its standard output goes to `output` where that isn't negative.
bool run(const char *const *arguments, int output)
{
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) {
        return false;
    }
    pid_t child = -1;
    int status = -1;
    const bool started =
        (output < 0 || posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO) == 0) &&
        posix_spawnp(&child, arguments[0], &actions, nullptr, const_cast<char *const *>(arguments), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return started && waitpid(child, &status, 0) == child && status == 0;
}

bool is_rpm(std::string_view name)
{
    return name.ends_with(".rpm");
}

// Would unpacking a member of this name write elsewhere than below the work directory? Names come as tar quotes them,
// and those that need quoting are refused as well.
bool is_suspect(std::string_view name)
{
    const bool climbs =
        name == ".." || name.starts_with("../") || name.ends_with("/..") || name.find("/../") != name.npos;
    return name.empty() || name.front() == '/' || climbs || name.find('\\') != name.npos;
}

// An archive that isn't compressed ends in two blocks of zeros. tar itself doesn't miss them, nor the members that a
// cut archive has lost.
bool is_cut(const char *path, off_t size)
{
    constexpr off_t BLOCK = 512;
    constexpr off_t MAGIC_OFFSET = 257;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    char magic[5] = {};
    char end[2 * BLOCK] = {};
    constexpr char NOTHING[sizeof end] = {};
    const bool is_tar =
        pread(fd, magic, sizeof magic, MAGIC_OFFSET) == sizeof magic && std::memcmp(magic, "ustar", sizeof magic) == 0;
    const bool is_whole = size % BLOCK == 0 && pread(fd, end, sizeof end, size - 2 * BLOCK) == sizeof end &&
                          std::memcmp(end, NOTHING, sizeof end) == 0;
    close(fd);
    return is_tar && !is_whole;
}

struct Bundle {
    const char *path;
    const char *work_dir;
    uint32_t limit;
    char **files = nullptr;
    uint32_t count = 0;

    uint64_t refuse(const char *why) const
    {
        instcomm_log("bundle %s: %s\n", path, why);
        return INSTCOMM_RC_INVALID_DATA;
    }

    uint64_t add_file(const char *name)
    {
        if (count == limit) {
            return refuse("holds more RPMs than can be taken");
        }
        auto *const longer = static_cast<char **>(std::realloc(files, (count + 1) * sizeof(char *)));
        if (longer == nullptr) {
            return INSTCOMM_RC_NO_MEMORY;
        }
        files = longer;
        if (asprintf(&files[count], "%s/%s", work_dir, name) < 0) {
            return INSTCOMM_RC_NO_MEMORY;
        }
        ++count;
        return 0;
    }

    uint64_t add_member(std::string_view name, const char *text)
    {
        if (is_suspect(name)) {
            return refuse("has a member that can't be unpacked safely");
        }
        return is_rpm(name) ? add_file(text) : 0;
    }

    // Reads tar's list, a line a member.
    uint64_t read_members(FILE *list)
    {
        char *line = nullptr;
        std::size_t size = 0;
        uint64_t rc = 0;
        for (ssize_t length; rc == 0 && (length = getline(&line, &size, list)) > 0;) {
            line[length - 1] = '\0'; // the newline
            rc = add_member(line, line);
        }
        std::free(line);
        return rc == 0 && std::feof(list) == 0 ? INSTCOMM_RC_NO_MEMORY : rc;
    }

    uint64_t list_members()
    {
        FILE *const list = std::tmpfile();
        if (list == nullptr) {
            return INSTCOMM_RC_FAILED;
        }
        const char *const tar[] = {"tar", "--list", "--file", path, "--force-local", nullptr};
        uint64_t rc = run(tar, fileno(list)) ? 0 : refuse("isn't a whole tar archive");
        if (rc == 0) {
            std::rewind(list);
            rc = read_members(list);
        }
        std::fclose(list);
        return rc;
    }

    uint64_t unpack_tar()
    {
        const uint64_t rc = list_members();
        if (rc != 0 || count == 0) {
            return rc;
        }
        const char *const tar[] = {"tar",    "--extract",       "--file",        path,   "--directory",
                                   work_dir, "--no-same-owner", "--force-local", nullptr};
        return run(tar, -1) ? 0 : INSTCOMM_RC_FAILED;
    }

    uint64_t copy_rpm()
    {
        const char *const name = instcomm_extract_file_name_from_path(path);
        const uint64_t rc = add_file(name == nullptr ? path : name);
        if (rc != 0) {
            return rc;
        }
        const char *const copy[] = {"cp", "--", path, files[0], nullptr};
        return run(copy, -1) ? 0 : INSTCOMM_RC_FAILED;
    }

    uint64_t check_files() const
    {
        if (count == 0) {
            return refuse("holds no RPM");
        }
        for (uint32_t i = 0; i < count; ++i) {
            struct stat status;
            if (lstat(files[i], &status) != 0 || !S_ISREG(status.st_mode)) {
                return refuse("holds an RPM that is no file");
            }
        }
        return 0;
    }
};

} // namespace

extern "C" uint64_t instcomm_get_rpm_package_list_from_bundle(const char *bundle_path, const char *work_dir,
                                                              uint32_t *count, char ***files, uint32_t limit,
                                                              uint64_t *pkg_value, char **)
{
    if (bundle_path == nullptr || work_dir == nullptr || count == nullptr || files == nullptr || pkg_value == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    Bundle bundle = {bundle_path, work_dir, limit};
    struct stat status;
    uint64_t rc = 0;
    if (stat(bundle_path, &status) != 0) {
        rc = INSTCOMM_RC_FAILED;
    } else if (!S_ISREG(status.st_mode) || status.st_size == 0) {
        rc = bundle.refuse("is no file with content");
    } else if (is_rpm(bundle_path)) {
        rc = bundle.copy_rpm();
    } else {
        rc = is_cut(bundle_path, status.st_size) ? bundle.refuse("has been cut") : bundle.unpack_tar();
    }
    if (rc == 0) {
        rc = bundle.check_files();
    }
    if (rc != 0) {
        inst_free_string_list(bundle.count, bundle.files);
        return rc;
    }
    *files = bundle.files;
    *count = bundle.count;
    *pkg_value = static_cast<uint64_t>(status.st_size);
    return 0;
}
