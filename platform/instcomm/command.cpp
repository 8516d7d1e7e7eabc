#include "instcomm.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

// Receives the output of a command piece by piece.
using OutputHandler = void (*)(void *to, const char *text, std::size_t length);

__attribute__((format(printf, 1, 0))) uint64_t run(const char *format, va_list arguments, OutputHandler handle,
                                                   void *to)
{
    char *command = nullptr;
    if (vasprintf(&command, format, arguments) < 0) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    FILE *const output = popen(command, "re");
    std::free(command);
    if (output == nullptr) {
        return INSTCOMM_RC_FAILED;
    }
    char piece[512];
    for (std::size_t length; (length = std::fread(piece, 1, sizeof piece, output)) != 0;) {
        handle(to, piece, length); // reads all, since a closed pipe would kill the command
    }
    return pclose(output) == 0 ? 0 : INSTCOMM_RC_FAILED;
}

struct Buffer {
    char *start;
    std::size_t size;
    std::size_t used;
};

void fill_buffer(void *to, const char *text, std::size_t length)
{
    Buffer &buffer = *static_cast<Buffer *>(to);
    const std::size_t room = buffer.size - 1 - buffer.used;
    const std::size_t taken = length < room ? length : room;
    std::memcpy(buffer.start + buffer.used, text, taken);
    buffer.used += taken;
}

// The caller has not requested the output, so it goes to standard error, where failures can be seen.
void write_to_stderr(void *, const char *text, std::size_t length)
{
    std::fwrite(text, 1, length, stderr);
}

void discard(void *, const char *, std::size_t) {}

struct MemoryStream {
    FILE *stream;
    bool is_complete; // closing a stream that could not grow reports no error
};

void collect(void *to, const char *text, std::size_t length)
{
    MemoryStream &memory = *static_cast<MemoryStream *>(to);
    memory.is_complete = std::fwrite(text, 1, length, memory.stream) == length && memory.is_complete;
}

} // namespace

extern "C" {

uint64_t inst_runcmd(char *out, uint32_t out_size, const char *format, ...)
{
    if (format == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    const bool has_buffer = out != nullptr && out_size != 0;
    Buffer buffer = {out, out_size, 0};
    va_list arguments;
    va_start(arguments, format);
    const uint64_t rc = run(format, arguments, has_buffer ? fill_buffer : write_to_stderr, &buffer);
    va_end(arguments);
    if (has_buffer) {
        out[buffer.used] = '\0';
    }
    return rc;
}

uint64_t inst_runcmd_outbuff(char **out, uint32_t *out_size, const char *format, ...)
{
    if (format == nullptr || (out == nullptr) != (out_size == nullptr)) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    char *text = nullptr;
    std::size_t length = 0;
    MemoryStream memory = {out == nullptr ? nullptr : open_memstream(&text, &length), true};
    if (out != nullptr && memory.stream == nullptr) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    va_list arguments;
    va_start(arguments, format);
    uint64_t rc = run(format, arguments, out == nullptr ? discard : collect, &memory);
    va_end(arguments);
    if (out != nullptr) {
        // Without memory for shrinking, the text is null after a successful close.
        memory.is_complete = std::fclose(memory.stream) == 0 && text != nullptr && memory.is_complete;
    }
    if (rc == 0 && !memory.is_complete) {
        rc = INSTCOMM_RC_NO_MEMORY;
    }
    if (rc == 0 && out != nullptr) {
        *out = text;
        *out_size = static_cast<uint32_t>(length);
    } else {
        std::free(text);
    }
    return rc;
}

int wsystem(const char *command)
{
    return command == nullptr ? -1 : std::system(command);
}
}
