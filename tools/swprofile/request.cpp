#include "request.h"

#include "names.h"
#include "profile_json.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <optional>
#include <set>

namespace
{

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
    std::optional<std::vector<std::string>> names;
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
        {"location_profiles",
         [](const Value &v) { v.refuse("can't be created with the profile; leave them out, and use add-for-nodes"); }},
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
    if (names && !std::equal(names->begin(), names->end(), input.service_packs.begin(), input.service_packs.end(),
                             [](const std::string &name, const ServicePackInput &pack) { return name == pack.name; })) {
        value.refuse("service_pack_names aren't the names of service_packs; leave them out, since these are taken");
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
    // A key that is given twice would hide the first one's value.
    std::vector<std::set<std::string>> keys;
    std::string repeated;
    const auto watch = [&](int, Json::parse_event_t event, Json &value) {
        if (event == Json::parse_event_t::object_start) {
            keys.emplace_back();
        } else if (event == Json::parse_event_t::object_end) {
            keys.pop_back();
        } else if (event == Json::parse_event_t::key && !keys.back().insert(value.get<std::string>()).second) {
            repeated = value.get<std::string>();
        }
        return true;
    };
    Json json;
    try {
        json = Json::parse(stream, watch);
    } catch (const Json::exception &error) {
        const std::string what = error.what();
        const std::size_t line = what.find("at line"); // before it stand the parser's own names
        const std::size_t at = line == what.npos ? what.find("] ") + 2 : line;
        throw Failure(INVALID_DATA, "the file can't be used",
                      {shown(file.c_str()) + ": isn't JSON: " + shown(what.substr(at).c_str())});
    }
    if (!repeated.empty()) {
        throw Failure(INVALID_DATA, "the file can't be used",
                      {shown(file.c_str()) + ": '" + shown(repeated.c_str()) + "' is given twice"});
    }
    return json;
}

} // namespace

void read_request(const std::string &file, CreateInput &input)
{
    read_input(Value{read_json(file), file}, input);
}

std::vector<ServicePackInput> read_service_packs(const std::string &file)
{
    const Json json = read_json(file);
    const Value value = {json, file};
    if (json.is_object() && json.contains("service_packs")) {
        value.refuse("must be a list, as its \"service_packs\" is");
    }
    std::vector<ServicePackInput> packs = value.list(read_service_pack);
    std::set<std::string> names;
    for (const ServicePackInput &pack : packs) {
        if (!names.insert(pack.name).second) {
            value.refuse("the service pack is given twice: " + pack.name);
        }
    }
    return packs;
}
