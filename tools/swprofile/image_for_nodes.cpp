#include "commands.h"
#include "edit.h"
#include "names.h"
#include "nodes.h"
#include "selector.h"

#include <algorithm>
#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    std::string image;
    std::string version;
    std::vector<inst_node_loc> nodes;
    bool is_dry_run = false;
};

bool has_image(const inst_sw_profile_loc &location, const std::string &image)
{
    const char *const name = location.sw_profile.image.name;
    return name != nullptr && std::string(name).starts_with(image);
}

void run(const Options &options)
{
    const Selector &selector = options.selector;
    const Profile before = selector.fetch_to_edit();
    const std::vector<const inst_sw_profile_loc *> locations = locations_of(*before);
    std::vector<inst_node_loc> nodes = options.nodes;
    if (locations.empty() && options.version.empty()) {
        throw Failure(USAGE, "no version given", {"there is no location profile yet; give --version for the new one"});
    }
    if (!locations.empty()) {
        const auto joined = std::find_if(locations.begin(), locations.end(), [&](const inst_sw_profile_loc *location) {
            return has_image(*location, options.image);
        });
        if (joined == locations.end()) {
            throw Failure(FAILED,
                          "no location profile of the " + selector.describe() + " has the image " + options.image,
                          {"nodes can only join one that has it; see swprofile nodes"});
        }
        nodes = nodes_missing_in({*joined}, nodes);
        if (nodes.empty()) {
            std::printf("nothing changes in the %s: these nodes have it\n", selector.describe().c_str());
            return;
        }
    }
    const Profile after =
        run_edit(selector, options.is_dry_run, before, "add " + options.image + " to", [&](ErrorText &) {
            return inst_ldpath_add_image_location(selector.sdr.c_str(), selector.is_local, selector.state,
                                                  selector.vm_type, nodes.data(), static_cast<uint32_t>(nodes.size()),
                                                  options.image.c_str(),
                                                  options.version.empty() ? nullptr : options.version.c_str());
        });
    if (after == nullptr) {
        return;
    }
    for (const inst_sw_profile_loc *const location : locations_of(*after)) {
        if (has_image(*location, options.image) && nodes_missing_in({location}, options.nodes).empty()) {
            std::printf("%s is now in the %s, for\n  %s\n", shown(location->sw_profile.image.name).c_str(),
                        selector.describe().c_str(), nodes_text(nodes_of(*location)).c_str());
            return;
        }
    }
    throw Failure(FAILED, "the " + selector.describe() + " wasn't changed", {"see /install_repo/log/install.log"});
}

} // namespace

void add_image_for_nodes(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const image = command.add_subcommand("image-for-nodes", "Add an image for some nodes");
    image->add_option("IMAGE", options->image, "its name, or the beginning of one that is there")
        ->required()
        ->check(name_fault);
    add_node_option(*image, options->nodes)->required();
    image->add_option("--version", options->version, "the version of a new location profile, where there is none yet")
        ->check(text_fault);
    add_selector_options(*image, options->selector);
    add_dry_run_option(*image, options->is_dry_run);
    image->footer(
        "The first location profile whose image has that name, or a longer one that begins with it, gets the\n"
        "nodes. Where there is no location profile, one is made.\n\n"
        "Example:\n"
        "  swprofile image-for-nodes qx-image-1.5.0.iso --version 1.5.0 --node 0/1/0");
    image->callback([options] { run(*options); });
}
