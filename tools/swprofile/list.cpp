#include "commands.h"
#include "frame/enumerations.h"
#include "location/vm_types.h"
#include "names.h"
#include "places.h"
#include "profile_json.h"
#include "table.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace
{

namespace fs = std::filesystem;

// A profile file of the repository; the profile is null when the file is empty or can't be decoded.
struct Entry {
    Selector selector;
    std::string health;
    Profile profile;
};

void add_entry(std::vector<Entry> &entries, const Selector &selector)
{
    std::error_code error;
    const std::string path = selector.path();
    const fs::file_status status = fs::status(path, error);
    if (status.type() == fs::file_type::not_found) {
        return;
    }
    Entry entry = {selector, "unreadable", nullptr};
    if (status.type() != fs::file_type::regular) {
        // not opened: a fifo would make us wait, and some can't be
    } else if (fs::file_size(path, error) == 0) {
        entry.health = "empty";
    } else {
        inst_sw_profile_sdr_ext *profile = nullptr;
        const uint64_t rc = inst_ldpath_get_swprofile(selector.sdr.c_str(), selector.is_local, selector.state,
                                                      selector.vm_type, &profile, nullptr);
        entry.profile.reset(profile);
        entry.health = rc == 0 ? "ok" : rc == INSTMGR_RC_INVALID_DATA ? "undecodable" : "unreadable";
    }
    entries.push_back(std::move(entry));
}

std::vector<Entry> read_repository()
{
    std::vector<Entry> entries;
    const auto note = [](const fs::path &directory) {
        std::fprintf(stderr, "swprofile: not listed, since it is no SDR's: %s\n", shown(directory.c_str()).c_str());
    };
    for (const Selector &selector : all_places(note)) {
        add_entry(entries, selector);
    }
    return entries;
}

// The global QX file may hold an LC QX profile.
uint32_t vm_type_of(const Entry &entry)
{
    return entry.profile == nullptr ? entry.selector.vm_type : entry.profile->sdr_sw_profile.vm_type;
}

TableRow human_row(const Entry &entry)
{
    const Selector &selector = entry.selector;
    TableRow row = {scope_name(selector.is_local), is_qx_based(selector.vm_type) ? selector.sdr : "-",
                    vm_type_name(vm_type_of(entry)), state_name(selector.state)};
    if (entry.profile == nullptr) {
        row.insert(row.end(), {"-", "-", "-", "-"});
    } else {
        const inst_sw_profile_info &body = entry.profile->sdr_sw_profile.sw_profile;
        row.insert(row.end(), {shown(body.image.name), shown(body.version), std::to_string(body.packages_count),
                               std::to_string(body.sp_details_count)});
    }
    row.push_back(entry.health);
    return row;
}

Json entry_json(const Entry &entry)
{
    const Selector &selector = entry.selector;
    Json json = {{"scope", scope_name(selector.is_local)},
                 {"sdr", is_qx_based(selector.vm_type) ? Json(selector.sdr) : Json()},
                 {"vm_type", vm_type_name(vm_type_of(entry))},
                 {"state", state_name(selector.state)},
                 {"path", selector.path()},
                 {"health", entry.health}};
    if (entry.profile != nullptr) {
        const inst_sw_profile_info &body = entry.profile->sdr_sw_profile.sw_profile;
        json["image"] = text_json(body.image.name);
        json["version"] = text_json(body.version);
        json["packages"] = body.packages_count;
        json["service_packs"] = body.sp_details_count;
    }
    return json;
}

void run(bool is_json)
{
    const std::vector<Entry> entries = read_repository();
    if (is_json) {
        Json profiles = Json::array();
        std::transform(entries.begin(), entries.end(), std::back_inserter(profiles), entry_json);
        print_json({{"schema", JSON_SCHEMA}, {"profiles", profiles}});
        return;
    }
    if (entries.empty()) {
        std::printf("no profiles\n");
        return;
    }
    std::vector<TableRow> rows = {{"SCOPE", "SDR", "VM", "STATE", "IMAGE", "VERSION", "PKGS", "SPS", "HEALTH"}};
    std::transform(entries.begin(), entries.end(), std::back_inserter(rows), human_row);
    std::printf("%s", format_table(rows).c_str());
}

} // namespace

void add_list(CLI::App &command)
{
    const auto is_json = std::make_shared<bool>(false);
    CLI::App *const list = command.add_subcommand("list", "List every profile of the repository, with its health");
    list->add_flag("--json", *is_json, "as JSON, schema 1");
    list->footer("Health: ok; empty (the file counts as absent); undecodable (damaged); unreadable.\n"
                 "The global LC QX profile of an SDR is its global QX profile and is listed once.\n\n"
                 "Examples:\n"
                 "  swprofile list\n"
                 "  swprofile list --json | jq '.profiles[] | select(.health != \"ok\") | .path'");
    list->callback([is_json] { run(*is_json); });
}
