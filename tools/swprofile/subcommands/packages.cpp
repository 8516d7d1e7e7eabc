// The subcommands that print the image or packages of a profile.
#include "profile/names.h"
#include "profile/options.h"
#include "profile/output.h"
#include "safety/lock.h"
#include "subcommands/commands.h"

#include <cstdio>
#include <cstring>

namespace
{

struct PackageQueryOptions {
    Selector selector;
    std::string package;
    uint32_t filter = VERD_FILTER_ALL;
    bool skips_flagged = false;
    bool is_json = false;
};

void print_image(const PackageQueryOptions &options)
{
    const Profile profile = fetch_locked(options.selector);
    char *name = nullptr;
    const uint64_t rc = inst_ldpath_get_swprofile_image(profile.get(), &name);
    if (rc == INST_RC_NO_MEMORY) {
        throw failure_of(rc, "cannot read the image");
    }
    if (name == nullptr) {
        throw Failure(INVALID_DATA, "the " + options.selector.describe() + " has no image name");
    }
    std::printf("%s\n", printable(name).c_str());
    std::free(name);
}

void print_packages(const PackageQueryOptions &options)
{
    const Profile profile = fetch_locked(options.selector);
    char *image = nullptr;
    StringList names;
    const uint64_t rc = inst_ldpath_get_swprofile_img_pkgs(profile.get(), &image, &names.list, &names.count,
                                                           options.filter, options.skips_flagged, nullptr);
    std::free(image);
    if (rc != 0) {
        throw rc == INST_RC_INVALID_ARG
            ? Failure(INVALID_DATA, "the image or a package of the " + options.selector.describe() + " has no name")
            : failure_of(rc, "cannot list the packages");
    }
    print_list(names, "names", options.is_json);
}

bool find_rpms(const Selector &active, const std::string &name, StringList &rpms)
{
    uint8_t is_found = 0;
    ErrorText error;
    const uint64_t rc =
        active.call(inst_swp_get_package_rpms, name.c_str(), &is_found, &rpms.list, &rpms.count, error.slot());
    if (rc != 0) {
        throw active.fetch_failure(rc, error);
    }
    return is_found != 0;
}

void print_rpms(const PackageQueryOptions &options)
{
    const Selector &active = options.selector;
    StringList rpms;
    std::string bare = options.package; // stored names usually lack the architecture
    instcomm_strip_arch_from_package_name(bare.data());
    bare.resize(std::strlen(bare.c_str()));
    std::optional<ReadLock> lock(active.is_local);
    active.check_readable();
    if (!find_rpms(active, options.package, rpms) && !find_rpms(active, bare, rpms)) {
        throw Failure(FAILED, "there is no " + printable(bare.c_str()) + " in the " + active.describe(), {},
                      active.command("packages"));
    }
    lock.reset(); // output may wait for a pager
    if (rpms.count == 0) {
        note("no RPMs are recorded for it");
    }
    print_list(rpms, "rpms", options.is_json);
}

void answer_has(const PackageQueryOptions &options)
{
    use_answer_codes();
    const Selector &active = options.selector;
    const ReadLock lock(active.is_local);
    active.check_readable();
    uint8_t is_present = 0;
    const uint64_t rc = active.call(inst_swp_is_pkg_present, options.package.c_str(), &is_present);
    if (rc != 0) {
        throw active.fetch_failure(rc, ErrorText());
    }
    std::printf("%s\n", is_present != 0 ? "yes" : "no");
    answer(is_present != 0);
}

// Adds a subcommand that reads one profile. Those that name a package look at the active profile.
NewSubcommand<PackageQueryOptions> add_query(CLI::App &command, const char *name, const char *help,
                                             const char *package_help, void (*run)(const PackageQueryOptions &))
{
    const auto query = new_subcommand<PackageQueryOptions>(command, name, help, run);
    if (package_help == nullptr) {
        add_selector_options(query.app, query.options.selector);
    } else {
        query.app.add_option("PACKAGE", query.options.package, package_help)->required()->check(name_fault);
        add_profile_options(query.app, query.options.selector);
    }
    add_wait_options(query.app);
    return query;
}

} // namespace

void add_image(CLI::App &command)
{
    add_query(command, "image", "Print the name of a profile's image", nullptr, print_image)
        .app.footer("Example:\n"
                    "  swprofile image --state prepared");
}

void add_packages(CLI::App &command)
{
    const auto query =
        add_query(command, "packages", "Print the names of a profile's packages", nullptr, print_packages);
    PackageQueryOptions &options = query.options;
    const auto add_filter = [&](const char *flag, uint32_t filter, const char *help) {
        return query.app.add_flag_callback(
            flag, [&options, filter] { options.filter = filter; }, help);
    };
    CLI::Option *const only = add_filter("--host-smus", VERD_FILTER_HOST_SMUS, "host SMUs only");
    CLI::Option *const none =
        add_filter("--no-host-smus", VERD_FILTER_NO_HOST_SMUS, "all except host SMUs")->excludes(only);
    add_filter("--no-members", VERD_FILTER_NO_MEMBERS, "no members of service packs")->excludes(only)->excludes(none);
    query.app.add_flag("--skip-flagged", options.skips_flagged, "leave out packages whose field 'marker' is true");
    add_json_option(query.app, options.is_json);
    query.app.footer("In the order in which they were added.\n\n"
                     "Examples:\n"
                     "  swprofile packages\n"
                     "  swprofile packages --vm admin --no-members\n"
                     "  swprofile packages --state prepared --json | jq '.names | length'");
}

void add_rpms(CLI::App &command)
{
    const auto query =
        add_query(command, "rpms", "Print the RPM files of an active package", "name-version-release", print_rpms);
    add_json_option(query.app, query.options.is_json);
    query.app.footer("Example:\n"
                     "  swprofile rpms qx-routing-1.4.0-r1");
}

void add_has(CLI::App &command)
{
    add_query(command, "has", "Is a package active? Exit code 0: yes, 1: no",
              "its name as stored; an architecture suffix is ignored", answer_has)
        .app.footer("Example:\n"
                    "  if swprofile has qx-routing-1.4.0-r1 >/dev/null; then echo it runs; fi");
}
