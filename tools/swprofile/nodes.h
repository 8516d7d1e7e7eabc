// Nodes and location profiles, as the command reads and shows them.
#pragma once

#include "verd_inst_ldpath.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>
#include <vector>

std::string node_text(const inst_node_loc &node);                // "0/1/0"
std::string nodes_text(const std::vector<inst_node_loc> &nodes); // "0/1/0 0/2/0"

// "A/B/C", three numbers.
std::optional<inst_node_loc> parse_node(const std::string &text);

// What is wrong with a text that is to be a node, or "".
std::string node_fault(const std::string &text);

// Adds the option --node, to be given once a node. A text that isn't a node, or a node given twice, is refused.
CLI::Option *add_node_option(CLI::App &command, std::vector<inst_node_loc> &nodes);

// The location profiles of a profile, and the nodes of one.
std::vector<const inst_sw_profile_loc *> locations_of(const inst_sw_profile_sdr_ext &profile);
std::vector<inst_node_loc> nodes_of(const inst_sw_profile_loc &location);

// The first location profile that lists the node; null when none does.
const inst_sw_profile_loc *location_of(const inst_sw_profile_sdr_ext &profile, const inst_node_loc &node);

// Those of the nodes that aren't in the location.
std::vector<inst_node_loc> nodes_missing_in(const std::vector<const inst_sw_profile_loc *> &locations,
                                            const std::vector<inst_node_loc> &nodes);
