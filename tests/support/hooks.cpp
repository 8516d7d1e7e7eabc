#include "support/hooks.h"

#include "instcomm.h"
#include "verd_inst_ldpath.h"
#include "vestra.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#ifdef SWP_SANITIZED
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif
extern "C" {
void *REAL(malloc)(size_t);
void *REAL(calloc)(size_t, size_t);
void *REAL(realloc)(void *, size_t);
}

namespace hooks
{
namespace
{

thread_local bool is_inside; // whether the thread is in a hook; then its calls are not counted

struct Inside {
    bool was = std::exchange(is_inside, true);
    ~Inside() { is_inside = was; }
};

// Counts a call, records it as an event if `what` is given, and returns whether it must fail.
bool fires(Function function, const char *what = nullptr, const char *argument = "")
{
    if (is_inside) {
        return false;
    }
    if (what != nullptr) {
        const Inside inside;
        events.push_back(std::string("> ") + what + argument);
    }
    Order &order = orders[function];
    ++order.calls;
    if (order.calls < order.first || order.calls > order.last) {
        return false;
    }
    order.fired = true;
    errno = order.err;
    return true;
}

template <class F> F *next(const char *name)
{
    const Inside inside;
    return reinterpret_cast<F *>(dlsym(RTLD_NEXT, name));
}

} // namespace

void reset()
{
    const Inside inside;
    for (Order &order : orders) {
        order = {};
    }
    messages.clear();
    events.clear();
    allocated = 0;
    corrupts_reads = false;
    before_read = nullptr;
}

void disarm()
{
    for (Order &order : orders) {
        order.last = 0;
    }
    corrupts_reads = false;
}

std::vector<std::string> lines()
{
    std::vector<std::string> texts;
    for (const Message &message : messages) {
        texts.push_back(message.text.substr(0, message.text.find_last_not_of('\n') + 1));
    }
    return texts;
}

} // namespace hooks

using namespace hooks;

#define HOOK(function, result, name, parameters, arguments, failure, ...)                                              \
    RECORDED_HOOK(function, result, name, parameters, arguments, nullptr, "", failure, __VA_ARGS__)

