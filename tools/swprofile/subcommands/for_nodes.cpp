// The subcommands that edit location profiles.
#include "profile/names.h"
#include "profile/nodes.h"
#include "subcommands/commands.h"
#include "subcommands/edit.h"

#include <algorithm>
#include <cstdlib>
#include <set>

namespace
{

namespace fs = std::filesystem;

struct ForNodesOptions {
    EditOptions edit;
    std::string package;
    std::string image;
    std::string version; // of the image
    uint32_t type = VERD_PKG_BASE;
    std::vector<inst_node_loc> nodes;
    bool is_for_all = false;
    bool joins = false;
};

bool comes_as_bundle(const ForNodesOptions &options)
{
    return verd_pkg_type_is_bundle(options.type, options.edit.is_new_format);
}

// NAME, NAME.tar, NAME.x86_64.rpm; but NAME0.tar, NAME.2.tar and NAME-x.tar are bundles of other packages.
bool is_bundle_of(const std::string &package, const std::string &file)
{
    const std::string rest = file.substr(package.size());
    return rest.empty() ||
           (rest.size() > 1 && rest[0] == '.' && std::isalpha(static_cast<unsigned char>(rest[1])) != 0);
}

// Requires a bundle to unpack, and creates the work area. The library takes the first file whose name begins with the
// package's, even if it is the bundle of another package.
void prepare_bundle(const ForNodesOptions &options)
{
    setenv("LC_ALL", "C", 1); // the order of the library's ls
    const std::string directory = VERD_PACKAGES_DIRECTORY;
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
        throw Failure(FAILED, "there is no bundle of " + options.package,
                      {"no file " + directory + options.package + "*"}, "ls " + directory);
    }
    const std::string taken = printable(files.begin()->c_str());
    if (!is_bundle_of(options.package, *files.begin())) {
        throw Failure(FAILED, "cannot find the bundle of " + options.package,
                      {"the bundle of another package would be used: " + directory + taken}, "ls " + directory);
    }
    if (files.size() > 1) {
        note("there are several bundles; this one is used: " + taken);
    }
    if (!options.edit.is_dry_run && !fs::create_directories(VERD_WORK_AREA, error) && error) {
        throw Failure(FAILED, std::string("cannot create ") + VERD_WORK_AREA, {error.message()});
    }
}

// The first location profile for which `has` is true; null if there is none.
template <class Has>
const inst_sw_profile_loc *location_with(const std::string &name, const inst_sw_profile_sdr_ext &profile, Has has)
{
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        if (has(location.sw_profile, name)) {
            return &location;
        }
    }
    return nullptr;
}

// The nodes whose location profile has the package.
std::vector<inst_node_loc> nodes_with(const std::string &package, const inst_sw_profile_sdr_ext &profile)
{
    std::vector<inst_node_loc> nodes;
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        if (has_package(location.sw_profile, package)) {
            const std::span<inst_node_loc> own = nodes_of(location);
            nodes.insert(nodes.end(), own.begin(), own.end());
        }
    }
    return nodes;
}

// If location profiles exist, the library adds the package to one after the other until one has it already; the given
// nodes join that one. If none has it, they join none. So other nodes may get the package, and given nodes may not.
void check_nodes(const ForNodesOptions &options, const inst_sw_profile_sdr_ext &before,
                 const inst_sw_profile_sdr_ext &after)
{
    const std::vector<inst_node_loc> have_it = nodes_with(options.package, after);
    const std::vector<inst_node_loc> others =
        nodes_without(nodes_without(have_it, nodes_with(options.package, before)), options.nodes);
    const std::vector<inst_node_loc> missing = nodes_without(options.nodes, have_it);
    if (others.empty() && missing.empty()) {
        return;
    }
    std::vector<std::string> reasons;
    if (!others.empty()) {
        reasons.push_back("nodes that would get it as well: " + nodes_text(others));
    }
    if (!missing.empty()) {
        reasons.push_back("nodes that would not get it: " + nodes_text(missing));
    }
    if (!options.joins) {
        reasons.emplace_back("--join adds it anyway");
        throw Failure(FAILED,
                      "the location profiles that exist do not allow " + options.package + " for these nodes only",
                      reasons, options.edit.selector.command("nodes"));
    }
    std::for_each(reasons.begin(), reasons.end(), note);
}

void add_package_for_nodes(ForNodesOptions &options)
{
    if (options.nodes.empty() != options.is_for_all) {
        throw Failure(USAGE, "no nodes given", {"give --node for each node, or --all-nodes"});
    }
    std::vector<inst_node_loc> nodes = options.nodes;
    const inst_sw_profile_loc *joined = nullptr; // the first location profile of the old profile that has the package
    Edit edit = {options.edit, "add " + options.package + " to", [&](serv_packs *packs, ErrorText &) {
                     if (nodes.empty() && !options.is_for_all) {
                         return uint64_t{0};
                     }
                     return options.edit.selector.call(inst_ldpath_add_pkg_location, nodes.data(),
                                                       static_cast<uint32_t>(nodes.size()), options.package.c_str(),
                                                       uint64_t{0}, options.type, reinterpret_cast<uint64_t>(packs));
                 }};
    std::optional<DirectoryLock> work_area_lock; // both scopes use the same work area
    edit.before_operation = [&](const inst_sw_profile_sdr_ext &before, const serv_packs *) {
        if (options.is_for_all || locations_of(before).empty()) {
            check_names(options.edit, before.sdr_sw_profile.sw_profile);
        } else {
            for (const inst_sw_profile_loc &location : locations_of(before)) {
                check_names(options.edit, location.sw_profile, &location);
            }
        }
        if (comes_as_bundle(options)) {
            prepare_bundle(options);
            if (!options.edit.is_dry_run) {
                work_area_lock.emplace(fs::path(VERD_WORK_AREA).parent_path(), LockMode::UNQUEUED);
            }
        }
        joined = location_with(options.package, before, has_package);
        if (joined != nullptr) {
            nodes = nodes_without(nodes, nodes_of(*joined)); // the library would list a node again
        }
    };
    edit.before_store = [&](const inst_sw_profile_sdr_ext &before, const inst_sw_profile_sdr_ext &after) {
        if (!options.is_for_all) {
            check_nodes(options, before, after);
        }
        if (!options.is_for_all && joined != nullptr && joined->sw_profile.packages_count > 1) {
            note("the nodes join the location profile of " + nodes_text(nodes_of(*joined)) +
                 ", with all of its content");
        }
    };
    run_edit(edit);
}

