// What differs between two profiles, for people and scripts.
#pragma once

#include "profile_json.h"

#include <string>
#include <vector>

struct Change {
    enum Kind : char { Added = '+', Removed = '-', Changed = '~' } kind;
    std::string what;  // "package", "version", ...
    std::string name;  // which one, or ""
    std::string how;   // what has become of it, or ""
    std::string nodes; // those of the location profile, or ""
};

// From the one to the other, in the order of the profiles. Empty when they hold the same; lv_name and
// sdr_sw_profile_len don't count.
std::vector<Change> changes_between(const inst_sw_profile_sdr_ext &from, const inst_sw_profile_sdr_ext &to);

std::string text_of(const Change &change);              // "+ package x"
void print_changes(const std::vector<Change> &changes); // a line each
Json change_json(const Change &change);
