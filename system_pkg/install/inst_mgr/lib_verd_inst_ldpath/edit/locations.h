// Location profiles: bodies that apply to some nodes only.
#pragma once

#include "edit/stored_profile.h"

// Copies of node locations; what is in the list when it goes out of scope is freed.
struct NodeList {
    inst_node_loc *nodes = nullptr;
    uint32_t count = 0;

    NodeList() = default;
    NodeList(const NodeList &) = delete;
    NodeList &operator=(const NodeList &) = delete;
    ~NodeList();
};

// Copies the nodes that something is to be added for, and reads the profile. Failures are reported. Results: those of
// verd_inst_dup_node_loc_list() and read_stored_profile().
uint64_t begin_for_nodes(const ProfileEdit &edit, const inst_node_loc *node_locs, uint32_t num_loc, NodeList &nodes,
                         StoredProfile &profile);

// Moves the nodes to the end of the location's list. Results: 0; INST_RC_NO_MEMORY, reported.
uint64_t append_nodes(inst_sw_profile_loc &location, NodeList &nodes);

// A location profile that is being made; freed when it goes out of scope.
struct NewLocation {
    inst_sw_profile_loc location = {};

    NewLocation() = default;
    NewLocation(const NewLocation &) = delete;
    NewLocation &operator=(const NewLocation &) = delete;
    ~NewLocation();

    inst_sw_profile_info &body() { return location.sw_profile; }
};

// Moves the nodes into it and makes it the profile's only location profile. Results: 0; INST_RC_NO_MEMORY, reported.
uint64_t attach_location(inst_sw_profile_sdr &sdr, NewLocation &location, NodeList &nodes);

// Frees all location profiles; the profile has none then.
void drop_locations(inst_sw_profile_sdr &sdr);
