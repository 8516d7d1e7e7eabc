// Nodes and location profiles, as the command reads and shows them.
#pragma once

#include "profile/arrays.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

std::string node_text(const inst_node_loc &node);             // "0/1/0"
std::string nodes_text(std::span<const inst_node_loc> nodes); // "0/1/0 0/2/0"

// "A/B/C": three numbers.
std::optional<inst_node_loc> parse_node(const std::string &text);

// The fault of a text that must be a node; "" if it is valid.
std::string node_fault(const std::string &text);

// Adds the option --node, repeated for each node. Rejects invalid texts and repeated nodes.
CLI::Option *add_node_option(CLI::App &command, std::vector<inst_node_loc> &nodes);

// The first location profile that lists the node; null if none does.
const inst_sw_profile_loc *location_of(const inst_sw_profile_sdr_ext &profile, const inst_node_loc &node);

// The nodes that are not among the others.
std::vector<inst_node_loc> nodes_without(std::span<const inst_node_loc> nodes, std::span<const inst_node_loc> others);
