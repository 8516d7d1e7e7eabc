#include "json/read_json.h"

#include "profile/names.h"
#include "profile/nodes.h"
#include "profile/options.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <limits>
#include <map>
#include <set>
#include <sstream>

namespace
{

// A JSON value and its position, such as "FILE.packages[3].name".
struct Value {
    const Json &json;
    std::string where;

    [[noreturn]] void reject(const std::string &fault) const
    {
        throw Failure(INVALID_DATA, "cannot use the file", {where + ": " + fault});
    }

    void require(bool is_met, const std::string &fault) const
    {
        if (!is_met) {
            reject(fault);
        }
    }

    std::string text() const
    {
        require(json.is_string(), "must be a text");
        std::string text = json.get<std::string>();
        require(text.find('\0') == std::string::npos, "has a NUL");
        return text;
    }

    // The value of a text or number that `parse` understands.
    template <class Parse> auto parsed(Parse parse) const
    {
        const auto value = parse(json.is_number() ? json.dump() : text());
        require(value.has_value(), "unknown value " + printable(json.dump().c_str()));
        return *value;
    }

    uint64_t number(uint64_t limit) const
    {
        require(json.is_number_unsigned() && json.get<uint64_t>() <= limit,
                "must be a number from 0 to " + std::to_string(limit));
        return json.get<uint64_t>();
    }

