#include "persist/reader.h"

#include "frame/debug_line.h"
#include "frame/owned.h"

#include <cstring>

TRACE_SITES_BEGIN(reader)

namespace
{

// Quirk: fixed numbers instead of source lines; log searches identify the failed call of fseek() by them.
constexpr int SEEK_END_LINE = 1756;
constexpr int SEEK_SET_LINE = 1765;

bool seek(FILE *stream, int origin, int line)
{
    if (std::fseek(stream, 0, origin) == 0) {
        return true;
    }
    const int err = errno;
    REPORT("%s, %d: fseek failed, %d, %s\n", "inst_get_file_size", line, err, std::strerror(err));
    errno = err;
    return false;
}

struct Stream {
    FILE *file;
    ~Stream()
    {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
};

// Allocates the caller's record first, so that the decoded texts lie at the end of the heap, where freeing them is
// cheaper. If that fails, decodes anyway: damaged data takes precedence over a lack of memory.
uint64_t decode(const void *bytes, uint32_t count, inst_sw_profile_sdr_ext **record_out)
{
    Owned<inst_sw_profile_sdr_ext> result(
        static_cast<inst_sw_profile_sdr_ext *>(std::calloc(1, sizeof(inst_sw_profile_sdr_ext))));
    inst_sw_profile_sdr_ext record = {};
    const int32_t status = zeld_inst_sw_profile_sdr_ext_decode_ext(&record, bytes, count, std::malloc, 0);
    if (status != 0) {
        REPORT("Error! Decoding sw_profile_ext failed, %d\n", status);
        zeld_inst_sw_profile_sdr_ext_free_ext(&record, std::free, 0);
        return INSTMGR_RC_INVALID_DATA;
    }
    if (result.ptr == nullptr) {
        REPORT("Error! Can't allocate sdr_sw_profile copy buffer\n");
        zeld_inst_sw_profile_sdr_ext_free_ext(&record, std::free, 0);
        return INST_RC_NO_MEMORY;
    }
    *result.ptr = record; // moves ownership
    *record_out = result.release();
    return 0;
}

uint64_t read_and_decode(const char *file_path, inst_sw_profile_sdr_ext **record_out, int &read)
{
    if (file_path == nullptr) {
        REPORT("Error! swprofile_file is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    if (record_out == nullptr) {
        REPORT("Error! Parameter is NULL, %s, %d\n", "inst_decode_sw_profile_ext", __LINE__);
        return INST_RC_INVALID_ARG;
    }
    const Stream stream = {std::fopen(file_path, "r")};
    if (stream.file == nullptr) {
        const int err = errno;
        REPORT("Error! Can't open file %s, %d (%s)\n", file_path, err, std::strerror(err));
        return INSTMGR_RC_ERRNO(err);
    }
    static_cast<void>(std::setvbuf(stream.file, nullptr, _IONBF, 0)); // one read, without copying
    errno = 0;                                                        // remains 0 for an empty file
    const int32_t size = inst_get_file_size(stream.file);
    if (size == 0) {
        const int err = errno;
        REPORT("Error! Can't check file size for file %s\n", file_path);
        return INSTMGR_RC_ERRNO(err);
    }
    // One byte more than the size, to detect a file that has grown.
    const bool is_readable = size > 0 && size < INT32_MAX;
    const int32_t limit = is_readable ? size + 1 : 0;
    const Owned<void> buffer(is_readable ? std::malloc(static_cast<std::size_t>(limit)) : nullptr);
    if (buffer.ptr == nullptr) {
        REPORT("Error! Can't allocate decode buffer\n");
        return INST_RC_NO_MEMORY;
    }
    read = static_cast<int>(std::fread(buffer.ptr, 1, static_cast<std::size_t>(limit), stream.file));
    if (std::ferror(stream.file) != 0) {
        const int err = errno;
        REPORT("Error! failed to read file %s, %d (%s)\n", file_path, err, std::strerror(err));
        return INSTMGR_RC_ERRNO(err);
    }
    if (std::feof(stream.file) == 0) {
        REPORT("Error! File %s is too large to read (over %d bytes) \n", file_path, limit);
        return INSTMGR_RC_INVALID_DATA;
    }
    return decode(buffer.ptr, static_cast<uint32_t>(read), record_out);
}

} // namespace

int32_t inst_get_file_size(FILE *stream)
{
    if (!seek(stream, SEEK_END, SEEK_END_LINE)) {
        return 0;
    }
    const auto size = static_cast<int32_t>(std::ftell(stream));
    return seek(stream, SEEK_SET, SEEK_SET_LINE) ? size : 0;
}

uint64_t inst_decode_sw_profile_ext(const char *file_path, inst_sw_profile_sdr_ext **record_out)
{
    DEBUG_LINE(4, "Entering function %s, %s\n", __func__, file_path);
    int read = 0;
    const uint64_t rc = read_and_decode(file_path, record_out, read);
    DEBUG_LINE(4, "Leaving  function %s, rc = %lx, read %d bytes\n", __func__, rc, read);
    return rc;
}

TRACE_SITES_END(reader);
