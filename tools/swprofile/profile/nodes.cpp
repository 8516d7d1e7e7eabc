#include "profile/nodes.h"

#include "profile/names.h"

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

bool contains(std::span<const inst_node_loc> nodes, const inst_node_loc &node)
{
    return std::ranges::find(nodes, ids_of(node), ids_of) != nodes.end();
}

} // namespace

std::optional<inst_node_loc> parse_node(const std::string &text)
{
    std::array<uint32_t, 3> ids = {};
    const char *at = text.data();
    const char *const end = at + text.size();
    for (std::size_t i = 0; i < ids.size(); ++i) {
        const auto [next, error] = std::from_chars(at, end, ids[i]);
        const bool is_last = i + 1 == ids.size();
        if (error != std::errc() || (is_last ? next != end : *next != '/')) {
            return std::nullopt;
        }
        at = next + 1; // after the '/'
    }
    inst_node_loc node = {};
    inst_node_loc_set_loc_id_1(&node, ids[0]);
    inst_node_loc_set_loc_id_2(&node, ids[1]);
    inst_node_loc_set_loc_id_3(&node, ids[2]);
    return node;
}

std::string node_fault(const std::string &text)
{
    return parse_node(text) ? "" : "'" + printable(text.c_str()) + "' is not a node such as 0/1/0";
}

std::string node_text(const inst_node_loc &node)
{
    return std::to_string(node.loc_id_1) + "/" + std::to_string(node.loc_id_2) + "/" + std::to_string(node.loc_id_3);
}

std::string nodes_text(std::span<const inst_node_loc> nodes)
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
            "a node, as three numbers A/B/C; repeat for each node")
        ->allow_extra_args(false)
        ->check(node_fault);
}

const inst_sw_profile_loc *location_of(const inst_sw_profile_sdr_ext &profile, const inst_node_loc &node)
{
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        if (contains(nodes_of(location), node)) {
            return &location;
        }
    }
    return nullptr;
}

std::vector<inst_node_loc> nodes_without(std::span<const inst_node_loc> nodes, std::span<const inst_node_loc> others)
{
    std::vector<inst_node_loc> left;
    std::copy_if(nodes.begin(), nodes.end(), std::back_inserter(left),
                 [&](const inst_node_loc &node) { return !contains(others, node); });
    return left;
}
