// One ring file per trace: a header, then records of a fixed size; a new record overwrites the oldest. All processes
// append to the same file, at the position that a counter in the header gives. Nothing is locked, so that a suspended
// process cannot block the others. Two processes that append at the same instant may use the same position; then one
// record is lost.
#include "vestra.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace
{

constexpr char LOG_DIRECTORY[] = "/install_repo/log";
constexpr uint32_t HEADER_SIZE = 4096;
constexpr char MAGIC[8] = {'V', 'E', 'S', 'T', 'R', 'A', '1', '\n'};

struct RingHeader {
    char magic[8];
    uint64_t appended; // number of records so far
    uint32_t capacity; // in records
    uint32_t record_size;
    char path[256]; // of the traced sources
    char build_id[64];
};

// The arguments follow, in the order of arg_types: numbers as they are, texts with their NUL.
struct RecordHead {
    uint64_t seconds;
    uint32_t nanoseconds;
    uint32_t pid;
    uint32_t tid;
    uint32_t site;
    uint32_t size; // of the arguments
    char arg_types[20];
};

struct Trace {
    char name[64];
    RingHeader header;
    int fd; // negative: nothing is written
    dev_t device;
    ino_t inode; // identifies the ring file: the process may have closed fd and opened another file under its number
};

constexpr uint32_t MAX_TRACES = 8;
constexpr uint32_t MIN_RECORD = 64;
constexpr uint32_t MAX_RECORD = 1024;
static_assert(sizeof(RecordHead) < MIN_RECORD);
Trace traces[MAX_TRACES];
uint32_t trace_count;

bool copy_if_fits(char *copy, std::size_t size, const char *text)
{
    const int length = std::snprintf(copy, size, "%s", text);
    return length >= 0 && static_cast<std::size_t>(length) < size;
}

bool write_header(int fd, const RingHeader &header)
{
    return pwrite(fd, &header, sizeof header, 0) == static_cast<ssize_t>(sizeof header);
}

// Returns whether the file starts with this header. The counter is ignored.
bool has_ring(int fd, const RingHeader &expected)
{
    RingHeader actual;
    if (pread(fd, &actual, sizeof actual, 0) != static_cast<ssize_t>(sizeof actual)) {
        return false;
    }
    actual.appended = expected.appended;
    return std::memcmp(&actual, &expected, sizeof actual) == 0;
}

void open_ring(Trace &trace)
{
    char path[sizeof LOG_DIRECTORY + sizeof trace.name + sizeof "/.vestra"];
    std::snprintf(path, sizeof path, "%s/%s.vestra", LOG_DIRECTORY, trace.name);
    static_cast<void>(mkdir(LOG_DIRECTORY, 0755));
    const int fd = open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (fd < 0) {
        return;
    }
    trace.fd = fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1); // a process may have closed its standard streams
    close(fd);
    struct stat file;
    const bool is_usable = trace.fd >= 0 && fstat(trace.fd, &file) == 0 && S_ISREG(file.st_mode) &&
                           (has_ring(trace.fd, trace.header) || // a ring with another header is replaced
                            (ftruncate(trace.fd, 0) == 0 && write_header(trace.fd, trace.header)));
    if (is_usable) {
        trace.device = file.st_dev;
        trace.inode = file.st_ino;
    } else if (trace.fd >= 0) {
        close(std::exchange(trace.fd, -1));
    }
}

// Reserves the next record and returns its offset; -1 if the descriptor now belongs to another file, or if the header
// or the counter cannot be written. If the counter cannot be read (a truncated ring), first writes a new header.
off_t reserve_record(const Trace &trace)
{
    struct stat file;
    if (fstat(trace.fd, &file) != 0 || file.st_dev != trace.device || file.st_ino != trace.inode) {
        return -1;
    }
    constexpr off_t COUNTER_OFFSET = offsetof(RingHeader, appended);
    uint64_t number = 0;
    if (pread(trace.fd, &number, sizeof number, COUNTER_OFFSET) != sizeof number &&
        !write_header(trace.fd, trace.header)) {
        return -1;
    }
    const uint64_t appended = number + 1;
    if (pwrite(trace.fd, &appended, sizeof appended, COUNTER_OFFSET) != sizeof appended) {
        return -1;
    }
    return static_cast<off_t>(HEADER_SIZE + number % trace.header.capacity * trace.header.record_size);
}

