#include "json/profile_json.h"

#include "profile/names.h"
#include "profile/nodes.h"
#include "profile/options.h"

#include <cstdio>

namespace
{

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

Json json_of(char *text)
{
    return text_json(text);
}

// The type of an image is usually 0; it is then omitted.
void put_value(Json &json, const std::string &key, const inst_swp_package &image)
{
    Json object = json_of(image);
    if (image.pkg_type == 0) {
        object.erase("type");
    }
    json[key] = object;
}

template <class T> void put_value(Json &json, const std::string &key, const T &value)
{
    if constexpr (std::is_class_v<T>) {
        put_fields(json, value); // the fields of a nested record that is no image go into the outer record's object
    } else if constexpr (std::is_same_v<T, char *>) {
        json[key] = text_json(value);
    } else if constexpr (std::is_same_v<T, uint8_t>) {
        json[key] = value != 0;
    } else if (key == "vm_type") {
        json[key] = verd_vm_type_name(static_cast<uint32_t>(value));
    } else if (key == "type") {
        json[key] = package_type_text(static_cast<uint32_t>(value));
    } else {
        json[key] = value;
    }
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
        put_value(json, json_key(#name, label), record.name);                                                          \
    }
#define PUT_ARRAY(R, bit, type, name, label)                                                                           \
    if (R##_has_##name(&record)) {                                                                                     \
        put_array(json, json_key(#name, label), record.name, record.name##_count);                                     \
    }
#define DEFINE_PUT_FIELDS(R)                                                                                           \
    [[maybe_unused]] void put_fields(Json &json, const R &record)                                                      \
    {                                                                                                                  \
        ZELD_FIELDS_##R(PUT_VALUE, PUT_VALUE, PUT_ARRAY)                                                               \
    }

// Sets json's fields to those of the record that are present.
ZELD_RECORDS(DEFINE_PUT_FIELDS)

} // namespace

std::string json_key(const std::string &field, const std::string &label)
{
    return field == "aux_name" || field == "lv_name" ? field : lower_case_name(label, '_');
}

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
    Json json = Json::object();
    if (inst_sw_profile_sdr_has_sdr_key(&profile.sdr_sw_profile)) {
        json["sdr"] = text_json(profile.sdr_sw_profile.sdr_key);
    }
    json["vm_type"] = verd_vm_type_name(profile.sdr_sw_profile.vm_type);
    json["state"] = verd_state_name(selector.state);
    json["scope"] = verd_scope_name(selector.is_local);
    json["path"] = selector.path();
    put_fields(json, profile);
    return json;
}

void print_json(const Json &json)
{
    Json whole = {{"schema", JSON_SCHEMA}};
    whole.update(json);
    std::string text;
    try {
        text = whole.dump(2, ' ', true);
    } catch (const Json::exception &) {
        note("bytes that are not UTF-8 are printed as U+FFFD");
        text = whole.dump(2, ' ', true, Json::error_handler_t::replace);
    }
    std::printf("%s\n", text.c_str());
}
