// Profiles as JSON. read_json.h reads the same form.
#pragma once

#include "profile/selector.h"

#include <algorithm>
#include <nlohmann/json.hpp>

using Json = nlohmann::ordered_json;

inline constexpr int JSON_SCHEMA = 1;

// The JSON key of a field of a record: its label in lower case, with '_' for blanks; aux_name and lv_name keep their
// names.
std::string json_key(const std::string &field, const std::string &label);

// A text of the record, null for a null pointer.
Json text_json(const char *text);

// A list of what `json_of` returns for each element.
template <class Range, class JsonOf> Json list_json(const Range &elements, JsonOf json_of)
{
    Json list = Json::array();
    std::ranges::transform(elements, std::back_inserter(list), json_of);
    return list;
}

Json service_pack_json(const sp_detail &pack);

// A profile with all its fields, and where it is.
Json profile_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector);

// Prints {"schema": 1, ...}, in ASCII, with bytes that are not UTF-8 replaced.
void print_json(const Json &json);
