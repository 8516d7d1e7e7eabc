// Profiles as JSON. What is written of a profile that was created can be read back as a request (request.h).
#pragma once

#include "selector.h"

#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

inline constexpr int JSON_SCHEMA = 1;

// A text of the record, null for a null pointer.
Json text_json(const char *text);

Json service_pack_json(const sp_detail &pack);

// What the profile that the selector found holds.
Json profile_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector);

// Its location profiles alone.
Json locations_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector);

// Prints JSON in ASCII, with bytes that aren't UTF-8 replaced.
void print_json(const Json &json);
