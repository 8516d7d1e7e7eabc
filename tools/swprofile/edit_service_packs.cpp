#include "commands.h"
#include "edit.h"

namespace
{

using Operation = uint64_t (*)(const Selector &, serv_packs *);

void add_subcommand(CLI::App &command, const char *name, const char *help, const char *what, Operation operation)
{
    const auto options = std::make_shared<EditOptions>();
    options->is_new_format = true; // the old package rules know no service packs
    CLI::App *const subcommand = command.add_subcommand(name, help);
    subcommand
        ->add_option("FILE", options->service_pack_file,
                     "JSON: [{\"name\": \"SP1\", \"rpms\": [\"a-1-r1.x86_64.rpm\"]}]")
        ->required()
        ->check(file_fault);
    add_selector_options(*subcommand, options->selector);
    add_dry_run_option(*subcommand, options->is_dry_run);
    subcommand->footer(std::string("Example:\n  swprofile service-pack ") + name + " packs.json --dry-run");
    subcommand->callback([options, what, operation] {
        edit_profile(*options, what,
                     [&](serv_packs *packs, ErrorText &) { return operation(options->selector, packs); });
    });
}

} // namespace

void add_service_pack(CLI::App &command)
{
    CLI::App *const pack = command.add_subcommand("service-pack", "Record that service packs were added or removed");
    pack->require_subcommand(1);
    add_subcommand(*pack, "add", "Record service packs, and mark their packages", "add service packs to",
                   [](const Selector &s, serv_packs *packs) {
                       return inst_ldpath_add_swprofile_sps(s.sdr.c_str(), s.is_local, s.state, s.vm_type,
                                                            reinterpret_cast<uint64_t>(packs));
                   });
    add_subcommand(
        *pack, "remove",
        "Forget service packs, and unmark what no other one delivers; what the last one delivered stays marked",
        "remove service packs from", [](const Selector &s, serv_packs *packs) {
            return inst_ldpath_remove_swprofile_sps(s.sdr.c_str(), s.is_local, s.state, s.vm_type, packs);
        });
    pack->footer(
        "A package is marked when its name is part of the name of one of the RPMs; nothing is recorded when no\n"
        "package of the profile is. Only third-party and host-OS packages are unmarked.\n\n"
        "Examples:\n"
        "  swprofile service-pack add packs.json --dry-run\n"
        "  swprofile service-packs --json | jq .service_packs >packs.json");
}
