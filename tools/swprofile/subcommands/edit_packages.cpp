#include "profile/arrays.h"
#include "profile/names.h"
#include "subcommands/commands.h"
#include "subcommands/edit.h"

#include <algorithm>

namespace
{

struct PackageEditOptions {
    EditOptions edit;
    std::string package;
    std::vector<std::string> files; // of the package; for add-host, the host packages
    uint32_t type = VERD_PKG_BASE;
};

std::vector<char *> pointers_to(std::vector<std::string> &texts)
{
    std::vector<char *> pointers;
    std::ranges::transform(texts, std::back_inserter(pointers), [](std::string &text) { return text.data(); });
    return pointers;
}

auto names_checker(const EditOptions &options)
{
    return [&options](const inst_sw_profile_sdr_ext &before, const serv_packs *) {
        check_names(options, before.sdr_sw_profile.sw_profile);
    };
}

void add_package(PackageEditOptions &options)
{
    const std::vector<char *> rpms = pointers_to(options.files);
    Edit edit = {options.edit, "add " + options.package + " to", [&](serv_packs *packs, ErrorText &error) {
                     return options.edit.selector.call(inst_ldpath_add_swprofile_pkgs, options.package.c_str(),
                                                       rpms.data(), static_cast<uint32_t>(rpms.size()), uint64_t{0},
                                                       options.type, reinterpret_cast<uint64_t>(packs), error.slot());
                 }};
    edit.before_operation = names_checker(options.edit);
    edit.before_store = [&](const inst_sw_profile_sdr_ext &before, const inst_sw_profile_sdr_ext &after) {
        const inst_sw_profile_info &old = before.sdr_sw_profile.sw_profile;
        const bool is_added = packages_of(after.sdr_sw_profile.sw_profile).size() > packages_of(old).size();
        if (!rpms.empty() && has_package(old, options.package) && !is_added) {
            note(options.package + " exists already; its list of RPM files is not changed");
        }
    };
    run_edit(edit);
}

void remove_package(const PackageEditOptions &options)
{
    const Selector &selector = options.edit.selector;
    Edit edit = {options.edit, "remove " + options.package + " from", [&](serv_packs *packs, ErrorText &error) {
                     return selector.call(inst_ldpath_remove_swprofile_pkgs, options.package.c_str(), packs,
                                          error.slot());
                 }};
    edit.before_store = unmark_after_last_service_pack;
    edit.failure_if_unchanged = Failure(FAILED, "there is no " + options.package + " in the " + selector.describe(), {},
                                        selector.command("packages"));
    run_edit(edit);
}

void add_host(PackageEditOptions &options)
{
    const Selector &selector = options.edit.selector;
    const std::vector<char *> files = pointers_to(options.files);
    Edit edit = {options.edit, "add host packages to", [&](serv_packs *packs, ErrorText &) {
                     return instcomm_add_host_pkgs_to_swp(selector.state, nullptr, selector.is_local,
                                                          static_cast<uint32_t>(files.size()), files.data(),
                                                          reinterpret_cast<uint64_t>(packs));
                 }};
    edit.before_operation = names_checker(options.edit);
    run_edit(edit);
}

// The fault of a path: characters other than printable ASCII, or what `fault_of` finds in its last component; "" if it
// is valid.
template <std::string (*fault_of)(const std::string &)> std::string path_fault(const std::string &path)
{
    const std::string fault = text_fault(path);
    return fault.empty() ? fault_of(path.substr(path.rfind('/') + 1)) : fault;
}

} // namespace

void add_add(CLI::App &command)
{
    const auto [subcommand, options] =
        new_subcommand<PackageEditOptions>(command, "add", "Add a package to a profile", add_package);
    subcommand.add_option("PACKAGE", options.package, "name-version-release")->required()->check(package_fault);
    subcommand.add_option("--rpm", options.files, "an RPM file of the package; repeat for each file")
        ->type_name("FILE")
        ->allow_extra_args(false)
        ->check(path_fault<name_fault>);
    add_install_type_option(subcommand, options.type);
    add_rule_options(subcommand, options.edit, "JSON file of the service packs that deliver it");
    add_edit_options(subcommand, options.edit);
    subcommand.footer(
        "Under the new rules, packages that the new one supersedes are removed. The service packs of --service-packs\n"
        "that deliver the new one are recorded, and it is marked as a member. To add a package for some nodes or from\n"
        "a bundle, use add-for-nodes.\n\n"
        "Examples:\n"
        "  swprofile add qx-telemetry-1.6.0-r1 --rpm qx-telemetry-core-1.6.0-r1.x86_64.rpm --dry-run\n"
        "  swprofile add kelo-hostos-7.1-r2 --new-format --vm admin");
}

void add_remove(CLI::App &command)
{
    const auto [subcommand, options] = new_subcommand<PackageEditOptions>(
        command, "remove", "Remove a package, or a base RPM, from a profile", remove_package);
    subcommand.add_option("PACKAGE", options.package, "its name")->required()->check(name_fault);
    add_rule_options(subcommand, options.edit, "JSON file of the service packs that are removed with it");
    add_ignore_missing_option(subcommand, options.edit);
    add_edit_options(subcommand, options.edit);
    subcommand.footer(
        "Every package of that name is removed or, if there is none, every base RPM of that name. Under the new "
        "rules,\n"
        "an architecture suffix is ignored. If neither exists, nothing changes, and the exit code is 1.\n\n"
        "Example:\n"
        "  swprofile remove qx-telemetry-1.6.0-r1 --dry-run");
}

void add_add_host(CLI::App &command)
{
    const auto [subcommand, options] =
        new_subcommand<PackageEditOptions>(command, "add-host", "Add host packages to the Admin profile", add_host);
    EditOptions &edit = options.edit;
    edit.selector.vm_type = VERD_VM_ADMIN;
    subcommand.add_option("FILE", options.files, "an RPM file, or its name")
        ->required()
        ->check(path_fault<package_fault>);
    add_state_option(subcommand, "--state", edit.selector.state);
    add_scope_option(subcommand, edit.selector);
    add_rule_options(subcommand, edit, "JSON file of the service packs that deliver them");
    add_change_options(subcommand, edit.is_dry_run);
    subcommand.footer(
        "All are added or none. A file that is neither a host SMU nor a third-party package by its name gets the\n"
        "type of the preceding file, or base if it is the first. A dry run stores nothing: it shows what\n"
        "each file alone would change in the stored profile, as if the preceding files were not added.\n\n"
        "Example:\n"
        "  swprofile add-host /media/kelo-host-7.1-r2.x86_64.rpm /media/tp-ssh-1.0-r1.noarch.rpm");
}
