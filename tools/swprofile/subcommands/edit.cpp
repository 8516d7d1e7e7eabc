#include "subcommands/edit.h"

#include "profile/arrays.h"
#include "profile/findings.h"
#include "profile/names.h"
#include "profile/nodes.h"

#include <algorithm>
#include <cstdio>

namespace
{

// An edit can store a profile several times. A dry run writes nothing, so the record of each store has only the change
// of that store. Adds the differences of one store to those of the stores before it.
void add_differences(std::vector<Difference> &all, const std::vector<Difference> &added)
{
    std::ranges::copy_if(added, std::back_inserter(all),
                         [&](const Difference &difference) { return std::ranges::find(all, difference) == all.end(); });
}

void print_result(const EditOptions &options, const std::vector<Difference> &result)
{
    const char *const verb = result.empty() ? (options.is_dry_run ? "would change nothing in" : "nothing changes in")
                             : options.is_dry_run ? "would change"
                                                  : "changed";
    std::printf("%s the %s\n", verb, options.selector.describe().c_str());
    print_differences(result);
}

} // namespace

void add_edit_options(CLI::App &command, EditOptions &options)
{
    add_selector_options(command, options.selector);
    add_change_options(command, options.is_dry_run);
}

void add_rule_options(CLI::App &command, EditOptions &options, const std::string &service_packs_help)
{
    CLI::Option *const new_format =
        command.add_flag("--new-format", options.is_new_format, "apply the new package rules");
    command.add_option("--service-packs", options.service_pack_file, service_packs_help)
        ->type_name("FILE")
        ->needs(new_format);
}

void add_ignore_missing_option(CLI::App &command, EditOptions &options)
{
    command.add_flag("--ignore-missing", options.ignores_missing,
                     "succeed even if nothing changes or, for service-pack remove, a service pack is missing");
}

void check_names(const EditOptions &options, const inst_sw_profile_info &body, const inst_sw_profile_loc *location)
{
    const std::string place =
        location == nullptr ? options.selector.describe() : "location profile of " + nodes_text(nodes_of(*location));
    const std::span<char *> rpms = array_of(body.image, inst_swp_package_get_files);
    std::vector<const char *> names(rpms.begin(), rpms.end());
    std::ranges::transform(packages_of(body), std::back_inserter(names), &inst_swp_package::name);
    for (const char *const name : names) {
        if (options.is_new_format && name != nullptr && !is_name_version_release(name)) {
            throw Failure(INVALID_DATA, "the new package rules need names of the form name-version-release",
                          {"the " + place + " has '" + printable(name) + "'"},
                          options.selector.command(location == nullptr ? "remove " + printable(name) : "nodes"));
        }
    }
}

bool has_package(const inst_sw_profile_info &body, const std::string &package)
{
    return std::ranges::any_of(packages_of(body),
                               [&](const inst_swp_package &entry) { return printable(entry.name) == package; });
}

void run_edit(const Edit &edit)
{
    const EditOptions &options = edit.options;
    const Selector &selector = options.selector;
    const std::optional<std::string> &file = options.service_pack_file;
    const ServicePacks packs = file ? service_packs_of(read_json(*file), source_name(*file)) : nullptr;
    Change change(selector, options.is_dry_run);
    const Profile before = fetch_own(selector);
    selector.check_writable();
    if (edit.before_operation) {
        edit.before_operation(*before, packs.get());
    }
    std::vector<Difference> result;
    change.before_each_store([&](inst_sw_profile_sdr_ext &record) {
        if (edit.before_store) {
            edit.before_store(*before, record);
        }
        const std::vector<Difference> found = differences(*before, record);
        if (options.is_dry_run) {
            add_differences(result, found);
        } else {
            result = found; // each store includes the earlier ones
        }
    });
    g_inst_pkg_fmt_info.is_new_format = options.is_new_format ? 1 : 0;
    change.run(edit.what + " the " + selector.describe(), {selector},
               [&](ErrorText &error) { return edit.operation(packs.get(), error); });
    if (result.empty() && edit.failure_if_unchanged && !options.ignores_missing) {
        throw Failure(*edit.failure_if_unchanged);
    }
    print_result(options, result);
}

void unmark_after_last_service_pack(const inst_sw_profile_sdr_ext &before, inst_sw_profile_sdr_ext &after)
{
    const inst_sw_profile_info &body = before.sdr_sw_profile.sw_profile;
    if (!service_packs_of(body).empty() || !service_pack_names_of(body).empty()) {
        clear_marks_without_service_pack(after);
    }
}
