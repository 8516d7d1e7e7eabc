#include "profile_json.h"

#include "frame/enumerations.h"
#include "location/vm_types.h"
#include "names.h"
#include "nodes.h"

#include "zeld/record_fields.h"

#include <cctype>
#include <cstdio>

namespace
{

// The key of a field: its label in lower case, with '_' for blanks; or what it was called first.
template <class F> std::string key_of(F)
{
    constexpr auto is = []<auto Member>()
    {
        return std::is_same_v<zeld::MemberTag<F::member>, zeld::MemberTag<Member>>;
    };
    if (is.template operator()<&inst_swp_package::files>()) {
        return "files";
    }
    if (is.template operator()<&inst_swp_package::aux_name>()) {
        return "aux_name";
    }
    if (is.template operator()<&inst_sw_profile_info::lv_name>()) {
        return "lv_name";
    }
    std::string key = F::label;
    for (char &letter : key) {
        letter = letter == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return key;
}

template <class Record> void put_fields(Json &json, const Record &record);

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

// Sets json's field; those of a nested record as json's own, but for an image.
template <class F, class Record> void put_field(Json &json, F field, const Record &record)
{
    const auto &value = field.value(record);
    using Value = typename F::Type;
    if constexpr (std::is_same_v<Value, inst_swp_package>) {
        json[key_of(field)] = image_json(value);
    } else if constexpr (field.is_record) {
        put_fields(json, value);
    } else if constexpr (field.is_array) {
        Json &array = json[key_of(field)] = Json::array();
        for (uint32_t i = 0; value != nullptr && i < field.count(record); ++i) {
            array.push_back(json_of(value[i]));
        }
    } else if constexpr (std::is_same_v<Value, char *>) {
        json[key_of(field)] = text_json(value);
    } else if constexpr (std::is_same_v<Value, uint8_t>) {
        json[key_of(field)] = value != 0;
    } else {
        json[key_of(field)] = value;
    }
}

// Sets json's fields to those of the record that are there.
template <class Record> void put_fields(Json &json, const Record &record)
{
    zeld::for_each_field<Record>([&](auto field) {
        if (record::has<field.member>(record)) {
            put_field(json, field, record);
        }
    });
}

// Which profile it is.
Json head_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    Json json = {{"schema", JSON_SCHEMA}};
    if (record::has<&inst_sw_profile_sdr::sdr_key>(profile.sdr_sw_profile)) {
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