uint32_t put_arguments(char *at, std::size_t room, const char *arg_types, va_list arguments)
{
    std::size_t used = 0;
    const auto put = [&](const void *bytes, std::size_t size) {
        size = size < room - used ? size : room - used;
        std::memcpy(at + used, bytes, size);
        used += size;
    };
    for (const char *type = arg_types; *type != '\0'; ++type) {
        if (*type == 's') {
            const char *const given = va_arg(arguments, const char *);
            const char *const text = given == nullptr ? "(null)" : given;
            put(text, std::strlen(text) + 1);
        } else if (*type == 'D') {
            const auto number = va_arg(arguments, uint64_t);
            put(&number, sizeof number);
        } else {
            const auto number = va_arg(arguments, uint32_t);
            put(&number, sizeof number);
        }
    }
    return static_cast<uint32_t>(used);
}

} // namespace

extern "C" {

int vestra_open_internal(uint64_t *handle, const char *name, uint32_t records, uint32_t record_size, const char *path,
                         const char *build_id, uint64_t)
{
    if (handle == nullptr || name == nullptr || path == nullptr || build_id == nullptr || records == 0 ||
        record_size < MIN_RECORD || record_size > MAX_RECORD || std::strchr(name, '/') != nullptr) {
        return EINVAL;
    }
    for (uint32_t i = 0; i < trace_count; ++i) {
        if (std::strcmp(traces[i].name, name) == 0) {
            *handle = i + 1;
            return 0;
        }
    }
    if (trace_count == MAX_TRACES) {
        return ENOSPC;
    }
    Trace trace = {};
    trace.fd = -1;
    trace.header.capacity = records;
    trace.header.record_size = record_size;
    std::memcpy(trace.header.magic, MAGIC, sizeof MAGIC);
    if (!copy_if_fits(trace.name, sizeof trace.name, name) ||
        !copy_if_fits(trace.header.path, sizeof trace.header.path, path) ||
        !copy_if_fits(trace.header.build_id, sizeof trace.header.build_id, build_id)) {
        return EINVAL;
    }
    open_ring(trace);
    traces[trace_count++] = trace;
    *handle = trace_count;
    return 0;
}

void vestra_internal(uint64_t handle, uint32_t site, uint32_t, uint32_t, const char *arg_types, const char *format, ...)
{
    if (handle == 0 || handle > trace_count || arg_types == nullptr) {
        return;
    }
    const Trace &trace = traces[handle - 1];
    const off_t offset = trace.fd < 0 ? -1 : reserve_record(trace);
    if (offset < 0) {
        return;
    }
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    RecordHead head = {};
    head.seconds = static_cast<uint64_t>(now.tv_sec);
    head.nanoseconds = static_cast<uint32_t>(now.tv_nsec);
    head.pid = static_cast<uint32_t>(getpid());
    head.tid = static_cast<uint32_t>(gettid());
    head.site = site;
    static_cast<void>(copy_if_fits(head.arg_types, sizeof head.arg_types, arg_types));

    char record[MAX_RECORD] = {};
    const std::size_t size = trace.header.record_size;
    va_list arguments;
    va_start(arguments, format);
    head.size = put_arguments(record + sizeof head, size - sizeof head, arg_types, arguments);
    va_end(arguments);
    std::memcpy(record, &head, sizeof head);
    static_cast<void>(!pwrite(trace.fd, record, size, offset)); // a record that cannot be written is dropped
}
}
