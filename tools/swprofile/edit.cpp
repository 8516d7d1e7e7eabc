#include "edit.h"

#include "names.h"
#include "request.h"
#include "service_pack_set.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

namespace
{

std::optional<uint32_t> parse_package_type(const std::string &text)
{
    constexpr std::pair<const char *, uint32_t> NAMES[] = {
        {"smu", VERD_PKG_SMU}, {"host-smu", VERD_PKG_HOST_SMU}, {"kernel", VERD_PKG_KERNEL}, {"base", VERD_PKG_BASE}};
    for (const auto &[name, type] : NAMES) {
        if (text == name) {
            return type;
        }
    }
    uint32_t type = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), type);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(type) : std::nullopt;
}

// When the last service pack goes, packages may stay marked.
void tell_left_members(const inst_sw_profile_sdr_ext &before, const inst_sw_profile_sdr_ext &after)
{
    using Info = inst_sw_profile_info;
    const Info &body = after.sdr_sw_profile.sw_profile;
    if (inst_sw_profile_info_has_sp_names(&body) ||
        !inst_sw_profile_info_has_sp_names(&before.sdr_sw_profile.sw_profile)) {
        return;
    }
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    const auto left = std::count_if(packages, packages + count, [](const inst_swp_package &package) {
        return inst_swp_package_has_is_sp_pkg(&package);
    });
    if (left != 0) {
        std::fprintf(stderr, "swprofile: note: no service pack is left; packages that stay marked as members: %td\n",
                     left);
    }
}

// A failed store may have removed the profile that was there.
void store_again(Failure &failure, const Selector &selector, const Profile &before)
{
    if (has_stored() && selector.is_lost()) {
        const uint64_t rc = inst_ldpath_store_sdr_swprofile(before.get(), selector.is_local, selector.state, nullptr,
                                                            selector.vm_type, nullptr);
        if (!selector.is_lost()) {
            failure.details.emplace_back("the profile was lost, and has been stored again as it was");
            if (rc != 0) {
                failure.details.emplace_back("but for its twin or its flat copies: see swprofile check");
            }
        }
    }
    selector.tell_loss(failure);
}

// What has been done all the same is told.
Failure edit_failure(uint64_t rc, const std::string &what, const Selector &selector, const Profile &before,
                     const ErrorText &error)
{
    Failure failure = failure_of(rc, "can't " + what + " the " + selector.describe(), error);
    store_again(failure, selector, before);
    try {
        for (const Change &change : changes_between(*before, *selector.fetch())) {
            failure.details.push_back("done all the same: " + text_of(change));
        }
    } catch (const Failure &) { // it is lost, or can't be read any more
    }
    failure.details.emplace_back("see /install_repo/log/install.log");
    return failure;
}

// Success may have been told of a profile that isn't there.
Profile fetch_edited(const Selector &selector, const Profile &before)
{
    try {
        return selector.fetch_stored();
    } catch (Failure &failure) {
        store_again(failure, selector, before);
        throw;
    }
}

} // namespace

std::string file_fault(const std::string &file)
{
    return file.empty() ? "no file given" : "";
}

void add_new_format_option(CLI::App &command, bool &is_new_format)
{
    command.add_flag("--new-format", is_new_format, "by the new package rules");
}

void add_package_type_option(CLI::App &command, uint32_t &type)
{
    command
        .add_option_function<std::string>(
            "--type", [&type](const std::string &text) { type = *parse_package_type(text); },
            "install package type: smu, host-smu, kernel, base, or 4, 6, 7, 8 and other numbers [base]")
        ->check([](const std::string &text) {
            return parse_package_type(text)
                       ? std::string()
                       : "'" + shown(text.c_str()) + "' isn't one; smu, host-smu, kernel, base or a number";
        });
}

CLI::Option *add_service_packs_option(CLI::App &command, std::string &file)
{
    return command
        .add_option("--service-packs", file,
                    "a JSON file of service packs: [{\"name\": \"SP1\", \"rpms\": [\"a-1-r1\"]}]")
        ->check(file_fault)
        ->needs("--new-format");
}

Profile run_edit(const Selector &selector, bool is_dry_run, const Profile &before, const std::string &what,
                 const std::function<uint64_t(ErrorText &)> &operation)
{
    const DryRun dry_run(is_dry_run, selector, *before);
    ErrorText error;
    const uint64_t rc = operation(error);
    if (rc != 0) {
        throw edit_failure(rc, what, selector, before, error);
    }
    return dry_run.print() ? nullptr : fetch_edited(selector, before);
}

void edit_profile(const EditOptions &options, const std::string &what,
                  const std::function<uint64_t(serv_packs *, ErrorText &)> &operation)
{
    const Selector &selector = options.selector;
    const Profile before = selector.fetch_to_edit();
    std::vector<ServicePackInput> inputs;
    if (!options.service_pack_file.empty()) {
        inputs = read_service_packs(options.service_pack_file);
    }
    ServicePackSet packs(inputs);
    g_inst_pkg_fmt_info.is_new_format = options.is_new_format ? 1 : 0;
    const Profile after = run_edit(selector, options.is_dry_run, before, what,
                                   [&](ErrorText &error) { return operation(packs.set(), error); });
    if (after == nullptr) {
        return;
    }
    const std::vector<Change> changes = changes_between(*before, *after);
    std::printf("%s the %s\n", changes.empty() ? "nothing changes in" : "changed", selector.describe().c_str());
    print_changes(changes);
    tell_left_members(*before, *after);
}