    bool flag() const
    {
        require(json.is_boolean(), "must be true or false");
        return json.get<bool>();
    }
};

using Readers = std::map<std::string, std::function<void(const Value &)>>;

void read_object(const Value &value, const Readers &readers)
{
    value.require(value.json.is_object(), "must be an object");
    for (const auto &[key, field] : value.json.items()) {
        const auto reader = readers.find(key);
        value.require(reader != readers.end(), "unknown field '" + printable(key.c_str()) + "'");
        reader->second(Value{field, value.where + "." + key});
    }
}

// Records own their memory, and free it by free().
void *allocated(std::size_t count, std::size_t size)
{
    void *const memory = std::calloc(count == 0 ? 1 : count, size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

char *new_text(const Value &value)
{
    if (value.json.is_null()) {
        return nullptr;
    }
    const std::string text = value.text();
    return static_cast<char *>(std::memcpy(allocated(text.size() + 1, 1), text.c_str(), text.size() + 1));
}

#define DECLARE_READERS(R) void add_readers(Readers &readers, R &record);
ZELD_RECORDS(DECLARE_READERS)

void read_value(const Value &value, inst_node_loc &node)
{
    node = value.parsed(parse_node);
}

template <class T> void read_value(const Value &value, T &target)
{
    if constexpr (std::is_class_v<T>) {
        Readers readers;
        add_readers(readers, target);
        read_object(value, readers);
    } else if constexpr (std::is_same_v<T, char *>) {
        target = new_text(value);
    } else if constexpr (std::is_same_v<T, uint8_t>) {
        target = value.flag() ? 1 : 0;
    } else if (value.where.ends_with(".type")) {
        target = value.parsed(parse_package_type);
    } else {
        target = static_cast<T>(value.number(std::numeric_limits<T>::max()));
    }
}

// The count is raised before an element is read, so that a partial record is freed completely.
template <class T> void read_array(const Value &value, T *&elements, uint32_t &count)
{
    value.require(value.json.is_array(), "must be a list");
    elements = static_cast<T *>(allocated(value.json.size(), sizeof(T)));
    for (const Json &element : value.json) {
        const std::string where = value.where + "[" + std::to_string(count) + "]";
        read_value(Value{element, where}, elements[count++]);
    }
}

// A field is set before it is read, so that a partial value is freed with the record.
#define ADD_VALUE_READER(R, bit, type, name, label)                                                                    \
    readers[json_key(#name, label)] = [&record](const Value &value) {                                                  \
        R##_set_##name(&record, {});                                                                                   \
        read_value(value, record.name);                                                                                \
    };
#define ADD_ARRAY_READER(R, bit, type, name, label)                                                                    \
    readers[json_key(#name, label)] = [&record](const Value &value) {                                                  \
        R##_set_##name(&record, nullptr, 0);                                                                           \
        read_array(value, record.name, record.name##_count);                                                           \
    };
#define ADD_RECORD_READERS(R, bit, type, name, label) add_nested(readers, json_key(#name, label), record.name);

// An image is a JSON object of its own. The fields of any other nested record are in the object of the outer record.
void add_nested(Readers &readers, const std::string &key, inst_swp_package &image)
{
    readers[key] = [&image](const Value &value) { read_value(value, image); };
}

template <class Record> void add_nested(Readers &readers, const std::string &, Record &record)
{
    add_readers(readers, record);
}

#define DEFINE_READERS(R)                                                                                              \
    [[maybe_unused]] void add_readers(Readers &readers, R &record)                                                     \
    {                                                                                                                  \
        ZELD_FIELDS_##R(ADD_VALUE_READER, ADD_RECORD_READERS, ADD_ARRAY_READER)                                        \
    }
ZELD_RECORDS(DEFINE_READERS)

std::optional<bool> parse_scope(const std::string &text)
{
    return text == "local" || text == "global" ? std::optional(text == "local") : std::nullopt;
}

std::optional<std::string> parse_key(const std::string &text)
{
    return key_fault(text).empty() ? std::optional(text) : std::nullopt;
}

} // namespace

Json read_json(const std::string &file)
{
    if (file != "-" && std::filesystem::is_directory(file)) {
        throw Failure(FAILED, "cannot read the file " + source_name(file), {std::strerror(EISDIR)});
    }
    std::ifstream opened(file == "-" ? "" : file);
    std::ostringstream content;
    content << (file == "-" ? std::cin : opened).rdbuf();
    if (file == "-" ? std::ferror(stdin) != 0 : !opened.is_open() || content.bad()) {
        throw Failure(FAILED, std::string("cannot read ") + (file == "-" ? "" : "the file ") + source_name(file),
                      {std::strerror(errno)});
    }
    return parse_json(content.str(), source_name(file));
}

Json parse_json(const std::string &text, const std::string &source)
{
    // The last value of a repeated key would replace the others without notice.
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
    const Value whole = {Json(), source};
    whole.require(text.find('\0') == text.npos, "not JSON: has a NUL"); // at which the parser would end
    Json json;
    try {
        json = Json::parse(text, watch);
    } catch (const Json::exception &error) {
        const std::string what = error.what();
        const std::size_t line = what.find("at line"); // skips the parser's prefix "[json.exception...]"
        whole.reject("not JSON: " + printable(what.substr(line == what.npos ? what.find("] ") + 2 : line).c_str()));
    }
    whole.require(repeated.empty(), "'" + printable(repeated.c_str()) + "' is given twice");
    return json;
}

std::string source_name(const std::string &file)
{
    return file == "-" ? "standard input" : printable(file.c_str());
}

Profile profile_of(const Json &json, const std::string &source, Place &place)
{
    auto *const record = static_cast<inst_sw_profile_sdr_ext *>(allocated(1, sizeof(inst_sw_profile_sdr_ext)));
    Profile profile(record);
    Readers readers;
    add_readers(readers, *record);
    readers["schema"] = [](const Value &value) {
        value.require(value.number(UINT32_MAX) == JSON_SCHEMA,
                      "must be " + std::to_string(JSON_SCHEMA) + ", the only one that this swprofile reads");
    };
    readers["path"] = [](const Value &) {};
    readers["sdr"] = [&](const Value &value) { place.sdr = value.parsed(parse_key); };
    readers["vm_type"] = [&](const Value &value) { place.vm_type = value.parsed(parse_vm_type); };
    readers["state"] = [&](const Value &value) { place.state = value.parsed(parse_state); };
    readers["scope"] = [&](const Value &value) { place.is_local = value.parsed(parse_scope); };
    read_object(Value{json, source}, readers);
    return profile;
}

ServicePacks service_packs_of(const Json &json, const std::string &source)
{
    const Value value = {json, source};
    value.require(!json.is_object() || !json.contains("service_packs"),
                  "is an object; give the list in its field service_packs: jq .service_packs");
    ServicePacks set(static_cast<serv_packs *>(allocated(1, sizeof(serv_packs))));
    serv_packs_set_service_packs(set.get(), nullptr, 0);
    read_array(value, set->service_packs, set->service_packs_count);
    std::set<std::string> names;
    for (const service_pack &pack : service_packs_of(set.get())) {
        if (pack.sp_name == nullptr) {
            value.reject("a service pack has no name");
        }
        const std::string fault = name_fault(pack.sp_name);
        value.require(fault.empty(), "the name of a service pack " + fault);
        value.require(names.insert(pack.sp_name).second, "the service pack is given twice: " + printable(pack.sp_name));
    }
    return set;
}
