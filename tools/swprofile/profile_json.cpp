#include "profile_json.h"

#include "frame/enumerations.h"
#include "location/vm_types.h"
#include "names.h"
#include "nodes.h"

#include <cctype>
#include <cstdio>

namespace
{

// The key of a field: its label in lower case, with '_' for blanks, except for some older ones.
std::string key_of(const std::string &name, const char *label)
{
    if (name == "files" || name == "aux_name" || name == "lv_name") {
        return name;
    }
    std::string key = label;
    for (char &letter : key) {
        letter = letter == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return key;
}

#define DECLARE_PUT_FIELDS(R) void put_fields(Json &json, const R &record);
ZELD_RECORDS(DECLARE_PUT_FIELDS)

template <class Record> Json json_of(const Record &record)
{
    Json json = Json::object();
    put_fields(json, record);
    return json;
}

Json json_of(const inst_node_loc &node)
{
    return node_text(node);
}

// Says that there are no RPMs, too.
Json json_of(const sp_detail &pack)
{
    Json json = {{"name", nullptr}, {"rpms", Json::array()}};
    put_fields(json, pack);
    return json;
}

Json json_of(char *text)
{
    return text_json(text);
}

Json image_json(const inst_swp_package &image)
{
    Json json = json_of(image);
    if (image.pkg_type == 0) {
        json.erase("type"); // says nothing of an image
    }
    if (json.contains("files")) {
        json["rpms"] = json["files"];
        json.erase("files");
    }
    return json;
}

void put_value(Json &json, const std::string &key, const char *text)
{
    json[key] = text_json(text);
}

void put_value(Json &json, const std::string &key, uint8_t flag)
{
    json[key] = flag != 0;
}

void put_value(Json &json, const std::string &key, uint64_t number)
{
    json[key] = number;
}

void put_value(Json &json, const std::string &key, uint32_t number)
{
    json[key] = number;
}

void put_value(Json &json, const std::string &key, const inst_swp_package &image)
{
    json[key] = image_json(image);
}

// The fields of a nested record become the outer record's own.
template <class Record>
requires std::is_class_v<Record>
void put_value(Json &json, const std::string &, const Record &record)
{
    put_fields(json, record);
}

template <class T> void put_array(Json &json, const std::string &key, const T *elements, uint32_t count)
{
    Json &array = json[key] = Json::array();
    for (uint32_t i = 0; elements != nullptr && i < count; ++i) {
        array.push_back(json_of(elements[i]));
    }
}

#define PUT_VALUE(R, bit, type, name, label)                                                                           \
    if (R##_has_##name(&record)) {                                                                                     \
        put_value(json, key_of(#name, label), record.name);                                                            \
    }
#define PUT_ARRAY(R, bit, type, name, label)                                                                           \
    if (R##_has_##name(&record)) {                                                                                     \
        put_array(json, key_of(#name, label), record.name, record.name##_count);                                       \
    }
#define DEFINE_PUT_FIELDS(R)                                                                                           \
    [[maybe_unused]] void put_fields(Json &json, const R &record)                                                      \
    {                                                                                                                  \
        ZELD_FIELDS_##R(PUT_VALUE, PUT_VALUE, PUT_ARRAY)                                                               \
    }

// Sets json's fields to those of the record that are present.
ZELD_RECORDS(DEFINE_PUT_FIELDS)

// Which profile it is.
Json head_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    Json json = {{"schema", JSON_SCHEMA}};
    if (inst_sw_profile_sdr_has_sdr_key(&profile.sdr_sw_profile)) {
        json["sdr"] = text_json(profile.sdr_sw_profile.sdr_key);
    }
    json["vm_type"] = vm_type_name(profile.sdr_sw_profile.vm_type);
    json["state"] = state_name(selector.state);
    json["scope"] = scope_name(selector.is_local);
    json["path"] = selector.path();
    return json;
}

} // namespace

Json text_json(const char *text)
{
    return text == nullptr ? Json() : Json(text);
}

Json service_pack_json(const sp_detail &pack)
{
    return json_of(pack);
}

Json profile_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    const Json head = head_json(profile, selector);
    Json json = head;
    put_fields(json, profile);
    json["vm_type"] = head["vm_type"]; // by its name
    return json;
}

Json locations_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    Json json = head_json(profile, selector);
    Json &locations = json["location_profiles"] = Json::array();
    for (const inst_sw_profile_loc *const location : locations_of(profile)) {
        locations.push_back(json_of(*location));
    }
    return json;
}

void print_json(const Json &json)
{
    std::printf("%s\n", json.dump(2, ' ', true, Json::error_handler_t::replace).c_str());
}
