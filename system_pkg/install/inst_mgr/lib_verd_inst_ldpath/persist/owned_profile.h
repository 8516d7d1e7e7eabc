// A fetched or decoded record, freed at the end of its scope.
#pragma once

#include "verd_inst_ldpath.h"

struct OwnedProfile {
    inst_sw_profile_sdr_ext *record = nullptr;

    OwnedProfile() = default;
    OwnedProfile(const OwnedProfile &) = delete;
    OwnedProfile &operator=(const OwnedProfile &) = delete;
    ~OwnedProfile() { inst_ldpath_free_swprofile_ext(&record); }

    inst_sw_profile_sdr &sdr() const { return record->sdr_sw_profile; }
    inst_sw_profile_info &body() const { return sdr().sw_profile; }
};
