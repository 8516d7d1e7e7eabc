#include "persist/binary_writer.h"

#include "frame/enumerations.h"
#include "frame/error_text.h"
#include "frame/owned.h"
#include "frame/report.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(binary_writer)

namespace
{

constexpr char WRITER[] = "inst_write_sdr_swprofile_to_file";
constexpr char NULL_POINTER[] = "Hit an unexpected NULL pointer while writing QX software profile to file\n";

// The counter of retries starts at the number of trials that messages tell of; the last attempt, the fifth, finds it
// at 0.
constexpr int TRIALS = 4;
constexpr unsigned RETRY_SECONDS = 4;
constexpr int REMOVAL_RETRIES = 4;

enum class Next { Retry, Leave };

// One file being written.
struct Writing {
    const char *path;
    const void *bytes;
    uint32_t length;
    int retries = TRIALS;
    uint64_t rc = 0;
    char *text = nullptr;
};

void remove_file(const Writing &writing)
{
    int result = unlink(writing.path);
    for (int i = 0; result != 0 && i < REMOVAL_RETRIES; ++i) {
        sleep(RETRY_SECONDS);
        result = unlink(writing.path);
    }
    if (result != 0) {
        REPORT("unlink %s fails\n", writing.path);
    }
}

// Also ends the loop after a failed write: the pass that follows finds its result code here, and what the caller then
// hears of is a null buffer.
bool may_start(Writing &writing)
{
    if (writing.rc == 0 && writing.bytes == nullptr) {
        writing.rc = INST_RC_INVALID_ARG;
    }
    if (writing.rc != 0) {
        REPORT("%s: Error! swprofile buffer is NULL\n", WRITER);
        error_text_add(&writing.text, NULL_POINTER);
        return false;
    }
    if (writing.path == nullptr) {
        writing.rc = INST_RC_INVALID_ARG;
        REPORT("%s: Error! sdr_swprofile_file is NULL\n", WRITER);
        error_text_add(&writing.text, NULL_POINTER);
        return false;
    }
    return true;
}

FILE *open_for_writing(Writing &writing)
{
    FILE *stream = std::fopen(writing.path, "w");
    int err = errno;
    if (stream == nullptr && err == ENOENT && instcomm_create_filepath_dirs(writing.path) == 0) {
        stream = std::fopen(writing.path, "w");
        err = errno;
    }
    if (stream == nullptr) {
        writing.rc = INSTMGR_RC_ERRNO(err);
        REPORT("%s: Error! Can't open file %s, %d (%s), rc=%lx\n", WRITER, writing.path, err, std::strerror(err),
               writing.rc);
        error_text_add(&writing.text, "Failed to fopen() file %s (%s)\n", writing.path, std::strerror(err));
    }
    return stream;
}

// Before the next attempt, or after the last one, whose failure is the caller's to hear of.
void pause_after_failure(Writing &writing, const char *what, int err)
{
    sleep(RETRY_SECONDS);
    if (writing.retries <= 0) {
        REPORT("Unable to create SW Profile successfully even after %d trials\n", TRIALS);
        error_text_add(&writing.text, "Failed to %s file %s (%s)\n", what, writing.path, std::strerror(err));
        error_text_add(&writing.text, "Failed to create software profile even after multiple attempts\n");
    }
}

// Writes all and closes the file, which is removed when that fails.
bool write_bytes(Writing &writing, FILE *stream)
{
    const auto written = static_cast<uint32_t>(std::fwrite(writing.bytes, 1, writing.length, stream));
    const int err = errno;
    std::fflush(stream);
    std::fclose(stream);
    if (written == writing.length) {
        return true;
    }
    writing.rc = INSTMGR_RC_ERRNO(err);
    remove_file(writing);
    REPORT("%s: Error when writing SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", WRITER, written, writing.length,
           err, std::strerror(err), writing.path, writing.rc);
    pause_after_failure(writing, "fwrite() to", err);
    return false;
}

// Does the file hold what was written? One that doesn't is removed.
Next verify(Writing &writing)
{
    FILE *const stream = std::fopen(writing.path, "r");
    int err = errno;
    if (stream == nullptr) {
        REPORT("%s: Error when opening SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", WRITER, writing.length,
               writing.length, err, std::strerror(err), writing.path, writing.rc);
        return Next::Retry;
    }
    const Owned<void> found(std::malloc(writing.length));
    if (found.ptr == nullptr) { // reported as success although no file remains; the error text tells
        err = errno;
        std::fclose(stream);
        remove_file(writing);
        REPORT("%s: Error when malloc for SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", WRITER, writing.length,
               writing.length, err, std::strerror(err), writing.path, writing.rc);
        error_text_add(&writing.text, "Failed to allocate memory\n");
        return Next::Leave;
    }
    errno = 0;
    const auto read = static_cast<uint32_t>(std::fread(found.ptr, 1, writing.length, stream));
    err = errno;
    std::fclose(stream);
    if (read == writing.length && std::memcmp(found.ptr, writing.bytes, writing.length) == 0) {
        return Next::Leave;
    }
    remove_file(writing);
    REPORT("%s: Error when reading back SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", WRITER, read, writing.length,
           err, std::strerror(err), writing.path, writing.rc);
    pause_after_failure(writing, "fread() the", err);
    return Next::Retry;
}

Next attempt(Writing &writing)
{
    FILE *const stream = open_for_writing(writing);
    if (stream == nullptr) {
        return Next::Leave;
    }
    if (!write_bytes(writing, stream)) {
        return Next::Retry;
    }
    sync();
    static_cast<void>(wsystem("sync"));
    return verify(writing);
}

void write_and_retry(Writing &writing)
{
    while (may_start(writing) && attempt(writing) == Next::Retry && writing.retries-- != 0) {
    }
}

} // namespace

uint64_t inst_write_sdr_swprofile_to_file(const char *file_path, const void *buffer, uint32_t length,
                                          char **error_message_out)
{
    REPORT("Writing SW profile to %s, len=%d\n", text_or_null(file_path), length);
    Writing writing = {file_path, buffer, length};
    if (length == 0) {
        REPORT("error: being asked to create SW Profile of 0 bytes\n");
        error_text_add(&writing.text, NULL_POINTER);
        writing.rc = INSTMGR_RC_EMPTY_SWPROFILE;
    } else {
        write_and_retry(writing);
    }
    error_text_hand_over(&writing.text, error_message_out);
    return writing.rc;
}

TRACE_SITES_END(binary_writer);
