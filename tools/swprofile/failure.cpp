#include "failure.h"

#include "verd_inst_ldpath.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

struct Known {
    uint64_t rc;
    const char *name;
    const char *meaning;
    ExitCode exit_code;
};

constexpr Known KNOWN[] = {
    {INST_RC_FAILED, "INST_RC_FAILED", "failed", FAILED},
    {INST_RC_NO_MEMORY, "INST_RC_NO_MEMORY", "out of memory", FAILED},
    {INST_RC_INVALID_ARG, "INST_RC_INVALID_ARG", "an argument is missing or refused", FAILED},
    {INST_RC_NO_SWPROFILE, "INST_RC_NO_SWPROFILE", "this VM type has no software profile", NO_PROFILE},
    {INSTMGR_RC_EMPTY_SWPROFILE, "INSTMGR_RC_EMPTY_SWPROFILE", "the profile can't be encoded", INVALID_DATA},
    {INSTMGR_RC_NO_MEMORY, "INSTMGR_RC_NO_MEMORY", "out of memory", FAILED},
    {INSTMGR_RC_INVALID_DATA, "INSTMGR_RC_INVALID_DATA", "the data isn't a valid profile, or too large for one",
     INVALID_DATA},
    {INSTMGR_RC_SWPROFILE_NOT_FOUND, "INSTMGR_RC_SWPROFILE_NOT_FOUND", "no such profile", NO_PROFILE},
    {INSTCOMM_RC_FAILED, "INSTCOMM_RC_FAILED", "a command failed, or a bundle is missing or can't be unpacked", FAILED},
    {INSTCOMM_RC_INVALID_DATA, "INSTCOMM_RC_INVALID_DATA",
     "a damaged bundle, or a name that isn't name-version-release", INVALID_DATA},
    {INSTCOMM_RC_NO_MEMORY, "INSTCOMM_RC_NO_MEMORY", "out of memory", FAILED},
};

constexpr uint64_t ERRNO_BITS = 0x7ff;

bool is_answering = false;

const Known *find(uint64_t rc)
{
    for (const Known &known : KNOWN) {
        if (known.rc == rc) {
            return &known;
        }
    }
    return nullptr;
}

} // namespace

void begin_to_answer()
{
    is_answering = true;
}

void answer(bool is_yes)
{
    throw Answer{is_yes ? YES : NO};
}

int exit_code_of_failure(int code)
{
    return is_answering && code == FAILED ? int{TROUBLE} : code;
}

ErrorText::~ErrorText()
{
    std::free(text);
}

std::vector<std::string> ErrorText::entries() const
{
    std::vector<std::string> found;
    const std::string all = text == nullptr ? "" : text;
    for (std::size_t start = 0; start < all.size();) {
        std::size_t end = all.find(";E:", start);
        end = std::min(end, all.find(";R:", start));
        end = std::min(end, all.ends_with(';') ? all.size() - 1 : all.size());
        found.push_back(all.substr(start + 2, end - start - 2)); // behind "E:"
        start = end + 1;
    }
    return found;
}

std::string describe(uint64_t rc)
{
    char number[32];
    std::snprintf(number, sizeof number, "0x%016lx", rc);
    if (const Known *const known = find(rc)) {
        return std::string(known->name) + ", " + number + ": " + known->meaning;
    }
    if ((rc & ~ERRNO_BITS) == INSTMGR_RC_ERRNO(0)) {
        const int err = static_cast<int>(rc & ERRNO_BITS);
        return std::string("INSTMGR_RC_ERRNO, ") + number + ": " +
               (err == 0 ? "an empty file, or a command that failed" : std::strerror(err));
    }
    if (rc == UINT64_MAX) {
        return std::string(number) + ": a shell command can't be started";
    }
    if (rc <= 0xffff) {
        const bool is_signal = (rc & 0x7f) != 0;
        return std::string("wait status ") + number + ": a shell command " +
               (is_signal ? "was ended by signal " + std::to_string(rc & 0x7f)
                          : "failed with exit code " + std::to_string(rc >> 8));
    }
    return number;
}

Failure failure_of(uint64_t rc, const std::string &what, const ErrorText &text)
{
    const Known *const known = find(rc);
    const ExitCode code = known == nullptr ? FAILED : known->exit_code;
    std::vector<std::string> details = text.entries();
    details.push_back(describe(rc));
    return {code, what, details};
}
