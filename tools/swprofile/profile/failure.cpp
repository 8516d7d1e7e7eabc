#include "profile/failure.h"

#include "verd_inst_ldpath.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace
{

bool uses_answer_codes = false;

ExitCode exit_code_of(uint64_t rc)
{
    switch (rc) {
    case INST_RC_NO_SWPROFILE:
    case INSTMGR_RC_SWPROFILE_NOT_FOUND:
        return NO_PROFILE;
    case INSTMGR_RC_EMPTY_SWPROFILE:
    case INSTMGR_RC_INVALID_DATA:
    case INSTCOMM_RC_INVALID_DATA:
        return INVALID_DATA;
    default:
        return FAILED;
    }
}

std::string meaning_of(uint64_t rc)
{
    const std::string meaning = verd_result_meaning(rc);
    const bool has_exit_code = rc != 0 && rc <= 0xffff && (rc & 0x7f) == 0;
    return has_exit_code ? meaning + " with exit code " + std::to_string(rc >> 8) : meaning;
}

} // namespace

void use_answer_codes()
{
    uses_answer_codes = true;
}

void answer(bool is_yes)
{
    throw Answer{is_yes ? YES : NO};
}

int report(const Failure &failure)
{
    std::fprintf(stderr, "swprofile: %s\n", failure.what());
    for (const std::string &detail : failure.details) {
        std::fprintf(stderr, "  %s\n", detail.c_str());
    }
    if (!failure.hint.empty()) {
        std::fprintf(stderr, "  try: %s\n", failure.hint.c_str());
    }
    return uses_answer_codes && failure.exit_code == FAILED ? int{TROUBLE} : failure.exit_code;
}

std::vector<std::string> ErrorText::entries() const
{
    std::vector<std::string> found;
    const std::string all = text == nullptr ? "" : text;
    for (std::size_t start = 0; start < all.size();) {
        std::size_t end = all.find(";E:", start);
        end = std::min(end, all.find(";R:", start));
        end = std::min(end, all.ends_with(';') ? all.size() - 1 : all.size());
        found.push_back(all.substr(start + 2, end - start - 2)); // after "E:"
        start = end + 1;
    }
    return found;
}

Failure failure_of(uint64_t rc, const std::string &what, const ErrorText &text)
{
    instcomm_log("swprofile: %s: %s, 0x%016" PRIx64 "\n", what.c_str(), verd_result_name(rc), rc);
    std::vector<std::string> details = text.entries();
    details.push_back(meaning_of(rc));
    return {exit_code_of(rc), what, details};
}

void note(const std::string &text)
{
    std::fprintf(stderr, "swprofile: note: %s\n", text.c_str());
}
