#include "profile/findings.h"

#include "profile/names.h"
#include "profile/nodes.h"
#include "profile/repository.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

using Findings = std::vector<Finding>;

// Is this a readable regular file with content? If not, that is a finding.
bool has_content(Findings &findings, const fs::path &path, const char *empty = "empty")
{
    std::error_code error;
    if (!fs::is_regular_file(fs::symlink_status(path, error))) {
        findings.push_back({"not-regular", path, "not a regular file"});
        return false;
    }
    if (fs::file_size(path, error) == 0) {
        findings.push_back({"empty", path, empty});
        return false;
    }
    if (access(path.c_str(), R_OK) != 0) {
        findings.push_back({"unreadable", path, std::string("cannot be read: ") + std::strerror(errno)});
        return false;
    }
    return true;
}

// A twin or flat copies whose .bin file is missing, empty or not a regular file.
void find_leftovers(Findings &findings, const std::vector<fs::path> &files)
{
    for (std::size_t i = 1; i < files.size(); ++i) {
        std::error_code ignored;
        if (fs::is_directory(fs::symlink_status(files[i], ignored))) {
            findings.push_back({"not-regular", files[i], "not a regular file"});
        } else if (name_exists(files[i])) {
            findings.push_back(i == 1 ? Finding{"twin-left-over", files[i], "a text twin without its profile"}
                                      : Finding{"copy-left-over", files[i], "a flat copy without its profile"});
        }
    }
}

bool are_paired(const inst_sw_profile_info &body)
{
    return std::ranges::equal(
        service_pack_names_of(body), service_packs_of(body), [](const char *name, const sp_detail &detail) {
            return name != nullptr && detail.sp_name != nullptr && std::strcmp(name, detail.sp_name) == 0;
        });
}

void check_service_packs(Findings &findings, const fs::path &bin, const inst_sw_profile_info &body,
                         const std::string &nodes)
{
    const std::string where = nodes.empty() ? "" : ", on nodes " + nodes;
    if (!are_paired(body)) {
        findings.push_back(
            {"service-pack-names", bin, "the names of service packs do not agree with their details" + where});
    }
    if (has_marks_without_service_pack(body)) {
        findings.push_back({"marks-without-service-pack", bin,
                            "packages are marked as members, but there is no service pack" + where});
    }
}

void check_content(Findings &findings, const fs::path &bin, const Selector &selector,
                   const inst_sw_profile_sdr_ext &profile)
{
    const std::string fault = identity_fault(selector, profile);
    if (!fault.empty()) {
        findings.push_back({"other-identity", bin, fault});
    }
    check_service_packs(findings, bin, profile.sdr_sw_profile.sw_profile, "");
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        check_service_packs(findings, bin, location.sw_profile, nodes_text(nodes_of(location)));
    }
}

// The title, the time, and the program that wrote the twin, before an empty line.
bool has_twin_head(const std::string &content, std::size_t end)
{
    const std::string head = content.substr(0, end);
    return std::ranges::count(head, '\n') == 2 && head.starts_with("# Software Profile \n# Updated on ") &&
           head.find("\n# Updated by ") != head.npos;
}

void check_twin(Findings &findings, const fs::path &twin, const inst_sw_profile_sdr_ext &profile)
{
    if (!name_exists(twin)) {
        findings.push_back({"twin-missing", twin, "the text twin is missing"});
        return;
    }
    if (!has_content(findings, twin)) {
        return;
    }
    const std::string rendered = "\n\n" + rendered_text(profile) + "\n";
    const std::string content = content_of(twin);
    const std::size_t head_end = std::min(content.find("\n\n"), content.size());
    if (!has_twin_head(content, head_end) || content.substr(head_end) != rendered) {
        findings.push_back({"twin-differs", twin, "the text twin differs from the profile"});
    }
}

void check_flat_copies(Findings &findings, const std::vector<fs::path> &files)
{
    for (std::size_t i = 2; i < files.size(); ++i) {
        const fs::path &original = files[i - 2];
        std::error_code ignored;
        if (!name_exists(files[i])) {
            if (name_exists(original)) {
                findings.push_back({"copy-missing", files[i], "the flat copy of " + original.string() + " is missing"});
            }
        } else if (has_content(findings, files[i]) && fs::is_regular_file(original, ignored) &&
                   content_of(files[i]) != content_of(original)) {
            findings.push_back({"copy-differs", files[i], "the flat copy differs from " + original.string()});
        }
    }
}

} // namespace

std::string text_of(const Finding &finding)
{
    return printable(finding.path.c_str()) + ": " + finding.text;
}

Inspection inspect_bin(const Selector &selector)
{
    Inspection found;
    const fs::path bin = selector.path();
    found.exists = name_exists(bin);
    if (!found.exists || !has_content(found.findings, bin, "empty, which counts as absent")) {
        return found;
    }
    try {
        found.profile = selector.fetch();
    } catch (const Failure &failure) {
        const std::string cause = failure.details.empty() ? failure.what() : failure.details.back();
        found.findings.push_back(failure.exit_code == INVALID_DATA
                                     ? Finding{"damaged", bin, "damaged: truncated or corrupted"}
                                     : Finding{"unreadable", bin, "cannot be read: " + cause});
    }
    return found;
}

Inspection inspect(const Selector &selector)
{
    Inspection found = inspect_bin(selector);
    const std::vector<fs::path> files = selector.files();
    std::error_code ignored;
    if (!fs::is_regular_file(files[0], ignored) || size_of(files[0]) == 0) {
        find_leftovers(found.findings, files);
        return found;
    }
    if (found.profile != nullptr) {
        check_content(found.findings, files[0], selector, *found.profile);
        check_twin(found.findings, files[1], *found.profile);
    }
    check_flat_copies(found.findings, files);
    return found;
}

bool is_about_files(const Finding &finding)
{
    return finding.code != "other-identity" && finding.code != "service-pack-names" &&
           finding.code != "marks-without-service-pack";
}

bool has_marks_without_service_pack(const inst_sw_profile_info &body)
{
    return service_pack_names_of(body).empty() && service_packs_of(body).empty() &&
           std::ranges::any_of(packages_of(body), [](const inst_swp_package &package) {
               return inst_swp_package_has_is_sp_pkg(&package);
           });
}

void clear_marks_without_service_pack(inst_sw_profile_sdr_ext &profile)
{
    const auto clear = [](const inst_sw_profile_info &body) {
        if (has_marks_without_service_pack(body)) {
            for (inst_swp_package &package : packages_of(body)) {
                inst_swp_package_clear_is_sp_pkg(&package);
            }
        }
    };
    clear(profile.sdr_sw_profile.sw_profile);
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        clear(location.sw_profile);
    }
}
