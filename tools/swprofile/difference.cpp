#include "difference.h"

#include "names.h"
#include "nodes.h"

#include "instcomm.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <set>
#include <string_view>
#include <unordered_map>

namespace
{

using Info = inst_sw_profile_info;
using Package = inst_swp_package;
using Sdr = inst_sw_profile_sdr;
using Ext = inst_sw_profile_sdr_ext;

// Names of the fields that differ, by their presence or their value; the own bit of a nested record is ignored.
using Names = std::set<std::string_view>;

bool is_same(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

bool is_same(uint64_t a, uint64_t b)
{
    return a == b;
}

#define DECLARE_DIFFERENCES(R)                                                                                         \
    Names differing_fields(const R &a, const R &b);                                                                    \
    [[maybe_unused]] bool is_same(const R &a, const R &b)                                                              \
    {                                                                                                                  \
        return differing_fields(a, b).empty();                                                                         \
    }
ZELD_RECORDS(DECLARE_DIFFERENCES)

template <class T> bool is_same_array(const T *a, uint32_t a_count, const T *b, uint32_t b_count)
{
    return std::equal(a, a + a_count, b, b + b_count, [](const T &one, const T &other) { return is_same(one, other); });
}

#define COMPARE_VALUE(R, bit, type, name, label)                                                                       \
    if (R##_has_##name(&a) != R##_has_##name(&b) || (R##_has_##name(&a) && !is_same(a.name, b.name))) {                \
        names.insert(#name);                                                                                           \
    }
#define COMPARE_RECORD(R, bit, type, name, label)                                                                      \
    if (!is_same(a.name, b.name)) {                                                                                    \
        names.insert(#name);                                                                                           \
    }
#define COMPARE_ARRAY(R, bit, type, name, label)                                                                       \
    {                                                                                                                  \
        type *of_a = nullptr;                                                                                          \
        type *of_b = nullptr;                                                                                          \
        const uint32_t a_count = R##_get_##name(&a, &of_a);                                                            \
        const uint32_t b_count = R##_get_##name(&b, &of_b);                                                            \
        if (R##_has_##name(&a) != R##_has_##name(&b) || !is_same_array(of_a, a_count, of_b, b_count)) {                \
            names.insert(#name);                                                                                       \
        }                                                                                                              \
    }
#define DEFINE_DIFFERENCES(R)                                                                                          \
    Names differing_fields(const R &a, const R &b)                                                                     \
    {                                                                                                                  \
        Names names;                                                                                                   \
        ZELD_FIELDS_##R(COMPARE_VALUE, COMPARE_RECORD, COMPARE_ARRAY) return names;                                    \
    }
ZELD_RECORDS(DEFINE_DIFFERENCES)

// Takes the name out of the set, and returns whether it was there.
bool take(Names &names, std::string_view name)
{
    return names.erase(name) != 0;
}

bool take_all(Names &names, std::initializer_list<std::string_view> taken)
{
    return std::accumulate(taken.begin(), taken.end(), false,
                           [&](bool any, std::string_view name) { return take(names, name) || any; });
}

std::string from_to(const std::string &from, const std::string &to)
{
    return from + " -> " + to;
}

std::string key_of(const Package &package)
{
    return shown(package.name);
}

std::string key_of(const sp_detail &pack)
{
    return shown(pack.sp_name);
}

std::string key_of(const char *text)
{
    return shown(text);
}

std::string key_of(const inst_sw_profile_loc &location)
{
    const std::string nodes = nodes_text(nodes_of(location));
    return nodes.empty() ? "none" : nodes;
}

template <class T, class Record> std::vector<T> elements_of(const Record &record, uint32_t (*get)(const Record *, T **))
{
    T *array = nullptr;
    const uint32_t count = get(&record, &array);
    return {array, array + count};
}

std::string type_text(const Package &package)
{
    return inst_swp_package_has_pkg_type(&package) ? std::to_string(package.pkg_type) : "-";
}

// What has become of a package that is in both.
std::string package_change(const Package &from, const Package &to)
{
    std::string how;
    Names names = differing_fields(from, to);
    const auto add = [&](bool is_different, const std::string &text) {
        how += !is_different ? "" : (how.empty() ? "" : ", ") + text;
    };
    take(names, "name");
    add(take(names, "pkg_type"), "type " + from_to(type_text(from), type_text(to)));
    add(take(names, "files"), "RPMs");
    add(take(names, "is_sp_pkg"), "membership of service packs");
    add(take(names, "pkg_value"), "value");
    add(!names.empty(), "other fields");
    return how;
}

std::string pack_change(const sp_detail &from, const sp_detail &to)
{
    return is_same(from, to) ? "" : "RPMs";
}

std::string text_change(const char *, const char *)
{
    return "";
}

// Collects the changes of a body or, for some nodes, of a location profile's.
struct Collector {
    std::vector<Change> &changes;
    std::string nodes;

    void add(Change::Kind kind, const std::string &what, const std::string &name, const std::string &how = "")
    {
        changes.push_back({kind, what, name, how, nodes});
    }

    template <class T, class How>
    void compare_lists(const std::string &what, const std::vector<T> &from, const std::vector<T> &to, How how);
    void compare_texts(const std::string &what, const char *from, const char *to);
    void compare_bodies(const Info &from, const Info &to);
};

// Elements of one name are taken in pairs, the first with the first.
template <class T, class How>
void Collector::compare_lists(const std::string &what, const std::vector<T> &from, const std::vector<T> &to, How how)
{
    std::unordered_map<std::string, std::vector<std::size_t>> places; // in `to`, the last one first
    for (std::size_t i = to.size(); i-- > 0;) {
        places[key_of(to[i])].push_back(i);
    }
    std::vector<bool> is_old(to.size());
    std::size_t last = 0;
    bool is_in_order = true;
    for (const T &element : from) {
        const std::string name = key_of(element);
        std::vector<std::size_t> &found = places[name];
        if (found.empty()) {
            add(Change::Removed, what, name);
            continue;
        }
        const std::size_t place = found.back();
        found.pop_back();
        is_old[place] = true;
        is_in_order = is_in_order && place >= last;
        last = place;
        const std::string change = how(element, to[place]);
        if (!change.empty()) {
            add(Change::Changed, what, name, change);
        }
    }
    for (std::size_t i = 0; i < to.size(); ++i) {
        if (!is_old[i]) {
            add(Change::Added, what, key_of(to[i]));
        }
    }
    if (!is_in_order) {
        add(Change::Changed, what + "s", "", "in another order");
    }
}

void Collector::compare_texts(const std::string &what, const char *from, const char *to)
{
    if (!is_same(from, to)) {
        add(Change::Changed, what, "", from_to(shown(from), shown(to)));
    }
}

void Collector::compare_bodies(const Info &from, const Info &to)
{
    Names names = differing_fields(from, to);
    compare_texts("image", from.image.name, to.image.name);
    compare_lists("base RPM", elements_of(from.image, inst_swp_package_get_files),
                  elements_of(to.image, inst_swp_package_get_files), text_change);
    compare_texts("version", from.version, to.version);
    compare_lists("package", elements_of(from, inst_sw_profile_info_get_packages),
                  elements_of(to, inst_sw_profile_info_get_packages), package_change);
    const std::size_t before_packs = changes.size();
    compare_lists("service pack", elements_of(from, inst_sw_profile_info_get_sp_details),
                  elements_of(to, inst_sw_profile_info_get_sp_details), pack_change);
    const bool is_told = std::any_of(changes.begin() + static_cast<std::ptrdiff_t>(before_packs), changes.end(),
                                     [](const Change &change) { return change.kind != Change::Changed; });
    if (take(names, "sp_names") && !is_told) {
        add(Change::Changed, "names of service packs", "");
    }
    take_all(names, {"lv_name", "image", "packages", "version", "sp_details"});
    Names of_image = differing_fields(from.image, to.image);
    take_all(of_image, {"name", "files"});
    if (!names.empty() || !of_image.empty()) {
        add(Change::Changed, "other fields", "");
    }
}

} // namespace

std::vector<Change> changes_between(const Ext &from, const Ext &to)
{
    std::vector<Change> changes;
    uint8_t is_equal = 0;
    if (instcomm_compare_swp_profiles(&from, &to, &is_equal, 0) == 0 && is_equal != 0) {
        return changes;
    }
    const Sdr &old = from.sdr_sw_profile;
    const Sdr &current = to.sdr_sw_profile;
    Collector main = {changes, ""};
    main.compare_bodies(old.sw_profile, current.sw_profile);
    main.compare_lists("location profile", elements_of(old, inst_sw_profile_sdr_get_loc_profiles),
                       elements_of(current, inst_sw_profile_sdr_get_loc_profiles),
                       [&](const inst_sw_profile_loc &a, const inst_sw_profile_loc &b) -> std::string {
                           Collector location = {changes, key_of(a)};
                           location.compare_bodies(a.sw_profile, b.sw_profile);
                           Names names = differing_fields(a, b);
                           take(names, "sw_profile");
                           return names.empty() ? "" : "other fields";
                       });
    if (elements_of(old, inst_sw_profile_sdr_get_loc_profiles).empty()) { // what the first ones hold
        for (const inst_sw_profile_loc &location : elements_of(current, inst_sw_profile_sdr_get_loc_profiles)) {
            Collector{changes, key_of(location)}.compare_bodies({}, location.sw_profile);
        }
    }
    Names names = differing_fields(from, to);
    names.merge(differing_fields(old, current));
    take_all(names, {"sdr_sw_profile", "sdr_sw_profile_len", "sw_profile", "loc_profiles"});
    if (!names.empty() || changes.empty()) {
        main.add(Change::Changed, "other fields of the profile", "");
    }
    return changes;
}

std::string text_of(const Change &change)
{
    return std::string(1, change.kind) + " " + change.what + (change.name.empty() ? "" : " " + change.name) +
           (change.nodes.empty() ? "" : " on nodes " + change.nodes) + (change.how.empty() ? "" : ": " + change.how);
}

void print_changes(const std::vector<Change> &changes)
{
    for (const Change &change : changes) {
        std::printf("%s\n", text_of(change).c_str());
    }
}

Json change_json(const Change &change)
{
    Json json = {{"change", change.kind == Change::Added     ? "added"
                            : change.kind == Change::Removed ? "removed"
                                                             : "changed"},
                 {"what", change.what}};
    for (const auto &[key, text] :
         {std::pair{"name", &change.name}, std::pair{"how", &change.how}, std::pair{"nodes", &change.nodes}}) {
        if (!text->empty()) {
            json[key] = *text;
        }
    }
    return json;
}
