#include "nodes.h"

#include "names.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <tuple>

namespace
{

auto ids_of(const inst_node_loc &node)
{
    return std::make_tuple(node.loc_id_1, node.loc_id_2, node.loc_id_3);
}

bool contains(const std::vector<inst_node_loc> &nodes, const inst_node_loc &node)
{
    return std::any_of(nodes.begin(), nodes.end(),
                       [&](const inst_node_loc &other) { return ids_of(other) == ids_of(node); });
}

} // namespace

std::optional<inst_node_loc> parse_node(const std::string &text)
{
    std::array<uint32_t, 3> ids = {};
    const char *at = text.data();
    const char *const end = at + text.size();
    for (std::size_t i = 0; i < ids.size(); ++i) {
        if (i != 0 && (at == end || *at++ != '/')) {
            return std::nullopt;
        }
        const auto [next, error] = std::from_chars(at, end, ids[i]);
        if (error != std::errc()) {
            return std::nullopt;
        }
        at = next;
    }
    if (at != end) {
        return std::nullopt;
    }
    inst_node_loc node = {};
    inst_node_loc_set_loc_id_1(&node, ids[0]);
    inst_node_loc_set_loc_id_2(&node, ids[1]);
    inst_node_loc_set_loc_id_3(&node, ids[2]);
    return node;
}

std::string node_fault(const std::string &text)
{
    return parse_node(text) ? "" : "'" + shown(text.c_str()) + "' isn't a node such as 0/1/0";
}

std::string node_text(const inst_node_loc &node)
{
    return std::to_string(node.loc_id_1) + "/" + std::to_string(node.loc_id_2) + "/" + std::to_string(node.loc_id_3);
}

std::string nodes_text(const std::vector<inst_node_loc> &nodes)
{
    std::string text;
    for (const inst_node_loc &node : nodes) {
        text += text.empty() ? "" : " ";
        text += node_text(node);
    }
    return text;
}

CLI::Option *add_node_option(CLI::App &command, std::vector<inst_node_loc> &nodes)
{
    return command
        .add_option_function<std::vector<std::string>>(
            "--node",
            [&nodes](const std::vector<std::string> &texts) {
                for (const std::string &text : texts) {
                    const inst_node_loc node = *parse_node(text);
                    if (contains(nodes, node)) {
                        throw CLI::ValidationError("--node", "node " + node_text(node) + " is given twice");
                    }
                    nodes.push_back(node);
                }
            },
            "a node, as three numbers A/B/C; give it once a node")
        ->allow_extra_args(false)
        ->check(node_fault);
}

std::vector<const inst_sw_profile_loc *> locations_of(const inst_sw_profile_sdr_ext &profile)
{
    inst_sw_profile_loc *locations = nullptr;
    const uint32_t count = inst_sw_profile_sdr_get_loc_profiles(&profile.sdr_sw_profile, &locations);
    std::vector<const inst_sw_profile_loc *> found;
    for (uint32_t i = 0; i < count; ++i) {
        found.push_back(&locations[i]);
    }
    return found;
}

std::vector<inst_node_loc> nodes_of(const inst_sw_profile_loc &location)
{
    inst_node_loc *nodes = nullptr;
    const uint32_t count = inst_sw_profile_loc_get_node_locs(&location, &nodes);
    return {nodes, nodes + count};
}

const inst_sw_profile_loc *location_of(const inst_sw_profile_sdr_ext &profile, const inst_node_loc &node)
{
    for (const inst_sw_profile_loc *const location : locations_of(profile)) {
        if (contains(nodes_of(*location), node)) {
            return location;
        }
    }
    return nullptr;
}

std::vector<inst_node_loc> nodes_missing_in(const std::vector<const inst_sw_profile_loc *> &locations,
                                            const std::vector<inst_node_loc> &nodes)
{
    std::vector<inst_node_loc> missing;
    std::copy_if(nodes.begin(), nodes.end(), std::back_inserter(missing), [&](const inst_node_loc &node) {
        return std::none_of(locations.begin(), locations.end(),
                            [&](const inst_sw_profile_loc *location) { return contains(nodes_of(*location), node); });
    });
    return missing;
}
