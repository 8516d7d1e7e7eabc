#include "commands.h"
#include "edit.h"
#include "frame/enumerations.h"
#include "location/repository.h"
#include "names.h"
#include "nodes.h"
#include "request.h"
#include "service_pack_set.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>

namespace
{

namespace fs = std::filesystem;

struct Options {
    Selector selector;
    std::string package;
    uint32_t type = VERD_PKG_BASE;
    std::vector<inst_node_loc> nodes;
    bool is_for_all = false;
    bool is_new_format = false;
    bool is_dry_run = false;
    std::string service_pack_file;
};

// NAME, NAME.tar, NAME.x86_64.rpm; but NAME0.tar, NAME.2.tar and NAME-x.tar are other packages'.
bool is_bundle_of(const std::string &package, const std::string &file)
{
    const std::string rest = file.substr(package.size());
    return rest.empty() ||
           (rest.size() > 1 && rest[0] == '.' && std::isalpha(static_cast<unsigned char>(rest[1])) != 0);
}

// There must be a bundle to unpack, and a place to unpack it. The library takes the first file whose name begins with
// the package's, be it another package's.
void prepare_bundle(const Options &options)
{
    setenv("LC_ALL", "C", 1); // the order in which it lists them
    const std::string directory = repository::PACKAGES_DIRECTORY;
    std::set<std::string> files;
    std::error_code error;
    const fs::directory_iterator end;
    for (fs::directory_iterator at(directory, error); !error && at != end; at.increment(error)) {
        std::error_code ignored;
        const std::string name = at->path().filename();
        if (name.starts_with(options.package) && !at->is_directory(ignored)) {
            files.insert(name);
        }
    }
    if (files.empty()) {
        throw Failure(FAILED, "there is no bundle for " + options.package,
                      {"no file " + directory + options.package + "*"});
    }
    const std::string taken = shown(files.begin()->c_str());
    if (!is_bundle_of(options.package, *files.begin())) {
        throw Failure(FAILED, "can't find the bundle of " + options.package,
                      {"another package's would be taken: " + directory + taken});
    }
    if (files.size() > 1) {
        std::fprintf(stderr, "swprofile: note: of several bundles this one is taken: %s\n", taken.c_str());
    }
    fs::create_directories(repository::WORK_AREA, error);
    if (error) {
        throw Failure(FAILED, std::string("can't make ") + repository::WORK_AREA, {error.message()});
    }
}

std::set<std::string> packages_of(const inst_sw_profile_info &body)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    std::set<std::string> names;
    for (uint32_t i = 0; i < count; ++i) {
        names.insert(shown(packages[i].name));
    }
    return names;
}

std::set<std::string> packages_and_base_rpms_of(const inst_sw_profile_info &body)
{
    char **rpms = nullptr;
    const uint32_t count = inst_swp_package_get_files(&body.image, &rpms);
    std::set<std::string> names = packages_of(body);
    for (uint32_t i = 0; i < count; ++i) {
        names.insert(shown(rpms[i]));
    }
    return names;
}

const inst_sw_profile_info &main_body(const Profile &profile)
{
    return profile->sdr_sw_profile.sw_profile;
}

std::vector<const inst_sw_profile_loc *> locations_with(const std::string &package, const Profile &profile)
{
    std::vector<const inst_sw_profile_loc *> locations = locations_of(*profile);
    locations.erase(std::remove_if(locations.begin(), locations.end(),
                                   [&](const inst_sw_profile_loc *location) {
                                       return !packages_of(location->sw_profile).contains(package);
                                   }),
                    locations.end());
    return locations;
}

[[noreturn]] void fail_to_store(const Options &options)
{
    throw Failure(
        FAILED, "the " + options.selector.describe() + " wasn't changed",
        {"it couldn't be stored, or its locations couldn't take the package", "see /install_repo/log/install.log"});
}

void tell_all_nodes(const Options &options, const Profile &before, const Profile &after)
{
    if (!packages_of(main_body(after)).contains(options.package) || !locations_of(*after).empty()) {
        fail_to_store(options);
    }
    const bool was_there = packages_of(main_body(before)).contains(options.package);
    std::printf("%s %s the %s, for all nodes\n", options.package.c_str(), was_there ? "was already in" : "is now in",
                options.selector.describe().c_str());
    const std::set<std::string> names = packages_and_base_rpms_of(main_body(after));
    for (const std::string &name : packages_and_base_rpms_of(main_body(before))) {
        if (!names.contains(name)) {
            std::printf("  it supersedes %s, which is gone\n", name.c_str());
        }
    }
    const std::size_t dropped = locations_of(*before).size();
    if (dropped != 0) {
        std::printf("  %zu location profile%s gone\n", dropped, dropped == 1 ? " is" : "s are");
    }
}

