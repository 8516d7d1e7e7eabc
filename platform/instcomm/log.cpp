#include "instcomm.h"

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

// Renames a log that has reached the rotation size. Only the first process that gets the lock finds its open file still
// under LOG_FILE; the others do nothing. Does not wait for the lock, which another process may hold for any time.
void rotate(int fd)
{
    struct stat file;
    struct stat named;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        return;
    }
    if (fstat(fd, &file) == 0 && S_ISREG(file.st_mode) && lstat(LOG_FILE, &named) == 0 && named.st_dev == file.st_dev &&
        named.st_ino == file.st_ino) {
        static_cast<void>(std::rename(LOG_FILE, ROTATED_LOG_FILE));
    }
    flock(fd, LOCK_UN);
}

// Opens the log for each message: a process may close descriptors that it does not know, and the number may then belong
// to another file.
int open_current_log()
{
    const int fd = open_log();
    if (lseek(fd, 0, SEEK_END) < ROTATION_SIZE) {
        return fd;
    }
    rotate(fd);
    close(fd);
    return open_log();
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

// Uses a single write, so that lines of several processes do not mix.
__attribute__((format(printf, 1, 0))) void append_line(const char *format, va_list arguments)
{
    char buffer[1024];
    const std::size_t head = format_prefix(buffer, sizeof buffer);
    va_list again;
    va_copy(again, arguments);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): instcomm_log() has started it
    const int length = std::vsnprintf(buffer + head, sizeof buffer - head - 1, format, arguments);

    char *line = buffer;
    std::size_t size = head + static_cast<std::size_t>(length < 0 ? 0 : length);
    if (size > sizeof buffer - 2) {
        line = static_cast<char *>(std::malloc(size + 2));
        if (line != nullptr) {
            std::memcpy(line, buffer, head);
            std::vsnprintf(line + head, size + 1 - head, format, again);
        } else {
            line = buffer; // out of memory: truncated
            size = sizeof buffer - 2;
        }
    }
    va_end(again);
    if (line[size - 1] != '\n') {
        line[size++] = '\n';
    }
    const int fd = open_current_log();
    if (fd >= 0) {
        static_cast<void>(!write(fd, line, size));
        close(fd);
    }
    if (line != buffer) {
        std::free(line);
    }
}

} // namespace

extern "C" void instcomm_log(const char *format, ...)
{
    const int err = errno;
    va_list arguments;
    va_start(arguments, format);
    append_line(format, arguments);
    va_end(arguments);
    errno = err;
}
