#include "persist/binary_writer.h"

#include "frame/error_text.h"
#include "frame/owned.h"
#include "frame/report.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(binary_writer)

namespace
{

constexpr char FUNCTION[] = "inst_write_sdr_swprofile_to_file";
constexpr char NULL_POINTER_TEXT[] = "Hit an unexpected NULL pointer while writing QX software profile to file\n";

// Quirk: a failed verification gets five attempts, one plus four retries, but the message says 4; log searches match
// it.
constexpr int RETRIES = 4;
constexpr unsigned RETRY_SECONDS = 4;
constexpr int REMOVAL_RETRIES = 4;

enum class AttemptResult { Retry, Finished };

// The state of writing one file, kept across attempts.
struct WriteJob {
    const char *path;
    const void *bytes;
    uint32_t length;
    int retries_left = RETRIES;
    uint64_t rc = 0;
    char *text = nullptr;
};

void remove_file(const WriteJob &job)
{
    int result = unlink(job.path);
    for (int i = 0; result != 0 && i < REMOVAL_RETRIES; ++i) {
        sleep(RETRY_SECONDS);
        result = unlink(job.path);
    }
    if (result != 0) {
        REPORT("unlink %s fails\n", job.path);
    }
}

// Returns whether an attempt may start.
// Quirk: a failed write (rc is set) ends the loop here and is reported as a null buffer, which it is not; log searches
// match this message.
bool check_job(WriteJob &job)
{
    if (job.rc == 0 && job.bytes == nullptr) {
        job.rc = INST_RC_INVALID_ARG;
    }
    if (job.rc != 0) {
        REPORT("%s: Error! swprofile buffer is NULL\n", FUNCTION);
        error_text_add(&job.text, NULL_POINTER_TEXT);
        return false;
    }
    if (job.path == nullptr) {
        job.rc = INST_RC_INVALID_ARG;
        REPORT("%s: Error! sdr_swprofile_file is NULL\n", FUNCTION);
        error_text_add(&job.text, NULL_POINTER_TEXT);
        return false;
    }
    return true;
}

FILE *open_for_writing(WriteJob &job)
{
    FILE *stream = std::fopen(job.path, "w");
    int err = errno;
    if (stream == nullptr && err == ENOENT && instcomm_create_filepath_dirs(job.path) == 0) {
        stream = std::fopen(job.path, "w");
        err = errno;
    }
    if (stream == nullptr) {
        job.rc = INSTMGR_RC_ERRNO(err);
        REPORT("%s: Error! Can't open file %s, %d (%s), rc=%lx\n", FUNCTION, job.path, err, std::strerror(err), job.rc);
        error_text_add(&job.text, "Failed to fopen() file %s (%s)\n", job.path, std::strerror(err));
    }
    return stream;
}

// Waits after a failed write or comparison. In the last attempt, also reports it and adds to the error text.
void pause_and_report_last(WriteJob &job, const char *what, int err)
{
    sleep(RETRY_SECONDS);
    if (job.retries_left <= 0) {
        REPORT("Unable to create SW Profile successfully even after %d trials\n", RETRIES);
        error_text_add(&job.text, "Failed to %s file %s (%s)\n", what, job.path, std::strerror(err));
        error_text_add(&job.text, "Failed to create software profile even after multiple attempts\n");
    }
}

// Writes all bytes and closes the file. If writing fails, removes the file.
bool write_bytes(WriteJob &job, FILE *stream)
{
    const auto written = static_cast<uint32_t>(std::fwrite(job.bytes, 1, job.length, stream));
    const int err = errno;
    std::fflush(stream);
    std::fclose(stream);
    if (written == job.length) {
        return true;
    }
    job.rc = INSTMGR_RC_ERRNO(err);
    remove_file(job);
    REPORT("%s: Error when writing SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", FUNCTION, written, job.length, err,
           std::strerror(err), job.path, job.rc);
    pause_and_report_last(job, "fwrite() to", err);
    return false;
}

// Reads the file back and compares. If the content differs or there is no memory, removes the file.
// Quirk: rc stays 0 although the file is removed; callers expect this 0 and detect the failure by the error text
// (verd_inst_ldpath.h).
AttemptResult verify(WriteJob &job)
{
    FILE *const stream = std::fopen(job.path, "r");
    int err = errno;
    if (stream == nullptr) {
        REPORT("%s: Error when opening SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", FUNCTION, job.length,
               job.length, err, std::strerror(err), job.path, job.rc);
        return AttemptResult::Retry;
    }
    const Owned<void> found(std::malloc(job.length));
    if (found.ptr == nullptr) {
        err = errno;
        std::fclose(stream);
        remove_file(job);
        REPORT("%s: Error when malloc for SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", FUNCTION, job.length,
               job.length, err, std::strerror(err), job.path, job.rc);
        error_text_add(&job.text, "Failed to allocate memory\n");
        return AttemptResult::Finished;
    }
    errno = 0;
    const auto read = static_cast<uint32_t>(std::fread(found.ptr, 1, job.length, stream));
    err = errno;
    std::fclose(stream);
    if (read == job.length && std::memcmp(found.ptr, job.bytes, job.length) == 0) {
        return AttemptResult::Finished;
    }
    remove_file(job);
    REPORT("%s: Error when reading back SW Profile %d, %d, %d (%s) to file %s, rc=%lx\n", FUNCTION, read, job.length,
           err, std::strerror(err), job.path, job.rc);
    pause_and_report_last(job, "fread() the", err);
    return AttemptResult::Retry;
}

AttemptResult write_once(WriteJob &job)
{
    FILE *const stream = open_for_writing(job);
    if (stream == nullptr) {
        return AttemptResult::Finished;
    }
    if (!write_bytes(job, stream)) {
        return AttemptResult::Retry;
    }
    sync();
    // Quirk: syncs again by a shell command; processes that interpose wsystem() see each write before it is read back.
    static_cast<void>(wsystem("sync"));
    return verify(job);
}

void write_and_retry(WriteJob &job)
{
    for (; check_job(job); --job.retries_left) {
        if (write_once(job) == AttemptResult::Finished || job.retries_left == 0) {
            return;
        }
    }
}

} // namespace

uint64_t inst_write_sdr_swprofile_to_file(const char *file_path, const void *buffer, uint32_t length,
                                          char **error_message_out)
{
    REPORT("Writing SW profile to %s, len=%d\n", text_or_null(file_path), length);
    WriteJob job = {file_path, buffer, length};
    if (length == 0) {
        REPORT("error: being asked to create SW Profile of 0 bytes\n");
        error_text_add(&job.text, NULL_POINTER_TEXT);
        job.rc = INSTMGR_RC_EMPTY_SWPROFILE;
    } else {
        write_and_retry(job);
    }
    error_text_hand_over(&job.text, error_message_out);
    return job.rc;
}

TRACE_SITES_END(binary_writer);
