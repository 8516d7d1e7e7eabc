#include "profile_json.h"

#include "frame/enumerations.h"
#include "location/vm_types.h"
#include "names.h"
#include "nodes.h"

#include "zeld/record_fields.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>

namespace
{

// The key of a field: its label in lower case, with '_' for blanks; or what it was called first.
template <class F> std::string key_of()
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

Json json_of(char *text)
{
    return text_json(text);
}

Json image_json(const inst_swp_package &image)
{
    Json json = json_of(image);
    json.erase("type"); // says nothing of an image
    if (json.contains("files")) {
        json["rpms"] = json["files"];
        json.erase("files");
    }
    return json;
}

// Sets json's field; those of a nested record as json's own, but for an image.
template <class F, class Record> void put_field(Json &json, const Record &record)
{
    const auto &value = F::value(record);
    using Value = typename F::Type;
    if constexpr (std::is_same_v<Value, inst_swp_package>) {
        json[key_of<F>()] = image_json(value);
    } else if constexpr (F::kind == zeld::Kind::Record) {
        put_fields(json, value);
    } else if constexpr (F::is_array) {
        Json &array = json[key_of<F>()] = Json::array();
        for (uint32_t i = 0; value != nullptr && i < F::count(record); ++i) {
            array.push_back(json_of(value[i]));
        }
    } else if constexpr (F::kind == zeld::Kind::String) {
        json[key_of<F>()] = text_json(value);
    } else if constexpr (std::is_same_v<Value, uint8_t>) {
        json[key_of<F>()] = value != 0;
    } else {
        json[key_of<F>()] = value;
    }
}

// Sets json's fields to those of the record that are there.
template <class Record> void put_fields(Json &json, const Record &record)
{
    zeld::each_field<Record>([&]<class F, unsigned>() {
        if (record::has<F::member>(record)) {
            put_field<F>(json, record);
        }
        return true;
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
    std::vector<std::string> names;
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
        {"service_pack_names", [&](const Value &v) { names = v.names(); }},
        {"single_initrd", [&](const Value &v) { input.is_single_initrd_supported = v.flag(); }},
    });
    for (const std::string &name : names) {
        if (std::none_of(input.service_packs.begin(), input.service_packs.end(),
                         [&](const ServicePackInput &pack) { return pack.name == name; })) {
            value.refuse("service_pack_names has '" + name + "', which service_packs lacks");
        }
    }
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

void read_request(const std::string &file, CreateInput &input)
{
    read_input(Value{read_json(file), file}, input);
}

std::vector<ServicePackInput> read_service_packs(const std::string &file)
{
    return Value{read_json(file), file}.list(read_service_pack);
}
