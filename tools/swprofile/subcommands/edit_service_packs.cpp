#include "profile/arrays.h"
#include "profile/names.h"
#include "subcommands/commands.h"
#include "subcommands/edit.h"

#include <algorithm>
#include <cstring>

namespace
{

bool has_service_pack(const inst_sw_profile_sdr_ext &profile, const char *name)
{
    const inst_sw_profile_info &body = profile.sdr_sw_profile.sw_profile;
    const auto is_it = [name](const char *other) { return other != nullptr && std::strcmp(other, name) == 0; };
    return std::ranges::any_of(service_pack_names_of(body), is_it) ||
           std::ranges::any_of(service_packs_of(body), is_it, &sp_detail::sp_name);
}

void check_recorded(const Selector &selector, const inst_sw_profile_sdr_ext &profile, const serv_packs *packs)
{
    for (const service_pack &removed : service_packs_of(packs)) {
        if (!has_service_pack(profile, removed.sp_name)) {
            throw Failure(FAILED,
                          "there is no service pack " + printable(removed.sp_name) + " in the " + selector.describe(),
                          {}, selector.command("service-packs"));
        }
    }
}

void add(const EditOptions &options)
{
    const Selector &selector = options.selector;
    Edit edit = {options, "add service packs to", [&](serv_packs *packs, ErrorText &) {
                     return selector.call(inst_ldpath_add_swprofile_sps, reinterpret_cast<uint64_t>(packs));
                 }};
    edit.failure_if_unchanged =
        Failure(FAILED, "nothing to add to the " + selector.describe(),
                {"no RPM of the service packs contains the name of a package, or they are recorded already"},
                selector.command("packages"));
    run_edit(edit);
}

void remove(const EditOptions &options)
{
    const Selector &selector = options.selector;
    Edit edit = {options, "remove service packs from", [&](serv_packs *packs, ErrorText &) {
                     return selector.call(inst_ldpath_remove_swprofile_sps, packs);
                 }};
    edit.before_operation = [&](const inst_sw_profile_sdr_ext &before, const serv_packs *packs) {
        if (!options.ignores_missing) {
            check_recorded(selector, before, packs);
        }
    };
    edit.before_store = unmark_after_last_service_pack;
    run_edit(edit);
}

void add_subcommand(CLI::App &command, const char *name, const char *help, void (*run)(const EditOptions &))
{
    const auto [subcommand, options] = new_subcommand<EditOptions>(command, name, help, run);
    options.is_new_format = true; // service packs require the new package rules
    subcommand
        .add_option("FILE", options.service_pack_file, "JSON: [{\"name\": \"SP1\", \"rpms\": [\"a-1-r1.x86_64.rpm\"]}]")
        ->required();
    add_ignore_missing_option(subcommand, options);
    add_edit_options(subcommand, options);
    subcommand.footer(std::string("Example:\n  swprofile service-pack ") + name + " packs.json --dry-run");
}

} // namespace

void add_service_pack(CLI::App &command)
{
    CLI::App *const pack =
        command.add_subcommand("service-pack", "Record that service packs were installed or removed");
    pack->require_subcommand(1);
    add_subcommand(*pack, "add", "Record service packs, and mark their packages", add);
    add_subcommand(*pack, "remove", "Remove service packs, and unmark their packages", remove);
    pack->footer(
        "A package belongs to an RPM if its name is part of the RPM's name. 'add' marks the packages that belong to "
        "an\n"
        "RPM of the service packs; if there are none, nothing is recorded. While other service packs remain, 'remove'\n"
        "unmarks a package only if it belongs to a third-party or host-OS RPM of a removed service pack, and no\n"
        "remaining one delivers that RPM. Removing the last service pack unmarks all packages.\n\n"
        "Examples:\n"
        "  swprofile service-pack add packs.json --dry-run\n"
        "  swprofile service-packs --json | jq .service_packs >packs.json");
}
