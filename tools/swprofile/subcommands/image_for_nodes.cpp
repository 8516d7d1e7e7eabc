#include "profile/names.h"
#include "profile/nodes.h"
#include "subcommands/commands.h"
#include "subcommands/edit.h"

#include <algorithm>

namespace
{

struct Options {
    EditOptions edit;
    std::string image;
    std::string version;
    std::vector<inst_node_loc> nodes;
};

bool has_image(const inst_sw_profile_loc &location, const std::string &image)
{
    const char *const name = location.sw_profile.image.name;
    return name != nullptr && std::string(name).starts_with(image);
}

// The nodes that are still to be added. Once there are location profiles, nodes can only join one that has the image.
std::vector<inst_node_loc> nodes_to_add(const Options &options, const inst_sw_profile_sdr_ext &before)
{
    const std::span<inst_sw_profile_loc> locations = locations_of(before);
    if (locations.empty()) {
        if (options.version.empty()) {
            throw Failure(USAGE, "no version given", {"a new location profile needs --version"});
        }
        return options.nodes;
    }
    const auto joined = std::ranges::find_if(
        locations, [&](const inst_sw_profile_loc &location) { return has_image(location, options.image); });
    if (joined == locations.end()) {
        throw Failure(FAILED,
                      "no location profile of the " + options.edit.selector.describe() + " has the image " +
                          options.image,
                      {"nodes can only join one that has it"}, options.edit.selector.command("nodes"));
    }
    const std::string version = shown(joined->sw_profile.version);
    if (!options.version.empty() && options.version != version) {
        throw Failure(FAILED, "the location profile of this image has version " + version, {},
                      options.edit.selector.command("nodes"));
    }
    return nodes_without(options.nodes, nodes_of(*joined));
}

void run(const Options &options)
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
    edit.check = [&](const inst_sw_profile_sdr_ext &before, const serv_packs *) {
        nodes = nodes_to_add(options, before);
    };
    run_edit(edit);
}

} // namespace

void add_image_for_nodes(CLI::App &command)
{
    const auto [image, options] =
        new_subcommand<Options>(command, "image-for-nodes", "Add an image for some nodes", run);
    image.add_option("IMAGE", options.image, "its name, or the beginning of the name of an existing one")
        ->required()
        ->check(name_fault);
    add_node_option(image, options.nodes)->required();
    image.add_option("--version", options.version, "version of the first location profile")->check(text_fault);
    add_edit_options(image, options.edit);
    image.footer(
        "The nodes join the first location profile whose image has that name, or a longer one that begins with it.\n"
        "If there is no location profile, they get the first one.\n\n"
        "Example:\n"
        "  swprofile image-for-nodes qx-image-1.5.0.iso --version 1.5.0 --node 0/1/0");
}
