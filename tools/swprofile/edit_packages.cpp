#include "commands.h"
#include "edit.h"
#include "names.h"

namespace
{

struct Options {
    EditOptions edit;
    std::string package;
    std::vector<std::string> files; // of the package; or host packages
    uint32_t type = VERD_PKG_BASE;
};

std::vector<char *> pointers_to(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    for (std::string &text : texts) {
        pointers.push_back(text.data());
    }
    return pointers;
}

void add(Options &options)
{
    const Selector &selector = options.edit.selector;
    const std::vector<char *> rpms = pointers_to(options.files);
    edit_profile(options.edit, "add " + options.package + " to", [&](serv_packs *packs, ErrorText &error) {
        return inst_ldpath_add_swprofile_pkgs(selector.sdr.c_str(), selector.is_local, selector.state, selector.vm_type,
                                              options.package.c_str(), rpms.data(), static_cast<uint32_t>(rpms.size()),
                                              0, options.type, reinterpret_cast<uint64_t>(packs), error.slot());
    });
}

void remove(const Options &options)
{
    const Selector &selector = options.edit.selector;
    edit_profile(options.edit, "remove " + options.package + " from", [&](serv_packs *packs, ErrorText &error) {
        return inst_ldpath_remove_swprofile_pkgs(selector.sdr.c_str(), selector.is_local, selector.state,
                                                 selector.vm_type, options.package.c_str(), packs, error.slot());
    });
}

void add_host(Options &options)
{
    const Selector &selector = options.edit.selector;
    const std::vector<char *> files = pointers_to(options.files);
    edit_profile(options.edit, "add host packages to", [&](serv_packs *packs, ErrorText &) {
        return instcomm_add_host_pkgs_to_swp(selector.state, nullptr, selector.is_local,
                                             static_cast<uint32_t>(files.size()), files.data(),
                                             reinterpret_cast<uint64_t>(packs));
    });
}

// A path whose directories and file have usable names.
std::string path_fault(const std::string &path)
{
    const std::string fault = text_fault(path);
    return fault.empty() ? name_fault(path.substr(path.rfind('/') + 1)) : fault;
}

} // namespace

void add_add(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const subcommand = command.add_subcommand("add", "Add a package to a profile");
    subcommand->add_option("PACKAGE", options->package, "name-version-release")->required()->check(name_fault);
    subcommand->add_option("--rpm", options->files, "an RPM file that makes it up; give it once a file")
        ->allow_extra_args(false)
        ->check(path_fault);
    add_package_type_option(*subcommand, options->type);
    add_new_format_option(*subcommand, options->edit.is_new_format);
    add_service_packs_option(*subcommand, options->edit.service_pack_file);
    add_selector_options(*subcommand, options->edit.selector);
    add_dry_run_option(*subcommand, options->edit.is_dry_run);
    subcommand->footer(
        "By the new rules what the package supersedes goes, and a package that a service pack delivers is\n"
        "marked as its member. For nodes, and from bundles: see add-for-nodes.\n\n"
        "Examples:\n"
        "  swprofile add qx-telemetry-1.6.0-r1 --rpm qx-telemetry-core-1.6.0-r1.x86_64.rpm --dry-run\n"
        "  swprofile add kelo-hostos-7.1-r2 --new-format --vm admin");
    subcommand->callback([options] { add(*options); });
}

void add_remove(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const subcommand = command.add_subcommand("remove", "Remove a package, or a base RPM, from a profile");
    subcommand->add_option("PACKAGE", options->package, "its name")->required()->check(name_fault);
    add_new_format_option(*subcommand, options->edit.is_new_format);
    add_service_packs_option(*subcommand, options->edit.service_pack_file)
        ->description("a JSON file of the service packs that go with it");
    add_selector_options(*subcommand, options->edit.selector);
    add_dry_run_option(*subcommand, options->edit.is_dry_run);
    subcommand->footer("Every package of that name goes or, if there is none, every base RPM. By the new rules an\n"
                       "architecture behind the name doesn't count.\n\n"
                       "Example:\n"
                       "  swprofile remove qx-telemetry-1.6.0-r1 --dry-run");
    subcommand->callback([options] { remove(*options); });
}

void add_add_host(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    options->edit.selector.vm_type = VERD_VM_ADMIN;
    CLI::App *const subcommand = command.add_subcommand("add-host", "Add host packages to the Admin profile");
    subcommand->add_option("FILE", options->files, "an RPM file, or its name")->required()->check(path_fault);
    add_state_option(*subcommand, "--state", options->edit.selector.state);
    add_scope_option(*subcommand, options->edit.selector);
    add_new_format_option(*subcommand, options->edit.is_new_format);
    add_service_packs_option(*subcommand, options->edit.service_pack_file);
    add_dry_run_option(*subcommand, options->edit.is_dry_run);
    subcommand->footer(
        "Each is stored by itself, in turn; the first that fails ends it, and those before it stay. A dry run\n"
        "compares each with the profile as it is stored. A file that is neither a host nor a third-party\n"
        "package is added as what the one before it was.\n\n"
        "Example:\n"
        "  swprofile add-host /media/kelo-host-7.1-r2.x86_64.rpm /media/tp-ssh-1.0-r1.noarch.rpm");
    subcommand->callback([options] { add_host(*options); });
}
