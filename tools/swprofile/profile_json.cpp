#include "profile_json.h"

#include "frame/enumerations.h"
#include "names.h"
#include "nodes.h"

#include "zeld/record_fields.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>

namespace
{

Json list_json(char *const *list, uint32_t count)
{
    Json json = Json::array();
    for (uint32_t i = 0; list != nullptr && i < count; ++i) {
        json.push_back(text_json(list[i]));
    }
    return json;
}

// Sets json[key] to a field of the record, if that is there.
template <auto Member, class Record> void put(Json &json, const char *key, const Record &record)
{
    if (!record::has<Member>(record)) {
        return;
    }
    if constexpr (std::is_same_v<record::Value<Member>, char *>) {
        json[key] = text_json(record.*Member);
    } else if constexpr (std::is_same_v<record::Value<Member>, char **>) {
        char **list = nullptr;
        const uint32_t count = record::get<Member>(record, &list);
        json[key] = list_json(list, count);
    } else {
        json[key] = record.*Member;
    }
}

Json package_json(const inst_swp_package &package, const char *files_key)
{
    Json json = Json::object();
    put<&inst_swp_package::name>(json, "name", package);
    put<&inst_swp_package::aux_name>(json, "aux_name", package);
    put<&inst_swp_package::pkg_type>(json, "type", package);
    put<&inst_swp_package::pkg_value>(json, "value", package);
    if (record::has<&inst_swp_package::is_sp_pkg>(package)) {
        json["service_pack_member"] = package.is_sp_pkg != 0;
    }
    put<&inst_swp_package::files>(json, files_key, package);
    return json;
}

Json image_json(const inst_swp_package &image)
{
    Json json = package_json(image, "rpms");
    json.erase("type"); // says nothing of an image
    return json;
}

template <auto Member, class Record, class Make>
void put_array(Json &json, const char *key, const Record &record, Make make)
{
    record::Value<Member> array = nullptr;
    const uint32_t count = record::get<Member>(record, &array);
    if (record::has<Member>(record)) {
        json[key] = Json::array();
        for (uint32_t i = 0; i < count; ++i) {
            json[key].push_back(make(array[i]));
        }
    }
}

void put_body(Json &json, const inst_sw_profile_info &body)
{
    put<&inst_sw_profile_info::lv_name>(json, "lv_name", body);
    put<&inst_sw_profile_info::version>(json, "version", body);
    if (record::has<&inst_sw_profile_info::image>(body)) {
        json["image"] = image_json(body.image);
    }
    put_array<&inst_sw_profile_info::packages>(
        json, "packages", body, [](const inst_swp_package &package) { return package_json(package, "files"); });
    put_array<&inst_sw_profile_info::sp_details>(json, "service_packs", body, service_pack_json);
    if (record::has<&inst_sw_profile_info::is_single_initrd_supported>(body)) {
        json["single_initrd"] = body.is_single_initrd_supported != 0;
    }
}

Json location_json(const inst_sw_profile_loc &location)
{
    Json json = Json::object();
    put_array<&inst_sw_profile_loc::node_locs>(json, "nodes", location, node_text);
    put_body(json, location.sw_profile);
    return json;
}

// Which profile it is.
Json head_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    const inst_sw_profile_sdr &sdr = profile.sdr_sw_profile;
    Json json = {{"schema", JSON_SCHEMA}};
    put<&inst_sw_profile_sdr::sdr_key>(json, "sdr", sdr);
    json["vm_type"] = vm_type_name(sdr.vm_type);
    json["state"] = state_name(selector.state);
    json["scope"] = scope_name(selector.is_local);
    json["path"] = selector.path();
    return json;
}

// A value of a request file, and where it stands there.
struct Value {
    const Json &json;
    std::string where;

    [[noreturn]] void refuse(const std::string &fault) const
    {
        throw Failure(INVALID_DATA, "the file can't be used", {where + ": " + fault});
    }

