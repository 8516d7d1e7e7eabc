#include "log.h"

#include "instcomm.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr char LOG_DIRECTORY[] = "/install_repo/log";
constexpr char LOG_FILE[] = "/install_repo/log/install.log";

constexpr char ROTATED_LOG_FILE[] = "/install_repo/log/install.log.1";
constexpr off_t ROTATION_SIZE = 16 << 20;

int open_log()
{
    constexpr int FLAGS = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    int fd = open(LOG_FILE, FLAGS, 0644);
    if (fd < 0 && errno == ENOENT && (mkdir(LOG_DIRECTORY, 0755) == 0 || errno == EEXIST)) {
        fd = open(LOG_FILE, FLAGS, 0644);
    }
    return fd;
}

bool needs_rotation(const struct stat &file)
{
    return S_ISREG(file.st_mode) && file.st_size >= ROTATION_SIZE;
}

// Renames a log that has grown large. The lock makes sure that of several processes only one does, since the others
// find another file under the name.
void rotate(int fd)
{
    struct stat file;
    struct stat named;
    if (flock(fd, LOCK_EX) == 0 && fstat(fd, &file) == 0 && needs_rotation(file) && lstat(LOG_FILE, &named) == 0 &&
        named.st_dev == file.st_dev && named.st_ino == file.st_ino) {
        static_cast<void>(std::rename(LOG_FILE, ROTATED_LOG_FILE));
    }
}

int open_current_log()
{
    const int fd = open_log();
    struct stat file;
    if (fd < 0 || fstat(fd, &file) != 0 || !needs_rotation(file)) {
        return fd;
    }
    rotate(fd);
    close(fd);
    return open_log();
}

// The descriptor stays open after instcomm_util_init(), so that a message needs no open and no close. The process may
// close it and reuse the number, so each message compares device and inode first. If another thread replaces the
// descriptor meanwhile, the comparison fails, and the message opens the log for itself.
struct {
    std::atomic<int> fd{-1};
    std::atomic<dev_t> device;
    std::atomic<ino_t> inode;
} kept;

void keep(int fd)
{
    struct stat file;
    if (fd >= 0 && fstat(fd, &file) == 0) {
        kept.device = file.st_dev;
        kept.inode = file.st_ino;
        kept.fd = fd;
    }
}

// The kept descriptor, open for the current log, or -1.
int kept_log()
{
    const int fd = kept.fd;
    struct stat file;
    if (fd < 0 || fstat(fd, &file) != 0 || file.st_dev != kept.device || file.st_ino != kept.inode) {
        return -1;
    }
    if (file.st_nlink != 0 && !needs_rotation(file)) {
        return fd;
    }
    const int current = open_current_log(); // the log was removed or has to be rotated
    const int replaced = dup3(current, fd, O_CLOEXEC);
    close(current);
    keep(replaced);
    return replaced;
}

// Writes a prefix such as "2026-11-24 19:01:32.123 [4711] " and returns its length.
std::size_t format_prefix(char *head, std::size_t size)
{
    timespec now = {};
    tm local = {};
    clock_gettime(CLOCK_REALTIME, &now);
    localtime_r(&now.tv_sec, &local);
    std::size_t used = std::strftime(head, size, "%Y-%m-%d %H:%M:%S", &local);
    used += static_cast<std::size_t>(
        std::snprintf(head + used, size - used, ".%03ld [%d] ", now.tv_nsec / 1000000, getpid()));
    return used;
}

// One write, so that the lines of several processes don't mix.
__attribute__((format(printf, 1, 0))) void append_line(const char *format, va_list arguments)
{
    char small[1024];
    const std::size_t head = format_prefix(small, sizeof small);
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(small + head, sizeof small - head - 1, format, arguments);

    char *line = small;
    std::size_t size = head + static_cast<std::size_t>(length < 0 ? 0 : length);
    if (size > sizeof small - 2) {
        line = static_cast<char *>(std::malloc(size + 2));
        if (line != nullptr) {
            std::memcpy(line, small, head);
            std::vsnprintf(line + head, size + 1 - head, format, again);
        } else {
            line = small; // out of memory: truncated
            size = sizeof small - 2;
        }
    }
    va_end(again);
    if (line[size - 1] != '\n') {
        line[size++] = '\n';
    }
    const int kept_fd = kept_log();
    const int fd = kept_fd >= 0 ? kept_fd : open_current_log();
    static_cast<void>(!write(fd, line, size));
    if (fd != kept_fd) {
        close(fd);
    }
    if (line != small) {
        std::free(line);
    }
}

} // namespace

void instcomm::keep_log_open()
{
    if (kept_log() >= 0) {
        return;
    }
    const int fd = open_current_log();
    keep(fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1)); // a process may have closed its standard streams
    close(fd);
}

extern "C" void instcomm_log(const char *format, ...)
{
    const int err = errno;
    va_list arguments;
    va_start(arguments, format);
    append_line(format, arguments);
    va_end(arguments);
    errno = err;
}
