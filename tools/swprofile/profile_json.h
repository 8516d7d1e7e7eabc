// Profiles as JSON. What is written of a profile that was created can be read back as the request for a new one.
#pragma once

#include "create_input.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

inline constexpr int JSON_SCHEMA = 1;

// A text of the record, null for a null pointer.
Json text_json(const char *text);

Json service_pack_json(const sp_detail &pack);

// What the profile that the selector found holds, but for what the library only carries along.
Json profile_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector);

// Its location profiles alone.
Json locations_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector);

// Prints JSON in ASCII, with bytes that aren't UTF-8 replaced.
void print_json(const Json &json);

// Reads a request file, or standard input for "-", into the input. Unknown fields, wrong types and unusable names are a
// Failure that tells where.
void read_request(const std::string &file, CreateInput &input);

// Reads a file of service packs: a list of objects with a name and the RPMs that it delivers. Faults as above.
std::vector<ServicePackInput> read_service_packs(const std::string &file);
