// Unpacks bundles: tar archives of RPM files, which the system's tar lists and unpacks, and single RPM files. Names are
// passed to the programs as arguments, never through a shell.
#include "text_parts.h"

#include "instcomm.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <spawn.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

enum class RunResult { Succeeded, Failed, NotRun };

// Runs a program, with its standard output redirected to `output` unless that is negative. The program gets a fixed
// environment, so that variables such as TAR_OPTIONS cannot change its behaviour.
RunResult run(const char *const *arguments, int output)
{
    char path[] = "PATH=/usr/bin:/bin"; // where tar finds the decompressors
    char locale[] = "LC_ALL=C";
    char *const environment[] = {path, locale, nullptr};
    posix_spawn_file_actions_t actions;
    if (posix_spawn_file_actions_init(&actions) != 0) {
        return RunResult::NotRun;
    }
    pid_t child = -1;
    const bool started =
        (output < 0 || posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO) == 0) &&
        posix_spawn(&child, arguments[0], &actions, nullptr, const_cast<char *const *>(arguments), environment) == 0;
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (!started) {
        return RunResult::NotRun;
    }
    pid_t ended = waitpid(child, &status, 0);
    while (ended < 0 && errno == EINTR) {
        ended = waitpid(child, &status, 0);
    }
    if (ended != child) {
        return RunResult::NotRun;
    }
    return status == 0 ? RunResult::Succeeded : RunResult::Failed;
}

bool is_rpm(std::string_view name)
{
    return name.ends_with(".rpm");
}

// Returns whether unpacking this member could write outside of the work directory. Also rejects names that tar quotes
// with backslashes, since their original form is unknown.
bool is_unsafe_name(std::string_view name)
{
    // rfind() because starts_with() requires the C++ runtime in a build without optimisation
    const bool leaves_directory =
        name == ".." || name.rfind("../", 0) == 0 || name.ends_with("/..") || name.find("/../") != name.npos;
    return name.empty() || name.front() == '/' || leaves_directory || name.find('\\') != name.npos;
}

// Returns the member's name from a line of tar's list, "block N: name".
std::string_view member_of(std::string_view line)
{
    const std::size_t colon = line.find(": ");
    return colon == line.npos ? "" : instcomm::from(line, colon + 2);
}

struct Bundle {
    const char *path;
    const char *work_dir;
    uint32_t limit;
    char **files = nullptr;
    uint32_t count = 0;

    uint64_t reject(const char *why, uint64_t rc = INSTCOMM_RC_INVALID_DATA) const
    {
        instcomm_log("bundle %s: %s\n", path, why);
        return rc;
    }

    uint64_t unpack_with(const char *const *program) const
    {
        return run(program, -1) == RunResult::Succeeded ? 0 : reject("cannot be unpacked", INSTCOMM_RC_FAILED);
    }

    uint64_t add_file(const char *name)
    {
        if (count == limit) {
            return reject("contains too many RPMs");
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

    uint64_t add_member(std::string_view name)
    {
        if (is_unsafe_name(name)) {
            return reject("has a member that cannot be unpacked safely");
        }
        return is_rpm(name) ? add_file(name.data()) : 0; // NUL-terminated: the name extends to the end of the line
    }

    // Reads tar's list, one member per line. The last line is the end-of-archive mark; it is missing in a truncated
    // archive, which tar itself accepts.
    uint64_t read_members(FILE *list)
    {
        char *line = nullptr;
        std::size_t size = 0;
        uint64_t rc = 0;
        bool is_whole = false;
        for (ssize_t length; rc == 0 && (length = getline(&line, &size, list)) > 0;) {
            line[length - 1] = '\0'; // the newline
            const std::string_view member = member_of(line);
            is_whole = member == "** Block of NULs **";
            if (!is_whole && member != "** End of File **") {
                rc = add_member(member);
            }
        }
        std::free(line);
        if (rc == 0 && std::feof(list) == 0) {
            return INSTCOMM_RC_NO_MEMORY;
        }
        return rc != 0 || is_whole ? rc : reject("is truncated");
    }

    uint64_t list_members()
    {
        const int fd = memfd_create("members", MFD_CLOEXEC);
        FILE *const list = fd < 0 ? nullptr : fdopen(fd, "r");
        if (list == nullptr) {
            if (fd >= 0) {
                close(fd);
            }
            return INSTCOMM_RC_FAILED;
        }
        const char *const tar[] = {"/bin/tar", "--list", "--block-number", "--force-local", "--file", path, nullptr};
        const RunResult listed = run(tar, fd);
        uint64_t rc = 0;
        if (listed == RunResult::NotRun) {
            rc = reject("cannot be listed", INSTCOMM_RC_FAILED);
        } else if (listed == RunResult::Failed) {
            rc = reject("is damaged or not a tar archive");
        } else {
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
        const char *const tar[] = {"/bin/tar",
                                   "--extract",
                                   "--no-same-owner",
                                   "--no-same-permissions",
                                   "--directory",
                                   work_dir,
                                   "--no-overwrite-dir",
                                   "--force-local",
                                   "--file",
                                   path,
                                   nullptr};
        return unpack_with(tar);
    }

    uint64_t copy_rpm()
    {
        const char *const name = instcomm_extract_file_name_from_path(path);
        const uint64_t rc = add_file(name == nullptr ? path : name);
        if (rc != 0) {
            return rc;
        }
        const char *const copy[] = {"/bin/cp", "--", path, files[0], nullptr};
        return unpack_with(copy);
    }

    uint64_t check_files() const
    {
        if (count == 0) {
            return reject("contains no RPM");
        }
        for (uint32_t i = 0; i < count; ++i) {
            struct stat status;
            if (lstat(files[i], &status) != 0 || !S_ISREG(status.st_mode)) {
                return reject("contains an RPM that is not a regular file");
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
        rc = bundle.reject("is missing or cannot be examined", INSTCOMM_RC_FAILED);
    } else if (!S_ISREG(status.st_mode) || status.st_size == 0) {
        rc = bundle.reject("is empty or not a regular file");
    } else if (is_rpm(bundle_path)) {
        rc = bundle.copy_rpm();
    } else {
        rc = bundle.unpack_tar();
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