void tell_nodes(const Options &options, const Profile &before, const Profile &after)
{
    const std::vector<const inst_sw_profile_loc *> locations = locations_with(options.package, after);
    const std::vector<inst_node_loc> missing = nodes_missing_in(locations, options.nodes);
    const std::size_t without = locations_of(*after).size() - locations.size();
    const bool had_package = !locations_with(options.package, before).empty(); // so the nodes had one to join
    if (locations.empty() || (had_package && !missing.empty())) {
        fail_to_store(options);
    }
    std::printf("%s is now in the %s, for\n", options.package.c_str(), options.selector.describe().c_str());
    for (const inst_sw_profile_loc *const location : locations) {
        std::printf("  %s\n", nodes_text(nodes_of(*location)).c_str());
    }
    if (without != 0) {
        std::fprintf(stderr, "swprofile: note: %zu location profile%s without the package\n", without,
                     without == 1 ? " is" : "s are");
    }
    if (!missing.empty()) {
        std::fprintf(
            stderr,
            "swprofile: note: %s: not among them\n"
            "  the location profiles that could take the package got it; none had it before, so no nodes joined one\n",
            nodes_text(missing).c_str());
    }
}

void run(Options &options)
{
    const Selector &selector = options.selector;
    if (options.nodes.empty() != options.is_for_all) {
        throw Failure(USAGE, "for which nodes?", {"give --node once a node, or --all-nodes"});
    }
    const Profile before = selector.fetch_to_edit();
    std::vector<ServicePackInput> inputs;
    if (!options.service_pack_file.empty()) {
        inputs = read_service_packs(options.service_pack_file);
    }
    if (comes_as_bundle(options.type, options.is_new_format)) {
        prepare_bundle(options);
    }
    // Nodes that have it already would be listed twice; it is left to the library when others might get it.
    std::vector<inst_node_loc> nodes = options.nodes;
    const auto locations = locations_of(*before);
    const auto joined = locations_with(options.package, before);
    if (!options.is_for_all && !joined.empty() && joined.front() == locations.front()) {
        nodes = nodes_missing_in({joined.front()}, nodes);
        if (nodes.empty()) {
            std::printf("nothing changes in the %s: these nodes have it\n", selector.describe().c_str());
            return;
        }
    }
    ServicePackSet packs(inputs);
    g_inst_pkg_fmt_info.is_new_format = options.is_new_format ? 1 : 0;
    const Profile after =
        run_edit(selector, options.is_dry_run, before, "add " + options.package + " to", [&](ErrorText &) {
            return inst_ldpath_add_pkg_location(selector.sdr.c_str(), selector.is_local, selector.state,
                                                selector.vm_type, nodes.data(), static_cast<uint32_t>(nodes.size()),
                                                options.package.c_str(), 0, options.type, packs.source());
        });
    if (after == nullptr) {
        return;
    }
    if (options.is_for_all) {
        tell_all_nodes(options, before, after);
    } else {
        tell_nodes(options, before, after);
    }
}

} // namespace

void add_add_for_nodes(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const add = command.add_subcommand("add-for-nodes", "Add a package for some nodes, or for all");
    add->add_option("PACKAGE", options->package, "name-version-release")->required()->check(name_fault);
    add_package_type_option(*add, options->type);
    CLI::Option *const node = add_node_option(*add, options->nodes);
    add->add_flag("--all-nodes", options->is_for_all, "for all nodes; location profiles are dropped")->excludes(node);
    add_new_format_option(*add, options->is_new_format);
    add_service_packs_option(*add, options->service_pack_file);
    add_selector_options(*add, options->selector);
    add_dry_run_option(*add, options->is_dry_run);
    add->footer(
        "Types smu and kernel, and by the new rules host-smu and base, are bundles of RPMs, tar files in\n"
        "/install_repo/gl/verdalis/ whose names begin with that of the package. They are unpacked in "
        "/install_repo/tmp/, in which all else\n"
        "goes; so also by a dry run.\n\n"
        "With --node: the first location profile that has the package already gets the nodes; those before it get\n"
        "the package. If none has it, all that can take it get it. The nodes get a location profile of their own\n"
        "only if there is none yet.\n\n"
        "Examples:\n"
        "  swprofile add-for-nodes qx-routing-1.5.0-r1 --type smu --node 0/1/0 --node 0/2/0\n"
        "  swprofile add-for-nodes kelo-hostos-7.1-r2 --new-format --all-nodes --vm admin");
    add->callback([options] { run(*options); });
}
