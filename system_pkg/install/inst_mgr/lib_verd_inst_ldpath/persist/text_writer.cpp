#include "persist/text_writer.h"

#include "frame/clock_text.h"
#include "frame/error_text.h"
#include "frame/owned.h"
#include "frame/report.h"
#include "location/path_text.h"

#include <cstring>
#include <unistd.h>

TRACE_SITES_BEGIN(text_writer)

namespace
{

// Quirk: each line of the header has a blank before its newline; other tools compare these lines.
// Quirk: the title is an argument, since compilers turn an fprintf() without arguments into fwrite(); system tests
// damage the .bin file by letting fwrite() fail, and expect the twin to be whole.
void write_lines(FILE *stream, const char *profile_text)
{
    const ClockText now = clock_text();
    std::fprintf(stream, "# %s \n", "Software Profile");
    std::fprintf(stream, "# Updated on %s.%03d \n", now.time, static_cast<int>(now.milliseconds));
    std::fprintf(stream, "# Updated by %s (pid %d) \n\n", program_invocation_short_name, getpid());
    std::fprintf(stream, "%s\n", profile_text);
}

uint64_t write_twin(const char *bin_file_path, const inst_sw_profile_sdr_ext *profile, char **text)
{
    if (bin_file_path == nullptr) {
        REPORT("Error! sdr_swprofile_file is NULL\n");
        error_text_add(text, "Hit an unexpected NULL pointer while writing QX software profile to txt file\n");
        return INST_RC_INVALID_ARG;
    }
    Owned<char> path;
    uint64_t rc = name_twin(bin_file_path, &path.ptr, text);
    if (rc != 0) {
        REPORT("Error! inst_get_sdr_swprofile_txt_file failed, %lx\n", rc);
        error_text_add(text, "Failed to get QX software profile txt file\n");
        return rc;
    }
    Owned<char> profile_text;
    rc = instcomm_get_swprofile_sdr_str(profile, &profile_text.ptr, 1, text);
    if (rc != 0) {
        REPORT("Error! Failed to get SW Profile string\n");
        error_text_add(text, "Failed to get QX software profile string\n");
        return rc;
    }
    FILE *const stream = std::fopen(path.ptr, "w");
    if (stream == nullptr) {
        const int err = errno;
        REPORT("Error! Can't open file %s, %d (%s) \n", path.ptr, err, std::strerror(err));
        error_text_add(text, "Failed to fopen() the file %s (%s)\n", path.ptr, std::strerror(err));
        return INSTMGR_RC_ERRNO(err);
    }
    write_lines(stream, profile_text.ptr);
    std::fclose(stream);
    return 0;
}

} // namespace

uint64_t inst_write_sdr_swprofile_to_txt_file(const char *bin_file_path, const inst_sw_profile_sdr_ext *profile,
                                              char **error_message_out)
{
    char *text = nullptr;
    const uint64_t rc = write_twin(bin_file_path, profile, &text);
    error_text_hand_over(&text, error_message_out);
    return rc;
}

TRACE_SITES_END(text_writer);
