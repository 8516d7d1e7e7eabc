#include "commands.h"
#include "selector.h"
#include "string_list.h"

namespace
{

// As the library numbers them.
enum Filter : uint32_t { HOST_SMUS = 0, NO_HOST_SMUS = 1, ALL = 2, NO_MEMBERS = 4 };

struct Options {
    Selector selector;
    Filter filter = ALL;
    bool skips_flagged = false;
    bool is_json = false;
};

void run(const Options &options)
{
    const Profile profile = options.selector.fetch();
    char *image = nullptr;
    StringList names;
    const uint64_t rc = inst_ldpath_get_swprofile_img_pkgs(profile.get(), &image, &names.list, &names.count,
                                                           options.filter, options.skips_flagged, nullptr);
    std::free(image);
    if (rc != 0) {
        throw rc == INST_RC_INVALID_ARG
            ? Failure(INVALID_DATA, "the image or a package of the " + options.selector.describe() + " has no name")
            : failure_of(rc, "can't list the packages", ErrorText());
    }
    print_list(names, "packages", options.is_json);
}

} // namespace

void add_packages(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const packages = command.add_subcommand("packages", "Print the names of a profile's packages");
    add_selector_options(*packages, options->selector);
    const auto add_filter = [&](const char *flag, Filter filter, const char *help) {
        return packages->add_flag_callback(
            flag, [options, filter] { options->filter = filter; }, help);
    };
    CLI::Option *const only = add_filter("--host-smus", HOST_SMUS, "host SMUs only");
    CLI::Option *const none = add_filter("--no-host-smus", NO_HOST_SMUS, "all but those")->excludes(only);
    add_filter("--no-members", NO_MEMBERS, "no members of service packs")->excludes(only)->excludes(none);
    packages->add_flag("--skip-flagged", options->skips_flagged, "no packages that are marked to be skipped");
    packages->add_flag("--json", options->is_json, "as JSON, schema 1");
    packages->footer("In the order in which they were added.\n\n"
                     "Examples:\n"
                     "  swprofile packages\n"
                     "  swprofile packages --vm admin --no-members\n"
                     "  swprofile packages --state prepared --json | jq '.packages | length'");
    packages->callback([options] { run(*options); });
}
