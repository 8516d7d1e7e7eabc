#include "instcomm.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

// Runs a command and takes all of its output; what doesn't fit in `out` is read all the same, so that the command
// isn't stopped by it. Without `out`, the output goes to standard error: it tells of what went wrong.
uint64_t run(const char *command, char *out, uint32_t out_size)
{
    FILE *const output = popen(command, "re");
    if (output == nullptr) {
        return INSTCOMM_RC_FAILED;
    }
    std::size_t used = 0;
    char chunk[512];
    for (std::size_t count; (count = std::fread(chunk, 1, sizeof chunk, output)) != 0;) {
        if (out == nullptr) {
            std::fwrite(chunk, 1, count, stderr);
        } else if (used + 1 < out_size) {
            const std::size_t room = out_size - 1 - used;
            count = count < room ? count : room;
            std::memcpy(out + used, chunk, count);
            used += count;
        }
    }
    if (out != nullptr && out_size != 0) {
        out[used] = '\0';
    }
    return pclose(output) == 0 ? 0 : INSTCOMM_RC_FAILED;
}

} // namespace

extern "C" {

uint64_t inst_runcmd(char *out, uint32_t out_size, const char *format, ...)
{
    if (format == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    char *command = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&command, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    const uint64_t rc = run(command, out, out_size);
    std::free(command);
    return rc;
}

int wsystem(const char *command)
{
    return command == nullptr ? -1 : std::system(command);
}
}
