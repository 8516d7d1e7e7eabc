#include "profile/findings.h"
#include "profile/names.h"
#include "profile/options.h"
#include "safety/journal.h"
#include "safety/lock.h"
#include "subcommands/commands.h"
#include "terminal/color.h"
#include "json/profile_json.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

namespace
{

namespace fs = std::filesystem;

struct Check {
    std::vector<Finding> findings;
    std::size_t profiles = 0; // that exist

    void add(const Selector &place)
    {
        const Inspection inspected = inspect(place);
        profiles += inspected.exists ? 1 : 0;
        findings.insert(findings.end(), inspected.findings.begin(), inspected.findings.end());
    }
};

// Files that belong to no profile: in the directory of an SDR, every unknown file except the flag file; elsewhere, only
// names with two or more characters before "swprofile-", which excludes the undo journals (.swprofile-undo).
void check_directories(Check &check, const std::vector<Selector> &places)
{
    std::set<fs::path> known;
    std::map<fs::path, bool> directories = {{scope_directory(true), false}}; // is it that of an SDR?
    for (const Selector &place : places) {
        for (const fs::path &file : place.files()) {
            known.insert(file);
        }
        directories.emplace(place.files().front().parent_path(), verd_vm_type_has_sdr(place.vm_type));
    }
    for (const auto &[directory, is_sdr] : directories) {
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(directory, error)) {
            const std::string name = entry.path().filename();
            const bool is_suspect =
                is_sdr ? name != "qx_boot_active" : name.find("swprofile-") > 1 && name.find("swprofile-") != name.npos;
            if (!known.contains(entry.path()) && is_suspect) {
                check.findings.push_back({"unknown-file", entry.path(), "belongs to no profile"});
            }
        }
        if (error && error != std::errc::no_such_file_or_directory) {
            throw Failure(FAILED, "cannot read " + directory.string(), {error.message()});
        }
    }
}

// Taking the lock undoes an interrupted change; one that is found here could not be undone.
void check_journals(Check &check)
{
    for (const bool is_local : {false, true}) {
        if (Journal(scope_directory(is_local)).is_open()) {
            check.findings.push_back(
                {"unfinished-change", scope_directory(is_local), "a change was interrupted and is not undone yet"});
        }
    }
}

void print(const Check &check, bool is_json)
{
    if (is_json) {
        Json findings = Json::array();
        for (const Finding &finding : check.findings) {
            findings.push_back(
                {{"code", finding.code}, {"path", text_json(finding.path.c_str())}, {"finding", finding.text}});
        }
        print_json({{"profile_count", check.profiles}, {"findings", findings}});
        return;
    }
    for (const Finding &finding : check.findings) {
        const std::string path = printable(finding.path.c_str());
        std::printf("%s: %s\n", path.c_str(), colored_health(finding.text, finding.code).c_str());
    }
    if (check.findings.empty()) {
        std::printf("%zu profile%s checked, %s\n", check.profiles, check.profiles == 1 ? "" : "s",
                    colored("nothing found", Color::GREEN).c_str());
    }
}

Check check_places(const PlaceFilter &filter)
{
    const ReadLock lock; // ends before the findings are printed
    Check check;
    const bool is_restricted = filter.is_restricted();
    const std::vector<Selector> places = filter.places([&](const fs::path &path) {
        if (!is_restricted) {
            check.findings.push_back({"not-an-sdr", path, "not the directory of an SDR"});
        }
    });
    std::ranges::for_each(places, [&](const Selector &place) { check.add(place); });
    if (!is_restricted) {
        check_directories(check, places);
    } else if (check.profiles == 0 && check.findings.empty()) {
        throw Failure(NO_PROFILE, "there is no such profile", {}, "swprofile list");
    }
    check_journals(check);
    return check;
}

struct CheckOptions {
    PlaceFilter filter;
    bool is_json = false;
};

void check_profiles(const CheckOptions &options)
{
    use_answer_codes();
    const Check check = check_places(options.filter);
    print(check, options.is_json);
    answer(check.findings.empty());
}

} // namespace

void add_check(CLI::App &command)
{
    const auto [check, options] = new_subcommand<CheckOptions>(
        command, "check", "List inconsistencies. Exit code 0: nothing found, 1: something found", check_profiles);
    options.filter.add_options(check);
    add_json_option(check, options.is_json);
    add_wait_options(check);
    check.footer(
        "Checks every profile of the repository, or every one that the options select. Codes of findings in JSON:\n"
        "  empty not-regular damaged unreadable other-identity service-pack-names marks-without-service-pack\n"
        "  twin-missing twin-differs twin-left-over copy-missing copy-differs copy-left-over\n"
        "and of the whole repository: unknown-file not-an-sdr unfinished-change.\n"
        "'repair' resolves most findings about twins and flat copies, and those about marks.\n\n"
        "Examples:\n"
        "  swprofile check\n"
        "  swprofile check --state active\n"
        "  swprofile check --json | jq -r '.findings[].path'");
}
