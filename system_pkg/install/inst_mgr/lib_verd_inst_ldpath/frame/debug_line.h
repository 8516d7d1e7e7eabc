// DEBUG_LINE(threshold, format, ...) prints a line to standard error if the verbosity of DEBUG lines is at least the
// threshold. The format must be a literal that ends in "\n".
#pragma once

#include "frame/clock_text.h"
#include "frame/report.h"

#include <unistd.h>

#include <pthread.h>

namespace debug
{

inline bool is_enabled(uint16_t threshold)
{
    return g_inst_common_debug_verbosity_level >= threshold;
}

// The format of a message with each of the three prefixes.
struct Formats {
    const char *with_time;
    const char *with_thread;
    const char *with_place;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
template <class... Args>
void write(const Formats &formats, const char *function, int line, const char * /*format, already part of `formats`*/,
           Args... args)
{
    const ClockText now = clock_text();
    const auto thread = static_cast<long>(pthread_self());
    switch (g_inst_common_debug_prefix) {
    case 0:
        std::fprintf(stderr, formats.with_time, now.time, now.milliseconds, args...);
        break;
    case 1:
        std::fprintf(stderr, formats.with_thread, now.time, now.milliseconds, getpid(), thread, args...);
        break;
    default:
        std::fprintf(stderr, formats.with_place, now.time, now.milliseconds, getpid(), thread, function, line, args...);
        break;
    }
}
#pragma GCC diagnostic pop

} // namespace debug

#define DEBUG_LINE(threshold, ...) DEBUG_LINE_OF(__func__, threshold, __VA_ARGS__)

// The same under the name of another function, for the steps of an exported operation.
#define DEBUG_LINE_OF(function, threshold, ...)                                                                        \
    do {                                                                                                               \
        static_assert((threshold) > 0 && std::string_view(DEBUG_FORMAT(__VA_ARGS__, )).ends_with('\n'));               \
        CHECK_FORMAT(__VA_ARGS__);                                                                                     \
        if (debug::is_enabled(threshold)) {                                                                            \
            debug::write({"DEBUG %s.%03zd : " DEBUG_FORMAT(__VA_ARGS__, ),                                             \
                          "DEBUG %s.%03zd pid %d, tid %ld : " DEBUG_FORMAT(__VA_ARGS__, ),                             \
                          "DEBUG %s.%03zd pid %d, tid %ld, %s, %d : " DEBUG_FORMAT(__VA_ARGS__, )},                    \
                         function, __LINE__, __VA_ARGS__);                                                             \
        }                                                                                                              \
    } while (false)
#define DEBUG_FORMAT(format, ...) format
