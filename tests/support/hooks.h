// The C and platform functions that the library calls, as the tests define them in their own executable: they count,
// fail on order, and otherwise do what they always do. Sleeping, syncing and the trace are only recorded.
#pragma once

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace hooks
{

enum Function {
    ALLOCATION, // malloc, calloc, realloc and strdup, of anybody while the order stands
    FOPEN,
    FCLOSE,
    FREAD,
    FWRITE, // a failing one is short by a byte
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
    COPY_PACKAGE,
    COPY_DETAIL,
    TRACE_OPEN,
    UTIL_INIT,
    FUNCTION_COUNT,
    // Functions that succeed without handing out what they should.
    LOSE_PATH = FUNCTION_COUNT,
    LOSE_TWIN,
    LOSE_PROFILE,
    LOSE_DETAIL, // the last one of a search for service packs
    LOSE_DETAILS,
    ORDER_COUNT
};

inline constexpr const char *NAMES[FUNCTION_COUNT] = {
    "allocation", "fopen",        "fclose",      "fread",         "fwrite",         "fseek",     "ftell",
    "unlink",     "access",       "stat",        "clock_gettime", "sleep",          "sync",      "wsystem",
    "system",     "rename",       "command",     "mkdtemp",       "making folders", "strncpy_s", "encode",
    "compare",    "package copy", "detail copy", "trace open",    "util init"};

// All zero until the program has been set up, which must mean no order: the first allocations come before that.
struct Order {
    int calls;   // since the reset
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

inline Order orders[ORDER_COUNT];
inline std::vector<Message> messages;
inline std::vector<std::string> events; // "> sync", "> sleep 4", "> unlink PATH", ..., texts, "instcomm: TEXT"
inline std::size_t allocated;           // bytes asked for
inline bool corrupts_reads;             // changes a byte of whatever is read
inline std::function<void()> before_read;

void reset(); // forgets all of these

// The nth call from now fails with the errno given.
inline void fail(Function function, int nth = 1, int err = EIO)
{
    orders[function].fail_at = nth == ALWAYS ? ALWAYS : orders[function].calls + nth;
    orders[function].err = err;
    orders[function].fired = false;
}
void disarm(); // takes all such orders back, and the corruption

std::vector<std::string> lines(); // texts of the messages, without the newline

} // namespace hooks
