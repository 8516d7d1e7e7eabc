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
    ALLOCATION, // malloc, calloc and realloc, of anybody while the order stands
    FOPEN,
    FCLOSE,
    FREAD,
    FWRITE,
    FSEEK,
    FTELL,
    UNLINK,
    ACCESS,
    STAT,
    CLOCK,
    SLEEP,
    SYNC,
    SHELL, // wsystem
    RUNCMD,
    MAKE_DIRECTORIES,
    STRNCPY_S,
    RENDER,
    ENCODE,
    DUPLICATE_NODE,
    TRACE_OPEN,
    UTIL_INIT,
    FUNCTION_COUNT
};

const char *name_of(Function function);

void reset(); // forgets orders and records

// The nth call from now fails with the errno given; with nth 0 every call does.
void fail(Function function, int nth = 1, int err = EIO);
bool fired(Function function);
void disarm(); // takes all such orders back

// Has something happen before the nth call from now.
void before(Function function, std::function<void()> action, int nth = 1);

// Changes a byte of whatever is read.
void corrupt_reads();

int calls(Function function);  // since the reset
std::size_t allocated_bytes(); // asked for since the reset

// What the library said since the reset: each message as it was logged, and how it was traced.
struct Message {
    uint32_t site;
    uint32_t size_class;
    uint32_t has_strings;
    std::string arg_types;
    std::string format;
    std::string text;
};
const std::vector<Message> &messages();
std::vector<std::string> lines(); // their texts, without the newline

// Everything that happened, in order: "sync", "shell sync", "sleep 4", "unlink PATH".
std::vector<std::string> events();

} // namespace hooks
