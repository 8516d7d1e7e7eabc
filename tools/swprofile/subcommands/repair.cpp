#include "profile/findings.h"
#include "profile/options.h"
#include "safety/change.h"
#include "safety/durable.h"
#include "safety/interruption.h"
#include "subcommands/commands.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace
{

struct RepairOptions {
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
    std::for_each(files.begin(), files.end(), remove_durably);
    return 0;
}

// Lines of output, and the command that brings a damaged profile back.
struct Result {
    std::vector<std::string> done;
    std::vector<std::string> left;
    std::string hint;
};

std::string restoring_command(const Selector &damaged)
{
    const int32_t source = damaged.state == VERD_SWP_ACTIVE ? VERD_SWP_COMMITTED : VERD_SWP_ACTIVE;
    if (!std::filesystem::exists(damaged.with_state(source).path())) {
        return damaged.command("create --from BACKUP --replace");
    }
    const char *const subcommand = damaged.state == VERD_SWP_ACTIVE      ? "rollback"
                                   : damaged.state == VERD_SWP_COMMITTED ? "commit"
                                                                         : "copy --from active --to prepared";
    return damaged.with_state(VERD_SWP_ACTIVE).command(subcommand);
}

void repair(const Selector &place, bool is_dry_run, Result &result)
{
    Change change(place, is_dry_run);
    const Inspection inspected = inspect(place);
    // Storing uses the SDR in the profile, so a profile that names another one would overwrite another file.
    const bool must_store = inspected.profile != nullptr && identity_fault(place, *inspected.profile).empty() &&
                            std::ranges::any_of(inspected.findings, is_repaired_by_storing);
    const bool has_leftovers = std::ranges::any_of(inspected.findings, is_leftover);
    if (must_store || has_leftovers) {
        place.check_writable();
    }
    if (!is_dry_run && must_store) {
        clear_marks_without_service_pack(*inspected.profile);
        change.run("store the " + place.describe(), {place}, [&](ErrorText &error) {
            return inst_ldpath_store_sdr_swprofile(inspected.profile.get(), place.is_local, place.state, nullptr,
                                                   place.vm_type, error.slot());
        });
    } else if (!is_dry_run && has_leftovers) {
        change.run("remove leftover files of the " + place.describe(), {},
                   [&](ErrorText &) { return remove_leftovers(inspected.findings, change); });
    }
    const auto is_repaired = [must_store](const Finding &finding) {
        return (must_store && is_repaired_by_storing(finding)) || is_leftover(finding);
    };
    for (const Finding &finding : inspected.findings) {
        if (is_repaired(finding)) {
            const std::string verb = is_leftover(finding) ? "remove" : "repair";
            result.done.push_back((is_dry_run ? "would " + verb : verb + (is_leftover(finding) ? "d" : "ed")) + " " +
                                  text_of(finding));
        }
    }
    for (const Finding &finding : is_dry_run ? inspected.findings : inspect(place).findings) {
        if (!is_dry_run || !is_repaired(finding)) {
            result.left.push_back(text_of(finding));
            result.hint = finding.code == "damaged" ? restoring_command(place) : result.hint;
        }
    }
}

// If a profile cannot be repaired, the others are repaired all the same.
void repair_profiles(const RepairOptions &options)
{
    Result result;
    const std::vector<Selector> places = options.filter.places();
    if (places.empty()) {
        throw Failure(NO_PROFILE, "there is no such profile", {}, "swprofile list");
    }
    for (const Selector &place : places) {
        try {
            repair(place, options.is_dry_run, result);
        } catch (const Failure &failure) {
            result.left.emplace_back(failure.what());
            result.left.insert(result.left.end(), failure.details.begin(), failure.details.end());
            if (caught_signal() != 0) {
                result.left.insert(result.left.end(), result.done.begin(), result.done.end());
                throw Failure(failure.exit_code, failure.what(), result.left);
            }
        }
    }
    if (!result.left.empty()) {
        result.done.insert(result.done.end(), result.left.begin(), result.left.end());
        throw Failure(FAILED, "some findings cannot be repaired", result.done, result.hint);
    }
    for (const std::string &line : result.done) {
        std::printf("%s\n", line.c_str());
    }
    if (result.done.empty()) {
        std::printf("nothing to repair\n");
    }
}

} // namespace

void add_repair(CLI::App &command)
{
    const auto [subcommand, options] =
        new_subcommand<RepairOptions>(command, "repair", "Repair text twins, flat copies and marks", repair_profiles);
    options.filter.add_options(subcommand);
    add_change_options(subcommand, options.is_dry_run);
    subcommand.footer(
        "Creates text twins and flat copies again from the profile, removes those that are left over, and unmarks\n"
        "packages if there is no service pack. Never removes a profile, and does not repair a damaged one: copy\n"
        "another state over it.\n\n"
        "Examples:\n"
        "  swprofile repair --dry-run\n"
        "  swprofile repair --state active");
}