    // A text, or "" for null, which is what a profile without it shows.
    std::string optional_text(std::string (*fault_of)(const std::string &)) const
    {
        return json.is_null() ? "" : text(fault_of);
    }

    std::string text(std::string (*fault_of)(const std::string &)) const
    {
        if (!json.is_string()) {
            refuse("must be a text");
        }
        const std::string fault = fault_of(json.get<std::string>());
        if (!fault.empty()) {
            refuse(fault);
        }
        return json.get<std::string>();
    }

    uint64_t number(uint64_t limit) const
    {
        if (!json.is_number_unsigned() || json.get<uint64_t>() > limit) {
            refuse("must be a number from 0 to " + std::to_string(limit));
        }
        return json.get<uint64_t>();
    }

    bool flag() const
    {
        if (!json.is_boolean()) {
            refuse("must be true or false");
        }
        return json.get<bool>();
    }

    template <class Read> auto list(Read read) const
    {
        if (!json.is_array()) {
            refuse("must be a list");
        }
        std::vector<decltype(read(*this))> values;
        for (std::size_t i = 0; i < json.size(); ++i) {
            values.push_back(read(Value{json[i], where + "[" + std::to_string(i) + "]"}));
        }
        return values;
    }

    std::vector<std::string> names() const
    {
        return list([](const Value &name) { return name.text(name_fault); });
    }

    // Hands each field to its reader.
    void object(const std::map<std::string, std::function<void(const Value &)>> &readers) const
    {
        if (!json.is_object()) {
            refuse("must be an object");
        }
        for (const auto &[key, value] : json.items()) {
            const auto reader = readers.find(key);
            if (reader == readers.end()) {
                refuse("has an unknown field '" + shown(key.c_str()) + "'");
            }
            reader->second(Value{value, where + "." + key});
        }
    }
};

template <class T> T read_enumerator(const Value &value, std::optional<T> (*parse)(const std::string &))
{
    if (!value.json.is_string() && !value.json.is_number()) {
        value.refuse("must be a name or a number");
    }
    const std::optional<T> parsed = parse(value.json.is_string() ? value.json.get<std::string>() : value.json.dump());
    if (!parsed) {
        value.refuse("isn't one");
    }
    return *parsed;
}

constexpr uint32_t MAX_PACKAGE_TYPE = VERD_SWP_PKG_HOST_SMU;

uint32_t read_package_type(const Value &value)
{
    const auto type = static_cast<uint32_t>(value.number(MAX_PACKAGE_TYPE));
    if (type == 0) {
        value.refuse("must be a number from 1 to " + std::to_string(MAX_PACKAGE_TYPE));
    }
    return type;
}

PackageInput read_package(const Value &value)
{
    PackageInput package;
    value.object({
        {"name", [&](const Value &v) { package.name = v.text(name_fault); }},
        {"aux_name", [&](const Value &v) { package.aux_name = v.text(name_fault); }},
        {"type", [&](const Value &v) { package.type = read_package_type(v); }},
        {"value", [&](const Value &v) { package.value = v.number(UINT64_MAX); }},
        {"files", [&](const Value &v) { package.files = v.names(); }},
        {"service_pack_member", [&](const Value &v) { package.is_service_pack_member = v.flag(); }},
    });
    if (package.name.empty()) {
        value.refuse("has no name");
    }
    return package;
}

ServicePackInput read_service_pack(const Value &value)
{
    ServicePackInput pack;
    value.object({
        {"name", [&](const Value &v) { pack.name = v.text(name_fault); }},
        {"rpms", [&](const Value &v) { pack.rpms = v.names(); }},
    });
    if (pack.name.empty()) {
        value.refuse("has no name");
    }
    return pack;
}

