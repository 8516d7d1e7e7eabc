#include "difference.h"

#include "names.h"
#include "nodes.h"

#include "instcomm.h"
#include "zeld/order.h"
#include "zeld/record_fields.h"

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <unordered_map>

namespace
{

using Info = inst_sw_profile_info;
using Package = inst_swp_package;
using Sdr = inst_sw_profile_sdr;
using Ext = inst_sw_profile_sdr_ext;
using zeld::AllBut;
using zeld::Only;
using zeld::order_of;

template <auto... Members, class R> bool differ(const R &from, const R &to)
{
    return order_of<Only<Members...>>(from, to) != 0;
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

template <auto Member> auto elements_of(const record::Record<Member> &record)
{
    record::Value<Member> array = nullptr;
    const uint32_t count = record::get<Member>(record, &array);
    return std::vector<std::decay_t<decltype(*array)>>(array, array + count);
}

std::string type_text(const Package &package)
{
    return record::has<&Package::pkg_type>(package) ? std::to_string(package.pkg_type) : "-";
}

// What has become of a package that is in both.
std::string package_change(const Package &from, const Package &to)
{
    std::string how;
    if (order_of(from, to) == 0) {
        return how;
    }
    const auto add = [&](bool is_different, const std::string &text) {
        how += !is_different ? "" : (how.empty() ? "" : ", ") + text;
    };
    add(differ<&Package::pkg_type>(from, to), "type " + from_to(type_text(from), type_text(to)));
    add(differ<&Package::files>(from, to), "RPMs");
    add(differ<&Package::is_sp_pkg>(from, to), "membership of service packs");
    add(differ<&Package::pkg_value>(from, to), "value");
    using Others =
        AllBut<&Package::name, &Package::pkg_type, &Package::files, &Package::is_sp_pkg, &Package::pkg_value>;
    add(order_of<Others>(from, to) != 0, "other fields");
    return how;
}

std::string pack_change(const sp_detail &from, const sp_detail &to)
{
    return order_of(from, to) != 0 ? "RPMs" : "";
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
    if (zeld::order_of(from, to) != 0) {
        add(Change::Changed, what, "", from_to(shown(from), shown(to)));
    }
}

void Collector::compare_bodies(const Info &from, const Info &to)
{
    compare_texts("image", from.image.name, to.image.name);
    compare_lists("base RPM", elements_of<&Package::files>(from.image), elements_of<&Package::files>(to.image),
                  text_change);
    compare_texts("version", from.version, to.version);
    compare_lists("package", elements_of<&Info::packages>(from), elements_of<&Info::packages>(to), package_change);
    const std::size_t before_packs = changes.size();
    compare_lists("service pack", elements_of<&Info::sp_details>(from), elements_of<&Info::sp_details>(to),
                  pack_change);
    const bool is_told = std::any_of(changes.begin() + static_cast<std::ptrdiff_t>(before_packs), changes.end(),
                                     [](const Change &change) { return change.kind != Change::Changed; });
    if (differ<&Info::sp_names>(from, to) && !is_told) {
        add(Change::Changed, "names of service packs", "");
    }
    using Others =
        AllBut<&Info::lv_name, &Info::image, &Info::packages, &Info::version, &Info::sp_details, &Info::sp_names>;
    if (order_of<Others>(from, to) != 0 ||
        order_of<AllBut<&Package::name, &Package::files>>(from.image, to.image) != 0) {
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
    main.compare_lists("location profile", elements_of<&Sdr::loc_profiles>(old),
                       elements_of<&Sdr::loc_profiles>(current),
                       [&](const inst_sw_profile_loc &a, const inst_sw_profile_loc &b) -> std::string {
                           Collector location = {changes, key_of(a)};
                           location.compare_bodies(a.sw_profile, b.sw_profile);
                           return order_of<AllBut<&inst_sw_profile_loc::sw_profile>>(a, b) != 0 ? "other fields" : "";
                       });
    if (elements_of<&Sdr::loc_profiles>(old).empty()) { // what the first ones hold
        for (const inst_sw_profile_loc &location : elements_of<&Sdr::loc_profiles>(current)) {
            Collector{changes, key_of(location)}.compare_bodies({}, location.sw_profile);
        }
    }
    if (order_of<AllBut<&Ext::sdr_sw_profile, &Ext::sdr_sw_profile_len>>(from, to) != 0 ||
        order_of<AllBut<&Sdr::sw_profile, &Sdr::loc_profiles>>(old, current) != 0 || changes.empty()) {
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
