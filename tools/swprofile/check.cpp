#include "commands.h"
#include "location/repository.h"
#include "location/vm_types.h"
#include "names.h"
#include "nodes.h"
#include "places.h"
#include "profile_json.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace
{

namespace fs = std::filesystem;

struct Options {
    Selector selector;
    bool is_json = false;
};

struct Finding {
    fs::path path;
    std::string text;
};

struct Check {
    std::vector<Finding> findings;
    std::size_t profiles = 0; // that are there

    void add(const fs::path &path, const std::string &text) { findings.push_back({path, text}); }
};

bool is_there(const fs::path &path)
{
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

std::string content_of(const fs::path &path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

// A file that isn't what it should be is a finding. A fifo would make us wait, a directory has no content.
bool has_content(Check &check, const fs::path &path)
{
    std::error_code error;
    if (!fs::is_regular_file(path, error)) {
        check.add(path, "not a regular file");
        return false;
    }
    if (fs::file_size(path, error) == 0) {
        check.add(path, "empty, which counts as absent");
        return false;
    }
    return true;
}

// What is left of a profile that isn't there.
void check_leftovers(Check &check, const std::vector<fs::path> &files)
{
    for (std::size_t i = 1; i < files.size(); ++i) {
        if (is_there(files[i])) {
            check.add(files[i], i == 1 ? "the readable twin of no profile" : "a flat copy of no profile");
        }
    }
}

void check_encoding(Check &check, const fs::path &bin, const inst_sw_profile_sdr_ext &profile)
{
    const std::string bytes = content_of(bin);
    std::string again(bytes.size(), '\0');
    const uint32_t need =
        zeld_inst_sw_profile_sdr_ext_encode_ext(&profile, again.data(), static_cast<uint32_t>(again.size()), 0, 0, 0);
    if (need != bytes.size() || again != bytes) {
        check.add(bin, "doesn't encode to itself again");
    }
}

// What is stored with a foreign key goes elsewhere when it is stored again.
void check_key(Check &check, const Selector &selector, const inst_sw_profile_sdr_ext &profile)
{
    const std::string fault = selector.sdr_fault(profile);
    if (!fault.empty()) {
        check.add(selector.path(), fault);
    }
}

bool are_paired(char *const *names, uint32_t name_count, const sp_detail *details, uint32_t detail_count)
{
    for (uint32_t i = 0; i < name_count && i < detail_count; ++i) {
        if (names[i] == nullptr || details[i].sp_name == nullptr || std::strcmp(names[i], details[i].sp_name) != 0) {
            return false;
        }
    }
    return name_count == detail_count;
}

void check_service_packs(Check &check, const fs::path &bin, const inst_sw_profile_info &body, const std::string &nodes)
{
    char **names = nullptr;
    sp_detail *details = nullptr;
    const uint32_t name_count = inst_sw_profile_info_get_sp_names(&body, &names);
    const uint32_t detail_count = inst_sw_profile_info_get_sp_details(&body, &details);
    if (!are_paired(names, name_count, details, detail_count)) {
        check.add(bin, "the names of service packs don't agree with their details" +
                           (nodes.empty() ? "" : ", on nodes " + nodes));
    }
}

void check_twin(Check &check, const fs::path &twin, const inst_sw_profile_sdr_ext &profile)
{
    if (!is_there(twin)) {
        check.add(twin, "missing: the readable twin");
        return;
    }
    if (!has_content(check, twin)) {
        return;
    }
    char *text = nullptr;
    const uint64_t rc = instcomm_get_swprofile_sdr_str(&profile, &text, 1, nullptr);
    if (rc != 0) {
        throw failure_of(rc, "can't render the profile", ErrorText());
    }
    const std::string rendered = std::string("\n\n") + text + "\n";
    std::free(text);
    const std::string content = content_of(twin);
    if (content.substr(std::min(content.find("\n\n"), content.size())) != rendered) {
        check.add(twin, "the readable twin tells something else than the profile");
    }
}

void check_copies(Check &check, const std::vector<fs::path> &files)
{
    for (std::size_t i = 2; i < files.size(); ++i) {
        const fs::path &original = files[i - 2];
        std::error_code ignored;
        if (!is_there(files[i])) {
            if (is_there(original)) {
                check.add(files[i], "missing: the flat copy of " + original.string());
            }
        } else if (has_content(check, files[i]) && fs::is_regular_file(original, ignored) &&
                   content_of(files[i]) != content_of(original)) {
            check.add(files[i], "not the same as " + original.string());
        }
    }
}

void check_profile(Check &check, const Selector &selector)
{
    const std::vector<fs::path> files = selector.files();
    if (!is_there(files[0])) {
        check_leftovers(check, files);
        return;
    }
    ++check.profiles;
    if (!has_content(check, files[0])) {
        check_leftovers(check, files);
        return;
    }
    try {
        const Profile profile = selector.fetch();
        check_encoding(check, files[0], *profile);
        check_key(check, selector, *profile);
        check_service_packs(check, files[0], profile->sdr_sw_profile.sw_profile, "");
        for (const inst_sw_profile_loc *const location : locations_of(*profile)) {
            check_service_packs(check, files[0], location->sw_profile, nodes_text(nodes_of(*location)));
        }
        check_twin(check, files[1], *profile);
    } catch (const Failure &failure) {
        check.add(files[0], failure.exit_code == INVALID_DATA
                                ? "damaged: not a whole, unchanged profile"
                                : "can't be read: " + (failure.details.empty() ? "" : failure.details.back()));
    }
    check_copies(check, files);
}

// What stands among the profiles and belongs to none: anything in the directory of an SDR, what is named like a profile
// elsewhere.
void check_directories(Check &check, const std::vector<Selector> &places)
{
    std::set<fs::path> known;
    std::map<fs::path, bool> directories = {{fs::path(repository::LOCAL_DIRECTORY).parent_path(), false}}; // an SDR's?
    for (const Selector &place : places) {
        for (const fs::path &file : place.files()) {
            known.insert(file.lexically_normal());
        }
        directories.emplace(fs::path(place.path()).lexically_normal().parent_path(), is_qx_based(place.vm_type));
    }
    for (const auto &[directory, is_sdr] : directories) {
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(directory, error)) {
            const std::string name = entry.path().filename();
            const bool is_profile = name.find("swprofile-") != std::string::npos;
            if (!known.contains(entry.path()) && (is_sdr ? name != "qx_boot_active" : is_profile)) {
                check.add(entry.path(), "belongs to no profile");
            }
        }
        if (error && error != std::errc::no_such_file_or_directory) {
            throw Failure(FAILED, "can't read " + directory.string(), {error.message()});
        }
    }
}

void check_repository(Check &check)
{
    const std::vector<Selector> places =
        all_places([&](const fs::path &path) { check.add(path, "no SDR's directory"); });
    for (const Selector &place : places) {
        check_profile(check, place);
    }
    check_directories(check, places);
}

void print(const Check &check, bool is_json)
{
    if (is_json) {
        Json findings = Json::array();
        for (const Finding &finding : check.findings) {
            findings.push_back({{"path", text_json(finding.path.c_str())}, {"finding", finding.text}});
        }
        print_json({{"schema", JSON_SCHEMA}, {"profiles", check.profiles}, {"findings", findings}});
        return;
    }
    for (const Finding &finding : check.findings) {
        std::printf("%s: %s\n", shown(finding.path.c_str()).c_str(), finding.text.c_str());
    }
    if (check.findings.empty()) {
        std::printf("%zu profile%s checked, nothing found\n", check.profiles, check.profiles == 1 ? "" : "s");
    }
}

void run(const Options &options, bool is_one)
{
    begin_to_answer();
    Check check;
    if (is_one) {
        check_profile(check, options.selector);
        if (check.profiles == 0 && check.findings.empty()) {
            throw Failure(NO_PROFILE, "there is no " + options.selector.describe(),
                          {"no file " + options.selector.path()});
        }
    } else {
        check_repository(check);
    }
    print(check, options.is_json);
    answer(check.findings.empty());
}

} // namespace

void add_check(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const check = command.add_subcommand(
        "check", "Is everything as it should be? Exit code 0: yes, 1: no. The whole repository, or one profile");
    add_selector_options(*check, options->selector);
    check->add_flag("--json", options->is_json, "as JSON, schema 1");
    check->footer(
        "Every finding is a line: a profile that is empty, damaged, or names another SDR; lists of service packs\n"
        "that disagree; a readable twin or a flat copy that is missing, tells something else, or is left over;\n"
        "a file that belongs to no profile. Without options for one profile, all are checked.\n\n"
        "Examples:\n"
        "  swprofile check\n"
        "  swprofile check --state active\n"
        "  swprofile check --json | jq -r '.findings[].path'");
    check->callback([options, check] {
        const char *const selecting[] = {"--sdr", "--vm", "--state", "--local", "--global"};
        const bool is_one = std::any_of(std::begin(selecting), std::end(selecting),
                                        [check](const char *flag) { return check->count(flag) != 0; });
        run(*options, is_one);
    });
}