void read_image(const Value &value, CreateInput &input)
{
    value.object({
        {"name", [&](const Value &v) { input.image = v.text(text_fault); }},
        {"aux_name", [&](const Value &v) { input.image_aux_name = v.text(name_fault); }},
        {"rpms", [&](const Value &v) { input.image_rpms = v.names(); }},
    });
}

bool read_scope(const Value &value)
{
    const std::string text = value.text(text_fault);
    if (text != "local" && text != "global") {
        value.refuse("must be \"local\" or \"global\"");
    }
    return text == "local";
}

void read_input(const Value &value, CreateInput &input)
{
    Selector &selector = input.selector;
    const auto ignore = [](const Value &) {};
    value.object({
        {"schema",
         [](const Value &v) {
             if (v.number(UINT32_MAX) != JSON_SCHEMA) {
                 v.refuse("this command knows schema " + std::to_string(JSON_SCHEMA));
             }
         }},
        {"sdr", [&](const Value &v) { selector.sdr = v.text(key_fault); }},
        {"vm_type", [&](const Value &v) { selector.vm_type = read_enumerator(v, parse_vm_type); }},
        {"state", [&](const Value &v) { selector.state = read_enumerator(v, parse_state); }},
        {"scope", [&](const Value &v) { selector.is_local = read_scope(v); }},
        {"location_profiles", [](const Value &v) { v.refuse("can't be created with the profile"); }},
        {"path", ignore},
        {"encoded_bytes_at_creation", ignore},
        {"lv_name", [&](const Value &v) { input.lv_name = v.optional_text(name_fault); }},
        {"version", [&](const Value &v) { input.version = v.optional_text(text_fault); }},
        {"image", [&](const Value &v) { read_image(v, input); }},
        {"packages", [&](const Value &v) { input.packages = v.list(read_package); }},
        {"service_packs", [&](const Value &v) { input.service_packs = v.list(read_service_pack); }},
        {"single_initrd", [&](const Value &v) { input.is_single_initrd_supported = v.flag(); }},
    });
}

Json read_json(const std::string &file)
{
    std::ifstream opened(file);
    std::istream &stream = file == "-" ? std::cin : opened;
    if (file != "-" && (!opened || std::filesystem::is_directory(file))) {
        throw Failure(FAILED, "can't read the file " + shown(file.c_str()),
                      {opened ? "it is a directory" : std::strerror(errno)});
    }
    Json json = Json::parse(stream, nullptr, false);
    if (json.is_discarded()) {
        throw Failure(INVALID_DATA, "the file can't be used", {shown(file.c_str()) + ": isn't JSON"});
    }
    return json;
}

} // namespace

Json text_json(const char *text)
{
    return text == nullptr ? Json() : Json(text);
}

Json service_pack_json(const sp_detail &pack)
{
    return {{"name", text_json(pack.sp_name)}, {"rpms", list_json(pack.sp_rpms, pack.sp_rpms_count)}};
}

Json profile_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    Json json = head_json(profile, selector);
    put_body(json, profile.sdr_sw_profile.sw_profile);
    put_array<&inst_sw_profile_sdr::loc_profiles>(json, "location_profiles", profile.sdr_sw_profile, location_json);
    put<&inst_sw_profile_sdr_ext::sdr_sw_profile_len>(json, "encoded_bytes_at_creation", profile);
    return json;
}

Json locations_json(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    Json json = head_json(profile, selector);
    json["location_profiles"] = Json::array();
    put_array<&inst_sw_profile_sdr::loc_profiles>(json, "location_profiles", profile.sdr_sw_profile, location_json);
    return json;
}

void print_json(const Json &json)
{
    std::printf("%s\n", json.dump(2, ' ', true, Json::error_handler_t::replace).c_str());
}

void read_request(const std::string &file, CreateInput &input)
{
    read_input(Value{read_json(file), file}, input);
}

std::vector<ServicePackInput> read_service_packs(const std::string &file)
{
    return Value{read_json(file), file}.list(read_service_pack);
}
