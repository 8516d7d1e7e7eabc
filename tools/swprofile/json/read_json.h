// Profiles and service packs from JSON files.
#pragma once

#include "profile/selector.h"
#include "json/profile_json.h"

#include <optional>
#include <string>

// Reads a file, or standard input for "-". Throws a Failure for invalid JSON, with its position, and for repeated keys.
Json read_json(const std::string &file);
Json parse_json(const std::string &text, const std::string &source);

// How messages name the file: "standard input" for "-".
std::string source_name(const std::string &file);

// The SDR, VM type, state and scope that the JSON of a profile names; empty if missing.
struct Place {
    std::optional<std::string> sdr;
    std::optional<uint32_t> vm_type;
    std::optional<int32_t> state;
    std::optional<bool> is_local;
};

// Converts JSON such as `swprofile show --json` prints. Unknown fields and wrong types throw a Failure with their
// position, which begins with `source`.
Profile profile_of(const Json &json, const std::string &source, Place &place);

struct FreeServicePacks {
    void operator()(serv_packs *set) const { free_service_pack(set); }
};
using ServicePacks = std::unique_ptr<serv_packs, FreeServicePacks>;

// Converts a list of service packs: [{"name": "SP1", "rpms": ["a-1-r1"]}]. Their names must differ.
ServicePacks service_packs_of(const Json &json, const std::string &source);
