#include "profile/difference.h"

#include "profile/names.h"
#include "profile/nodes.h"
#include "profile/options.h"
#include "terminal/color.h"

#include "instcomm.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <sstream>
#include <unordered_map>

namespace
{

// Maps the label of each differing field to "old -> new", or to "" for lists and records. The presence bit of a nested
// record is ignored.
using Changes = std::map<std::string, std::string>;

std::string from_to(const std::string &from, const std::string &to)
{
    return from + " -> " + to;
}

// A field that is absent is "-"; an absent flag is "no".
template <class T> std::string value_text(const std::string &label, bool is_present, T value)
{
    if constexpr (std::is_same_v<T, char *>) {
        return printable(value);
    } else if constexpr (std::is_same_v<T, uint8_t>) {
        return value != 0 ? "yes" : "no";
    } else {
        const auto number = static_cast<uint32_t>(value);
        return !is_present          ? "-"
               : label == "Type"    ? package_type_text(number)
               : label == "VM type" ? verd_vm_type_name(number)
                                    : std::to_string(value);
    }
}

bool is_same(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

bool is_same(uint64_t a, uint64_t b)
{
    return a == b;
}

#define DECLARE_DIFFERENCES(R)                                                                                         \
    Changes differing_fields(const R &a, const R &b);                                                                  \
    [[maybe_unused]] bool is_same(const R &a, const R &b)                                                              \
    {                                                                                                                  \
        return differing_fields(a, b).empty();                                                                         \
    }
ZELD_RECORDS(DECLARE_DIFFERENCES)

template <class T> bool is_same(std::span<T> a, std::span<T> b)
{
    return std::ranges::equal(a, b, [](const T &one, const T &other) { return is_same(one, other); });
}

#define COMPARE(R, name, label, is_equal, how)                                                                         \
    if (R##_has_##name(&a) != R##_has_##name(&b) || (R##_has_##name(&a) && !(is_equal))) {                             \
        changes[label] = how;                                                                                          \
    }
#define COMPARE_VALUE(R, bit, type, name, label)                                                                       \
    COMPARE(R, name, label, is_same(a.name, b.name),                                                                   \
            from_to(value_text(label, R##_has_##name(&a), a.name), value_text(label, R##_has_##name(&b), b.name)))
#define COMPARE_ARRAY(R, bit, type, name, label)                                                                       \
    COMPARE(R, name, label, is_same(array_of(a, R##_get_##name), array_of(b, R##_get_##name)), "")
#define COMPARE_RECORD(R, bit, type, name, label)                                                                      \
    if (!is_same(a.name, b.name)) {                                                                                    \
        changes[label] = "";                                                                                           \
    }
#define DEFINE_DIFFERENCES(R)                                                                                          \
    Changes differing_fields(const R &a, const R &b)                                                                   \
    {                                                                                                                  \
        Changes changes;                                                                                               \
        ZELD_FIELDS_##R(COMPARE_VALUE, COMPARE_RECORD, COMPARE_ARRAY) return changes;                                  \
    }
ZELD_RECORDS(DEFINE_DIFFERENCES)

std::string key_of(const char *text)
{
    return printable(text);
}

std::string key_of(const inst_swp_package &package)
{
    return printable(package.name);
}

std::string key_of(const sp_detail &pack)
{
    return printable(pack.sp_name);
}

std::string key_of(const inst_sw_profile_loc &location)
{
    const std::string nodes = nodes_text(nodes_of(location));
    return nodes.empty() ? "none" : nodes;
}

// The differences of an element that both lists have, as one text; "" if there are none.
template <class Record> std::string change_of(const Record &from, const Record &to)
{
    std::string all;
    for (const auto &[label, how] : differing_fields(from, to)) {
        all += (all.empty() ? "" : ", ") + label + (how.empty() ? "" : ": " + how);
    }
    return all;
}

// Collects the differences of a body or, for some nodes, of the body of a location profile.
struct Collector {
    std::vector<Difference> &changes;
    std::string nodes;

    void add(Difference::Kind kind, const std::string &what, const std::string &name, const std::string &how = "")
    {
        changes.push_back({kind, what, name, how, nodes});
    }

    // Elements with equal names are paired in order.
    template <class T, class How>
    void compare_lists(const std::string &what, std::span<T> from, std::span<T> to, How how)
    {
        std::unordered_map<std::string, std::vector<std::size_t>> positions; // in `to`, in descending order
        for (std::size_t i = to.size(); i-- > 0;) {
            positions[key_of(to[i])].push_back(i);
        }
        std::vector<bool> is_matched(to.size());
        std::size_t last = 0;
        bool is_in_order = true;
        for (const T &element : from) {
            const std::string name = key_of(element);
            std::vector<std::size_t> &found = positions[name];
            if (found.empty()) {
                add(Difference::Removed, what, name);
                continue;
            }
            const std::size_t position = found.back();
            found.pop_back();
            is_matched[position] = true;
            is_in_order = is_in_order && position >= last;
            last = position;
            const std::string change = how(element, to[position]);
            if (!change.empty()) {
                add(Difference::Changed, what, name, change);
            }
        }
        for (std::size_t i = 0; i < to.size(); ++i) {
            if (!is_matched[i]) {
                add(Difference::Added, what, key_of(to[i]));
            }
        }
        if (!is_in_order) {
            add(Difference::Changed, what + "s", "", "in another order");
        }
    }

    void compare_texts(const std::string &what, const char *from, const char *to)
    {
        if (!is_same(from, to)) {
            add(Difference::Changed, what, "", from_to(printable(from), printable(to)));
        }
    }

    // Adds the differing fields that have not been handled otherwise.
    void add_remaining(Changes fields, std::initializer_list<const char *> handled, const std::string &of)
    {
        for (const char *const label : handled) {
            fields.erase(label);
        }
        for (const auto &[label, how] : fields) {
            add(Difference::Changed, of + label, "", how);
        }
    }

    void compare_bodies(const inst_sw_profile_info &from, const inst_sw_profile_info &to)
    {
        compare_texts("image", from.image.name, to.image.name);
        compare_lists("base RPM", array_of(from.image, inst_swp_package_get_files),
                      array_of(to.image, inst_swp_package_get_files),
                      [](const char *, const char *) { return std::string(); });
        compare_texts("version", from.version, to.version);
        compare_lists("package", packages_of(from), packages_of(to), change_of<inst_swp_package>);
        const std::size_t before = changes.size();
        compare_lists("service pack", service_packs_of(from), service_packs_of(to), change_of<sp_detail>);
        Changes fields = differing_fields(from, to);
        if (changes.size() != before) { // reported already as service packs
            fields.erase("Service pack names");
        }
        add_remaining(fields, {"Logical volume", "Image", "Packages", "Version", "Service packs"}, "");
        add_remaining(differing_fields(from.image, to.image), {"Name", "RPMs"}, "image: ");
    }
};

} // namespace

std::vector<Difference> differences(const inst_sw_profile_sdr_ext &from, const inst_sw_profile_sdr_ext &to)
{
    std::vector<Difference> changes;
    uint8_t is_equal = 0; // what the library counts as equal has no differences
    if (instcomm_compare_swp_profiles(&from, &to, &is_equal, 0) == 0 && is_equal != 0) {
        return changes;
    }
    const inst_sw_profile_sdr &old = from.sdr_sw_profile;
    const inst_sw_profile_sdr &current = to.sdr_sw_profile;
    const std::span<inst_sw_profile_loc> old_locations = locations_of(from);
    const std::span<inst_sw_profile_loc> locations = locations_of(to);
    Collector main = {changes, ""};
    main.compare_bodies(old.sw_profile, current.sw_profile);
    main.compare_lists("location profile", old_locations, locations,
                       [&](const inst_sw_profile_loc &a, const inst_sw_profile_loc &b) {
                           Collector{changes, key_of(a)}.compare_bodies(a.sw_profile, b.sw_profile);
                           return std::string();
                       });
    if (old_locations.empty()) { // report the content of the new ones
        for (const inst_sw_profile_loc &location : locations) {
            Collector{changes, key_of(location)}.compare_bodies({}, location.sw_profile);
        }
    }
    main.add_remaining(differing_fields(old, current), {"Software", "Location profiles"}, "");
    main.add_remaining(differing_fields(from, to), {"Software profile", "Encoded bytes at creation"}, "");
    return changes;
}

std::string text_of(const Difference &difference)
{
    return std::string(1, difference.kind) + " " + difference.what +
           (difference.name.empty() ? "" : " " + difference.name) +
           (difference.nodes.empty() ? "" : " on nodes " + difference.nodes) +
           (difference.how.empty() ? "" : ": " + difference.how);
}

void print_differences(const std::vector<Difference> &differences)
{
    for (const Difference &difference : differences) {
        const Color color = difference.kind == Difference::Added     ? Color::GREEN
                            : difference.kind == Difference::Removed ? Color::RED
                                                                     : Color::YELLOW;
        std::printf("%s\n", colored(text_of(difference), color).c_str());
    }
}

void print_replaced(const Selector &place, const Inspection &previous, const inst_sw_profile_sdr_ext &current)
{
    if (previous.profile != nullptr) {
        const std::vector<Difference> changes = differences(*previous.profile, current);
        if (changes.empty()) {
            std::printf("the previous %s was equal\n", place.describe().c_str());
        }
        print_differences(changes);
    } else {
        std::printf("the previous %s was %s\n", place.describe().c_str(),
                    previous.exists ? previous.findings.front().code.c_str() : "missing");
    }
}

Json difference_json(const Difference &difference)
{
    Json json = {{"change", difference.kind == Difference::Added     ? "added"
                            : difference.kind == Difference::Removed ? "removed"
                                                                     : "changed"},
                 {"what", difference.what}};
    if (!difference.name.empty()) {
        json["name"] = difference.name;
    }
    if (!difference.how.empty()) {
        json["how"] = difference.how;
    }
    if (!difference.nodes.empty()) {
        std::istringstream nodes(difference.nodes);
        for (std::string node; nodes >> node;) {
            json["nodes"].push_back(node);
        }
    }
    return json;
}
