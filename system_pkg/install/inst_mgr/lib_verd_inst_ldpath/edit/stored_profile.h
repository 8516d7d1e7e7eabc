// A change of a stored profile: read it, edit the record, store it. Nothing on disk changes before the last step.
#pragma once

#include "verd_inst_ldpath.h"

// Which profile, and the operation that changes it, whose name its messages carry.
struct ProfileEdit {
    const char *function;
    const char *sdr_key;
    uint8_t is_local;
    int32_t state;
    uint32_t vm_type;
};

struct StoredProfile {
    inst_sw_profile_sdr_ext *record = nullptr;

    StoredProfile() = default;
    StoredProfile(const StoredProfile &) = delete;
    StoredProfile &operator=(const StoredProfile &) = delete;
    ~StoredProfile() { inst_ldpath_free_swprofile_ext(&record); }

    inst_sw_profile_sdr &sdr() const { return record->sdr_sw_profile; }
};

// Failures are reported. Results: those of naming the file, of the reader and of the store.
uint64_t read_stored_profile(const ProfileEdit &edit, StoredProfile &profile);
uint64_t store_edited_profile(const ProfileEdit &edit, const StoredProfile &profile);
