// The arrays of a profile's records. An absent one is empty.
#pragma once

#include "verd_inst_ldpath.h"

#include <span>

template <class T, class Record> std::span<T> array_of(const Record &record, uint32_t (*get)(const Record *, T **))
{
    T *elements = nullptr;
    const uint32_t count = get(&record, &elements);
    return {elements, count};
}

inline std::span<inst_swp_package> packages_of(const inst_sw_profile_info &body)
{
    return array_of(body, inst_sw_profile_info_get_packages);
}

inline std::span<sp_detail> service_packs_of(const inst_sw_profile_info &body)
{
    return array_of(body, inst_sw_profile_info_get_sp_details);
}

inline std::span<service_pack> service_packs_of(const serv_packs *set)
{
    return set == nullptr ? std::span<service_pack>() : array_of(*set, serv_packs_get_service_packs);
}

inline std::span<char *> service_pack_names_of(const inst_sw_profile_info &body)
{
    return array_of(body, inst_sw_profile_info_get_sp_names);
}

inline std::span<inst_sw_profile_loc> locations_of(const inst_sw_profile_sdr_ext &profile)
{
    return array_of(profile.sdr_sw_profile, inst_sw_profile_sdr_get_loc_profiles);
}

inline std::span<inst_node_loc> nodes_of(const inst_sw_profile_loc &location)
{
    return array_of(location, inst_sw_profile_loc_get_node_locs);
}