// A hook that records the call as an event.
#define RECORDED_HOOK(function, result, name, parameters, arguments, what, argument, failure, ...)                     \
    extern "C" result name parameters __VA_ARGS__                                                                      \
    {                                                                                                                  \
        static auto *const original = next<result parameters>(#name);                                                  \
        return fires(function, what, argument) ? (failure) : original arguments;                                       \
    }

#define ALLOCATOR(name, parameters, arguments, bytes)                                                                  \
    extern "C" void *name parameters noexcept                                                                          \
    {                                                                                                                  \
        allocated += bytes;                                                                                            \
        return fires(ALLOCATION) ? nullptr : REAL(name) arguments;                                                     \
    }

ALLOCATOR(malloc, (size_t size), (size), size)
ALLOCATOR(calloc, (size_t count, size_t size), (count, size), count *size)
ALLOCATOR(realloc, (void *memory, size_t size), (memory, size), size)

extern "C" char *strdup(const char *text) noexcept // that of a sanitizer would not call malloc()
{
    const std::size_t size = std::strlen(text) + 1;
    void *const copy = malloc(size);
    return static_cast<char *>(copy == nullptr ? nullptr : std::memcpy(copy, text, size));
}

HOOK(FOPEN, FILE *, fopen, (const char *path, const char *mode), (path, mode), nullptr)
HOOK(FCLOSE, int, fclose, (FILE * stream), (stream), (original(stream), EOF))
HOOK(FSEEK, int, fseek, (FILE * stream, long offset, int origin), (stream, offset, origin), -1)
HOOK(FTELL, long, ftell, (FILE * stream), (stream), -1)
HOOK(ACCESS, int, access, (const char *path, int mode), (path, mode), -1, noexcept)
HOOK(STAT, int, stat, (const char *path, struct stat *status), (path, status), -1, noexcept)
HOOK(CLOCK, int, clock_gettime, (clockid_t clock, timespec *now), (clock, now), -1, noexcept)
HOOK(MKDTEMP, char *, mkdtemp, (char *path), (path), nullptr, noexcept)
HOOK(STRNCPY_S, int, strncpy_s, (char *to, size_t size, const char *from, size_t count), (to, size, from, count),
     EINVAL)
HOOK(ENCODE, uint32_t, zeld_inst_sw_profile_sdr_ext_encode_ext,
     (const inst_sw_profile_sdr_ext *record, void *buffer, uint32_t size, uint32_t a, uint32_t b, uint32_t c),
     (record, buffer, size, a, b, c), errno == 0 ? 0 : size + 1)
HOOK(COMPARE, uint64_t, instcomm_compare_swp_profiles,
     (const inst_sw_profile_sdr_ext *a, const inst_sw_profile_sdr_ext *b, uint8_t *is_equal, uint32_t option),
     (a, b, is_equal, option), 0x77)
HOOK(TRACE_OPEN, int, vestra_open_internal,
     (uint64_t * handle, const char *name, uint32_t records, uint32_t size, const char *path, const char *build,
      uint64_t context),
     (handle, name, records, size, path, build, context), 5)
HOOK(UTIL_INIT, uint64_t, instcomm_util_init, (uint64_t context, uint64_t reserved), (context, reserved), 0x77)

HOOK(LOSE_PATH, uint64_t, inst_get_sdr_swprofile_file,
     (const char *key, char **path, uint8_t is_local, int32_t state, uint32_t vm_type, char **text),
     (key, path, is_local, state, vm_type, text),
     (original(key, path, is_local, state, vm_type, text), std::free(std::exchange(*path, nullptr)), 0))
HOOK(LOSE_TWIN, uint64_t, inst_get_sdr_swprofile_txt_file, (const char *bin, char **path, char **text),
     (bin, path, text), (original(bin, path, text), std::free(std::exchange(*path, nullptr)), 0))
HOOK(LOSE_PROFILE, uint64_t, inst_ldpath_get_swprofile,
     (const char *key, uint8_t is_local, int32_t state, uint32_t vm_type, inst_sw_profile_sdr_ext **profile,
      char **text),
     (key, is_local, state, vm_type, profile, text),
     (original(key, is_local, state, vm_type, profile, text), inst_ldpath_free_swprofile_ext(profile), 0))

extern "C" uint64_t instcomm_get_sp_names_from_rpm(uint64_t source, const char *package, char ***names, uint32_t *count,
                                                   sp_detail **details)
{
    static auto *const original = next<decltype(instcomm_get_sp_names_from_rpm)>("instcomm_get_sp_names_from_rpm");
    const uint64_t rc = original(source, package, names, count, details);
    if (details == nullptr || *count == 0) {
        return rc;
    }
    const bool loses_all = fires(LOSE_DETAILS);
    for (uint32_t i = loses_all ? 0 : fires(LOSE_DETAIL) ? *count - 1 : *count; i < *count; ++i) {
        zeld_sp_detail_free_ext(&(*details)[i], std::free);
    }
    if (loses_all) {
        std::free(std::exchange(*details, nullptr));
    }
    return rc;
}

extern "C" size_t fread(void *to, size_t size, size_t count, FILE *stream)
{
    static auto *const original = next<size_t(void *, size_t, size_t, FILE *)>("fread");
    if (fires(FREAD)) {
        stream->_flags |= 0x20; // the flag that ferror() returns
        return 0;
    }
    if (before_read) {
        const Inside inside;
        std::exchange(before_read, nullptr)();
    }
    const size_t done = original(to, size, count, stream);
    if (corrupts_reads && done > 0) {
        static_cast<char *>(to)[done / 2] ^= 1;
    }
    return done;
}

extern "C" size_t fwrite(const void *from, size_t size, size_t count, FILE *stream)
{
    static auto *const original = next<size_t(const void *, size_t, size_t, FILE *)>("fwrite");
    const bool is_short = fires(FWRITE);
    const int err = errno;
    const size_t done = original(from, size, is_short ? count - 1 : count, stream);
    errno = is_short ? err : errno;
    return done;
}

RECORDED_HOOK(UNLINK, int, unlink, (const char *path), (path), "unlink ", path, -1, noexcept)
RECORDED_HOOK(RENAME, int, rename, (const char *from, const char *to), (from, to), "rename ", from, -1, noexcept)
RECORDED_HOOK(SYSTEM, int, system, (const char *command), (command), "system ", command, -1)
RECORDED_HOOK(POPEN, FILE *, popen, (const char *command, const char *mode), (command, mode), "run ", command, nullptr)

extern "C" int fsync(int)
{
    return fires(SYNC, "fsync") ? -1 : 0;
}

extern "C" int fdatasync(int)
{
    return fires(SYNC, "fdatasync") ? -1 : 0;
}

extern "C" unsigned sleep(unsigned seconds)
{
    fires(SLEEP, "sleep ", std::to_string(seconds).c_str());
    return 0;
}

extern "C" void sync() noexcept
{
    fires(SYNC, "sync");
}

extern "C" int wsystem(const char *command)
{
    static auto *const original = next<int(const char *)>("wsystem");
    const bool is_failing = fires(SHELL, "shell ", command);
    const Inside inside; // the original calls system()
    return is_failing ? -1 : std::strcmp(command, "sync") == 0 ? 0 : original(command);
}

extern "C" void vestra_internal(uint64_t, uint32_t site, uint32_t size_class, uint32_t has_strings,
                                const char *arg_types, const char *format, ...)
{
    const Inside inside;
    messages.push_back({site, size_class, has_strings, arg_types, format, ""});
    errno = EPERM; // which the library must restore
}

extern "C" void instcomm_log(const char *format, ...)
{
    const Inside inside;
    char line[8192];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line, sizeof line, format, arguments);
    va_end(arguments);
    const std::string text = line;
    const bool is_message = !messages.empty() && messages.back().format == format && messages.back().text.empty();
    if (is_message) {
        messages.back().text = text;
    }
    events.push_back((is_message ? "" : "instcomm: ") + text.substr(0, text.find_last_not_of('\n') + 1));
}
