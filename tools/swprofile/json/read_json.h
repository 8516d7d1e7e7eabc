// Profiles and service packs from JSON files.
#pragma once

#include "profile/selector.h"
#include "json/profile_json.h"

#include <optional>
#include <string>

// Reads a file, or standard input for "-". What is not JSON, and a key that is given twice, are a Failure that says
// where.
Json read_json(const std::string &file);

// Where JSON says that its profile belongs; what it does not say is empty.
struct Place {
    std::optional<std::string> sdr;
    std::optional<uint32_t> vm_type;
    std::optional<int32_t> state;
    std::optional<bool> is_local;
};

// The profile of JSON such as `swprofile show --json` prints. Unknown fields and wrong types are a Failure that says
// where, beginning with `source`.
Profile profile_of(const Json &json, const std::string &source, Place &place);

struct FreeServicePacks {
    void operator()(serv_packs *set) const { free_service_pack(set); }
};
using ServicePacks = std::unique_ptr<serv_packs, FreeServicePacks>;

// Reads a list of service packs: [{"name": "SP1", "rpms": ["a-1-r1"]}]. Each must have a name of its own.
ServicePacks read_service_packs(const std::string &file);