bool has_image(const inst_sw_profile_info &body, const std::string &image)
{
    const char *const name = body.image.name;
    return name != nullptr && std::string(name).starts_with(image);
}

// The nodes to be added. If location profiles exist, nodes can only join one that has the image.
std::vector<inst_node_loc> nodes_to_add(const ForNodesOptions &options, const inst_sw_profile_sdr_ext &before)
{
    if (locations_of(before).empty()) {
        if (options.version.empty()) {
            throw Failure(USAGE, "no version given", {"a new location profile needs --version"});
        }
        return options.nodes;
    }
    const inst_sw_profile_loc *const joined = location_with(options.image, before, has_image);
    if (joined == nullptr) {
        throw Failure(FAILED,
                      "no location profile of the " + options.edit.selector.describe() + " has the image " +
                          options.image,
                      {"nodes can only join one that has it"}, options.edit.selector.command("nodes"));
    }
    const std::string version = printable(joined->sw_profile.version);
    if (!options.version.empty() && options.version != version) {
        throw Failure(FAILED, "the location profile of this image has version " + version, {},
                      options.edit.selector.command("nodes"));
    }
    return nodes_without(options.nodes, nodes_of(*joined));
}

void join_image(const ForNodesOptions &options)
{
    std::vector<inst_node_loc> nodes;
    Edit edit = {options.edit, "add " + options.image + " to", [&](serv_packs *, ErrorText &) {
                     if (nodes.empty()) {
                         return uint64_t{0};
                     }
                     return options.edit.selector.call(inst_ldpath_add_image_location, nodes.data(),
                                                       static_cast<uint32_t>(nodes.size()), options.image.c_str(),
                                                       options.version.c_str());
                 }};
    edit.before_operation = [&](const inst_sw_profile_sdr_ext &before, const serv_packs *) {
        nodes = nodes_to_add(options, before);
    };
    run_edit(edit);
}

} // namespace

void add_add_for_nodes(CLI::App &command)
{
    const auto [add, options] = new_subcommand<ForNodesOptions>(
        command, "add-for-nodes", "Add a package for some nodes, or for all", add_package_for_nodes);
    add.add_option("PACKAGE", options.package, "name-version-release")->required()->check(package_fault);
    add_install_type_option(add, options.type);
    CLI::Option *const node = add_node_option(add, options.nodes);
    add.add_flag("--all-nodes", options.is_for_all, "for all nodes; deletes the location profiles")->excludes(node);
    add.add_flag("--join", options.joins, "add it even if other nodes get it, or some given nodes do not")->needs(node);
    add_rule_options(add, options.edit, "JSON file of the service packs that deliver it");
    add_edit_options(add, options.edit);
    add.footer(
        "Packages of type smu and kernel, and under the new rules host-smu and base, are read from bundles: tar files\n"
        "of RPMs, or single RPMs, in /install_repo/gl/verdalis/ whose names begin with the package's. They are\n"
        "unpacked in /install_repo/tmp/, whose content, except dot files, is deleted first. A dry run unpacks\n"
        "elsewhere.\n\n"
        "If there is no location profile, one is created for the nodes. Otherwise each location profile gets the\n"
        "package, up to the first that has it already, which the nodes join. If other nodes would get it, or some\n"
        "of the given nodes would not, the command fails unless --join is given.\n\n"
        "Examples:\n"
        "  swprofile add-for-nodes qx-routing-1.5.0-r1 --type smu --node 0/1/0 --node 0/2/0\n"
        "  swprofile add-for-nodes kelo-hostos-7.1-r2 --new-format --all-nodes --vm admin");
}

void add_image_for_nodes(CLI::App &command)
{
    const auto [image, options] =
        new_subcommand<ForNodesOptions>(command, "image-for-nodes", "Add an image for some nodes", join_image);
    image.add_option("IMAGE", options.image, "its name, or the beginning of the name of an existing one")
        ->required()
        ->check(name_fault);
    add_node_option(image, options.nodes)->required();
    image.add_option("--version", options.version, "version of the image; required if there is no location profile")
        ->check(text_fault);
    add_edit_options(image, options.edit);
    image.footer(
        "The nodes join the first location profile whose image has that name, or a longer one that begins with it.\n"
        "If there is no location profile, one is created for them; if none has such an image, the command fails.\n\n"
        "Example:\n"
        "  swprofile image-for-nodes qx-image-1.5.0.iso --version 1.5.0 --node 0/1/0");
}
