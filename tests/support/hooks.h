// C and platform functions that the library calls, as the test executable defines them: they count their calls, fail on
// request, and otherwise call the real function. Sleeping, syncing and tracing are only recorded.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace hooks
{

enum Function {
    ALLOCATION, // malloc, calloc, realloc and strdup, also in the tests
    FOPEN,
    FCLOSE,
    FREAD,
    FWRITE, // a failing one writes a byte less
    FSEEK,
    FTELL,
    UNLINK,
    ACCESS,
    STAT,
    CLOCK,
    SLEEP,
    SYNC,
    SHELL, // wsystem
    SYSTEM,
    RENAME,
    RUNCMD,
    MKDTEMP,
    MAKE_DIRECTORIES,
    STRNCPY_S,
    ENCODE,
    COMPARE,
    TRACE_OPEN,
    UTIL_INIT,
    // These return success without their result, as functions that somebody interposes can.
    LOSE_PATH,
    LOSE_TWIN,
    LOSE_PROFILE,
    LOSE_DETAIL, // the last one of a search for service packs
    LOSE_DETAILS,
    FUNCTION_COUNT
};

inline constexpr const char *NAMES[FUNCTION_COUNT] = {
    "allocation", "fopen",     "fclose",         "fread",       "fwrite",      "fseek",   "ftell",      "unlink",
    "access",     "stat",      "clock_gettime",  "sleep",       "sync",        "wsystem", "system",     "rename",
    "command",    "mkdtemp",   "making folders", "strncpy_s",   "encode",      "compare", "trace open", "util init",
    "path lost",  "twin lost", "profile lost",   "detail lost", "details lost"};

// All zero means no order: the first allocations precede the initialisation of variables.
struct Order {
    int calls;   // since reset()
    int fail_at; // the call that fails; ALWAYS
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
inline std::vector<std::string> events; // "> sync", "> sleep 4", "> unlink PATH", ..., texts, "instcomm: TEXT"
inline std::size_t allocated;           // bytes
inline bool corrupts_reads;             // changes a byte of each read
inline std::function<void()> before_read;

void reset(); // clears all of these

// Lets the nth call from now fail with this errno.
inline void fail(Function function, int nth = 1, int err = EIO)
{
    orders[function].fail_at = nth == ALWAYS ? ALWAYS : orders[function].calls + nth;
    orders[function].err = err;
    orders[function].fired = false;
}
void disarm(); // cancels these orders, and the corruption of reads

std::vector<std::string> lines(); // texts of the messages, without the newline

} // namespace hooks
