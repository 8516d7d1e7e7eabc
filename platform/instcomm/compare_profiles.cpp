#include "instcomm.h"
#include "zeld/order.h"

#include <algorithm>
#include <cstdlib>

namespace
{

using Info = inst_sw_profile_info;
using InfoFields = zeld::Schema<inst_sw_profile_info>;
using Location = inst_sw_profile_loc;
using LocationFields = zeld::Schema<inst_sw_profile_loc>;
using Sdr = inst_sw_profile_sdr;
using SdrFields = zeld::Schema<inst_sw_profile_sdr>;
using Ext = inst_sw_profile_sdr_ext;
using ExtFields = zeld::Schema<inst_sw_profile_sdr_ext>;
using zeld::Except;
using zeld::Only;
using zeld::order_of;

// The parts that can be selected, and OTHERS for the remaining fields.
enum : uint32_t { IMAGE = 1, PACKAGES = 2, SERVICE_PACKS = 4, LOCATIONS = 8, VERSION = 16, OTHERS = 32, ALL = 63 };

struct Comparison {
    uint32_t parts;
    bool in_any_order; // of packages
    bool is_out_of_memory = false;

    bool packages_differ(const Info &a, const Info &b);
    const char *body_difference(const Info &a, const Info &b);
    bool locations_differ(const Sdr &a, const Sdr &b);
    const char *difference(const Ext &a, const Ext &b);
};

// A package to be sorted by a hash of its name, then by all fields. With the hash, comparing 5000 packages takes less
// than half of the time, since package names have long common beginnings.
struct HashedPackage {
    uint64_t hash;
    const inst_swp_package *package;

    bool operator<(const HashedPackage &other) const
    {
        return hash != other.hash ? hash < other.hash : order_of(*package, *other.package) < 0;
    }
};

uint64_t hash_of(const char *text)
{
    uint64_t hash = 0xcbf29ce484222325;
    for (; text != nullptr && *text != '\0'; ++text) {
        hash = (hash ^ static_cast<unsigned char>(*text)) * 0x100000001b3;
    }
    return hash;
}

void sort(HashedPackage *sorted, const inst_swp_package *packages, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        const inst_swp_package &package = packages[i];
        sorted[i] = {inst_swp_package_has_name(&package) ? hash_of(package.name) : 0, &package};
    }
    std::sort(sorted, sorted + count);
}

bool Comparison::packages_differ(const Info &a, const Info &b)
{
    inst_swp_package *of_a = nullptr;
    inst_swp_package *of_b = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&a, &of_a);
    if (!in_any_order || count == 0 || count != inst_sw_profile_info_get_packages(&b, &of_b)) {
        return order_of<Only<InfoFields::packages_field>>(a, b) != 0;
    }
    const auto sorted_a = static_cast<HashedPackage *>(std::malloc(2 * std::size_t{count} * sizeof(HashedPackage)));
    if (sorted_a == nullptr) {
        is_out_of_memory = true;
        return true;
    }
    HashedPackage *const sorted_b = sorted_a + count;
    sort(sorted_a, of_a, count);
    sort(sorted_b, of_b, count);
    bool differ = false;
    for (uint32_t i = 0; i < count && !differ; ++i) {
        differ = order_of(*sorted_a[i].package, *sorted_b[i].package) != 0;
    }
    std::free(sorted_a);
    return differ;
}

// Returns the name of the first part that differs, or null.
const char *Comparison::body_difference(const Info &a, const Info &b)
{
    if ((parts & IMAGE) != 0 && order_of<Only<InfoFields::image_field>>(a, b) != 0) {
        return "image";
    }
    if ((parts & VERSION) != 0 && order_of<Only<InfoFields::version_field>>(a, b) != 0) {
        return "version";
    }
    if ((parts & PACKAGES) != 0 && packages_differ(a, b)) {
        return "packages";
    }
    if ((parts & SERVICE_PACKS) != 0 &&
        order_of<Only<InfoFields::sp_names_field, InfoFields::sp_details_field>>(a, b) != 0) {
        return "service packs";
    }
    // lv_name is not compared: it names the logical volume, which differs between states.
    using Others = Except<InfoFields::lv_name_field, InfoFields::image_field, InfoFields::version_field,
                          InfoFields::packages_field, InfoFields::sp_names_field, InfoFields::sp_details_field>;
    return (parts & OTHERS) != 0 && order_of<Others>(a, b) != 0 ? "other fields of the body" : nullptr;
}

bool Comparison::locations_differ(const Sdr &a, const Sdr &b)
{
    Location *of_a = nullptr;
    Location *of_b = nullptr;
    const uint32_t count = inst_sw_profile_sdr_get_loc_profiles(&a, &of_a);
    bool differ = inst_sw_profile_sdr_has_loc_profiles(&a) != inst_sw_profile_sdr_has_loc_profiles(&b) ||
                  count != inst_sw_profile_sdr_get_loc_profiles(&b, &of_b);
    Comparison whole = {ALL, in_any_order};
    for (uint32_t i = 0; i < count && !differ; ++i) {
        differ = order_of<Except<LocationFields::sw_profile_field>>(of_a[i], of_b[i]) != 0 ||
                 whole.body_difference(of_a[i].sw_profile, of_b[i].sw_profile) != nullptr;
    }
    is_out_of_memory = is_out_of_memory || whole.is_out_of_memory;
    return differ;
}

const char *Comparison::difference(const Ext &a, const Ext &b)
{
    const Sdr &of_a = a.sdr_sw_profile;
    const Sdr &of_b = b.sdr_sw_profile;
    if (const char *const name = body_difference(of_a.sw_profile, of_b.sw_profile)) {
        return name;
    }
    if ((parts & LOCATIONS) != 0 && locations_differ(of_a, of_b)) {
        return "location profiles";
    }
    const bool others_differ =
        order_of<Except<ExtFields::sdr_sw_profile_field, ExtFields::sdr_sw_profile_len_field>>(a, b) != 0 ||
        order_of<Except<SdrFields::sw_profile_field, SdrFields::loc_profiles_field>>(of_a, of_b) != 0;
    return (parts & OTHERS) != 0 && others_differ ? "other fields" : nullptr;
}

} // namespace

extern "C" {

uint64_t instcomm_compare_swp_profiles(const inst_sw_profile_sdr_ext *a, const inst_sw_profile_sdr_ext *b,
                                       uint8_t *is_equal, uint32_t)
{
    uint8_t is_first = 1;
    return instcomm_cmp_swprofile_ext(a, b, 0, &is_first, 0, 0, is_equal);
}

uint64_t instcomm_cmp_swprofile_ext(const inst_sw_profile_sdr_ext *src, const inst_sw_profile_sdr_ext *dst,
                                    uint32_t selector, uint8_t *first, uint32_t, uint32_t option, uint8_t *match)
{
    if (src == nullptr || dst == nullptr || match == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    const uint32_t selected = selector & (ALL - OTHERS);
    Comparison comparison = {selected == 0 ? ALL : selected, option == 1};
    const char *const difference = comparison.difference(*src, *dst);
    if (comparison.is_out_of_memory) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    if (difference != nullptr && first != nullptr && *first != 0) {
        instcomm_log("profiles differ: %s\n", difference);
        *first = 0;
    }
    *match = difference == nullptr ? 1 : 0;
    return 0;
}
}
