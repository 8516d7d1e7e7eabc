// Functions that the library calls, as the test executable defines them: those of C, of the platform, and the library's
// own exported ones. They count their calls, fail on request, and otherwise call the real function. Sleeping, syncing,
// tracing and logging are only recorded.
#pragma once

#include <cerrno>
#include <climits>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace hooks
{

// ALLOCATION is malloc, calloc, realloc or strdup; calls by the tests count, too. A failing FWRITE writes one element
// less. A failing ENCODE returns one more than the size of its buffer or, with errno 0, returns 0. LOSE_... lets
// a function of the library or platform return success without its output, as an interposed function may do;
// LOSE_DETAIL clears the last detail only.
// clang-format off
#define HOOKED_FUNCTIONS(X) \
    X(ALLOCATION) X(FOPEN) X(FCLOSE) X(FREAD) X(FWRITE) X(FSEEK) X(FTELL) X(UNLINK) X(ACCESS) X(STAT) X(CLOCK) \
    X(SLEEP) X(SYNC) X(SHELL) X(SYSTEM) X(RENAME) X(POPEN) X(MKDTEMP) X(STRNCPY_S) X(ENCODE) X(COMPARE) \
    X(TRACE_OPEN) X(UTIL_INIT) X(LOSE_PATH) X(LOSE_TWIN) X(LOSE_PROFILE) X(LOSE_DETAIL) X(LOSE_DETAILS)
// clang-format on
#define ENUMERATOR(function) function,
#define FUNCTION_NAME(function) #function,
enum Function { HOOKED_FUNCTIONS(ENUMERATOR) FUNCTION_COUNT };
inline constexpr const char *NAMES[FUNCTION_COUNT] = {HOOKED_FUNCTIONS(FUNCTION_NAME)};

// malloc() is called before variables are initialised, so an Order of zeros must let no call fail.
struct Order {
    int calls; // since reset()
    int first; // of the calls that fail
    int last;
    int err;
    bool fired;
};
inline constexpr int ALWAYS = -1;

// A message of the library as it was traced and logged.
struct Message {
    uint32_t site;
    uint32_t size_class;
    uint32_t has_strings;
    std::string arg_types;
    std::string format;
    std::string text;
};

inline Order orders[FUNCTION_COUNT];
inline std::vector<Message> messages;
inline std::vector<std::string> events; // calls ("> sync", ...), messages, other lines of the log
inline std::size_t allocated;           // bytes
inline bool corrupts_reads;             // changes a byte of each read
inline std::function<void()> before_read;

void reset(); // clears all of these

// Lets `times` calls of the function fail with this errno, beginning with the nth from now on. With times ALWAYS, the
// nth and all later calls fail.
inline void fail(Function function, int nth = 1, int err = EIO, int times = 1)
{
    const int calls = orders[function].calls;
    const int first = calls + nth;
    const int last = times == ALWAYS ? INT_MAX : first + times - 1;
    orders[function] = {calls, first, last, err, false};
}
void disarm(); // cancels these orders, and the corruption of reads

std::vector<std::string> lines(); // texts of the messages, without the newline

} // namespace hooks
