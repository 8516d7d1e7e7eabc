#include "profile/findings.h"
#include "safety/change.h"
#include "subcommands/commands.h"
#include "subcommands/places.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace
{

struct Options {
    PlaceFilter filter;
    bool is_dry_run = false;
};

// Twins and flat copies are created again, and marks cleared, by storing the profile.
bool is_repaired_by_storing(const Finding &finding)
{
    constexpr const char *CODES[] = {"twin-missing", "twin-differs", "copy-missing",
                                     "copy-differs", "empty",        "marks-without-service-pack"};
    return std::ranges::count(CODES, finding.code) != 0;
}

bool is_leftover(const Finding &finding)
{
    return finding.code == "twin-left-over" || finding.code == "copy-left-over";
}

uint64_t remove_leftovers(const std::vector<Finding> &findings, Change &change)
{
    std::vector<std::filesystem::path> files;
    for (const Finding &finding : findings) {
        if (is_leftover(finding)) {
            files.push_back(finding.path);
        }
    }
    change.prepare(files, 0);
    for (const std::filesystem::path &file : files) {
        std::filesystem::remove(file);
    }
    return 0;
}

// Adds what is repaired, one line per finding, to `done`.
void repair(const Selector &place, bool is_dry_run, std::vector<std::string> &done)
{
    Change change(place, is_dry_run);
    const Inspection inspected = inspect(place);
    // A profile that names another SDR or VM type would be stored elsewhere.
    const bool is_stored = inspected.profile != nullptr && identity_fault(place, *inspected.profile).empty() &&
                           std::ranges::any_of(inspected.findings, is_repaired_by_storing);
    if (!is_stored && std::ranges::none_of(inspected.findings, is_leftover)) {
        return;
    }
    place.check_writable();
    if (!is_dry_run && is_stored) {
        clear_marks_without_service_pack(*inspected.profile);
        change.run("store the " + place.describe(), {place}, [&](ErrorText &error) {
            return inst_ldpath_store_sdr_swprofile(inspected.profile.get(), place.is_local, place.state, nullptr,
                                                   place.vm_type, error.slot());
        });
    } else if (!is_dry_run) {
        change.run("remove what is left of the " + place.describe(), {},
                   [&](ErrorText &) { return remove_leftovers(inspected.findings, change); });
    }
    for (const Finding &finding : inspected.findings) {
        if ((is_stored && is_repaired_by_storing(finding)) || is_leftover(finding)) {
            done.push_back((is_dry_run ? "would repair " : "repaired ") + text_of(finding));
        }
    }
}

void run(const Options &options)
{
    std::vector<std::string> done;
    std::vector<std::string> left;
    for (const Selector &place : options.filter.places()) {
        try {
            repair(place, options.is_dry_run, done);
        } catch (Failure &failure) {
            failure.details.insert(failure.details.end(), done.begin(), done.end());
            throw;
        }
        for (const Finding &finding : inspect(place).findings) {
            left.push_back(text_of(finding));
        }
    }
    if (!left.empty() && !options.is_dry_run) {
        done.insert(done.end(), left.begin(), left.end());
        throw Failure(FAILED, "some findings cannot be repaired", done, "swprofile check");
    }
    for (const std::string &line : done) {
        std::printf("%s\n", line.c_str());
    }
    if (done.empty()) {
        std::printf("nothing to repair\n");
    }
}

} // namespace

void add_repair(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const subcommand = command.add_subcommand("repair", "Repair text twins, flat copies and marks");
    options->filter.add_options(*subcommand);
    add_change_options(*subcommand, options->is_dry_run);
    subcommand->footer(
        "Creates text twins and flat copies again from the profile, removes those that are left over, and unmarks\n"
        "packages if there is no service pack. Never removes a profile, and does not repair a damaged one: copy\n"
        "another state over it.\n\n"
        "Examples:\n"
        "  swprofile repair --dry-run\n"
        "  swprofile repair --state active");
    subcommand->callback([options] { run(*options); });
}
