#include "profile/findings.h"
#include "profile/names.h"
#include "profile/options.h"
#include "profile/output.h"
#include "profile/repository.h"
#include "safety/lock.h"
#include "subcommands/commands.h"
#include "terminal/color.h"

#include <algorithm>
#include <cstdio>

namespace
{

// A profile file of the repository; the profile is null if the file cannot be fetched.
struct Entry {
    Selector selector;
    std::string health;
    Profile profile;
};

std::vector<Entry> read_repository()
{
    const ReadLock lock; // ends before the entries are printed
    std::vector<Entry> entries;
    const auto report_no_sdr = [](const std::filesystem::path &directory) {
        note("not listed, since it is not the directory of an SDR: " + printable(directory.c_str()));
    };
    for (const Selector &selector : all_places(report_no_sdr)) {
        Inspection found = inspect_bin(selector);
        if (found.exists) {
            const std::string health = found.findings.empty() ? "ok" : found.findings.front().code;
            entries.push_back({selector, health, std::move(found.profile)});
        }
    }
    return entries;
}

// The global QX file may contain an LC QX profile.
uint32_t vm_type_of(const Entry &entry)
{
    return entry.profile == nullptr ? entry.selector.vm_type : entry.profile->sdr_sw_profile.vm_type;
}

TableRow table_row(const Entry &entry)
{
    const Selector &selector = entry.selector;
    TableRow row = {verd_scope_name(selector.is_local), verd_vm_type_has_sdr(selector.vm_type) ? selector.sdr : "-",
                    verd_vm_type_name(vm_type_of(entry)), verd_state_name(selector.state)};
    if (entry.profile == nullptr) {
        row.insert(row.end(), {"-", "-", "-", "-"});
    } else {
        const inst_sw_profile_info &body = entry.profile->sdr_sw_profile.sw_profile;
        row.insert(row.end(), {printable(body.image.name), printable(body.version), std::to_string(body.packages_count),
                               std::to_string(body.sp_details_count)});
    }
    row.push_back(colored_health(entry.health, entry.health));
    return row;
}

Json entry_json(const Entry &entry)
{
    const Selector &selector = entry.selector;
    Json json = {{"scope", verd_scope_name(selector.is_local)},
                 {"vm_type", verd_vm_type_name(vm_type_of(entry))},
                 {"state", verd_state_name(selector.state)},
                 {"path", selector.path()},
                 {"health", entry.health}};
    if (verd_vm_type_has_sdr(selector.vm_type)) {
        json["sdr"] = selector.sdr;
    }
    if (entry.profile != nullptr) {
        const inst_sw_profile_info &body = entry.profile->sdr_sw_profile.sw_profile;
        json["image_name"] = text_json(body.image.name);
        json["version"] = text_json(body.version);
        json["package_count"] = body.packages_count;
        json["service_pack_count"] = body.sp_details_count;
    }
    return json;
}

void list_profiles(const bool &is_json)
{
    const std::vector<Entry> entries = read_repository();
    if (is_json) {
        print_json({{"profiles", list_json(entries, entry_json)}});
        return;
    }
    if (entries.empty()) {
        std::printf("no profiles\n");
        return;
    }
    std::vector<TableRow> rows = {{"SCOPE", "SDR", "VM", "STATE", "IMAGE", "VERSION", "PKGS", "SPS", "HEALTH"}};
    std::transform(entries.begin(), entries.end(), std::back_inserter(rows), table_row);
    print_table(rows);
}

} // namespace

void add_list(CLI::App &command)
{
    const auto [list, is_json] =
        new_subcommand<bool>(command, "list", "List all profiles of the repository, with their health", list_profiles);
    add_json_option(list, is_json);
    add_wait_options(list);
    list.footer("Health: ok, empty (counts as absent), damaged, unreadable, or not-regular (not a regular file).\n"
                "The global LC QX profile of an SDR is its global QX profile and is listed once.\n\n"
                "Examples:\n"
                "  swprofile list\n"
                "  swprofile list --json | jq '.profiles[] | select(.health != \"ok\") | .path'");
}
