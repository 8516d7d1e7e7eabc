// Differences between two profiles, for people and scripts.
#pragma once

#include "profile/findings.h"
#include "json/profile_json.h"

#include <string>
#include <vector>

struct Difference {
    enum Kind : char { Added = '+', Removed = '-', Changed = '~' } kind;
    std::string what;  // "package", "version", ...
    std::string name;  // which one, or ""
    std::string how;   // how it has changed, or ""
    std::string nodes; // those of the location profile, or ""

    bool operator==(const Difference &) const = default;
};

// Within a list such as the packages, removed and changed elements follow the order of `from`; then the added ones
// follow, in the order of `to`. The logical volume and the size at creation (sdr_sw_profile_len) are not compared.
std::vector<Difference> differences(const inst_sw_profile_sdr_ext &from, const inst_sw_profile_sdr_ext &to);

std::string text_of(const Difference &difference);                  // "+ package x"
void print_differences(const std::vector<Difference> &differences); // one per line

// Prints the differences from the profile that was replaced, or why they cannot be listed.
void print_replaced(const Selector &place, const Inspection &previous, const inst_sw_profile_sdr_ext &current);

Json difference_json(const Difference &difference);
