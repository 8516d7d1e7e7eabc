// Location profiles: bodies that apply to some nodes only.
#pragma once

#include "edit/stored_profile.h"

// An owned array of node locations.
struct NodeList {
    inst_node_loc *nodes = nullptr;
    uint32_t count = 0;

    NodeList() = default;
    NodeList(const NodeList &) = delete;
    NodeList &operator=(const NodeList &) = delete;
    ~NodeList();
};

// The first two steps of adding something for nodes: copies the nodes, then reads the profile. Reports failures.
// Results: those of verd_inst_dup_node_loc_list() and read_stored_profile().
uint64_t copy_nodes_and_read_profile(const ProfileEdit &edit, const inst_node_loc *node_locs, uint32_t num_loc,
                                     NodeList &nodes, OwnedProfile &profile);

// Moves the nodes to the end of the location's list. Results: 0; INST_RC_NO_MEMORY, reported.
uint64_t append_nodes(inst_sw_profile_loc &location, NodeList &nodes);

// An owned location profile that is not yet part of a record.
struct NewLocation {
    inst_sw_profile_loc location = {};

    NewLocation() = default;
    NewLocation(const NewLocation &) = delete;
    NewLocation &operator=(const NewLocation &) = delete;
    ~NewLocation();

    inst_sw_profile_info &body() { return location.sw_profile; }
};

// Moves the nodes into the location, and the location into the profile as its only one. Results: 0; INST_RC_NO_MEMORY,
// reported.
uint64_t attach_location(inst_sw_profile_sdr &sdr, NewLocation &location, NodeList &nodes);

// Frees all location profiles and makes the field absent.
void free_locations(inst_sw_profile_sdr &sdr);
