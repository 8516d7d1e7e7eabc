// A change of a stored profile: read it, edit the record, store it. Nothing on disk changes before the last step.
#pragma once

#include "frame/owned.h"
#include "verd_inst_ldpath.h"

// Which profile, and the operation that changes it, whose name its messages carry.
struct ProfileEdit {
    const char *function;
    const char *sdr_key;
    uint8_t is_local;
    int32_t state;
    uint32_t vm_type;
    const char *decode_test_file = nullptr; // by which a system test has the decoding fail
};

struct StoredProfile {
    inst_sw_profile_sdr_ext *record = nullptr;

    StoredProfile() = default;
    StoredProfile(const StoredProfile &) = delete;
    StoredProfile &operator=(const StoredProfile &) = delete;
    ~StoredProfile() { inst_ldpath_free_swprofile_ext(&record); }

    inst_sw_profile_sdr &sdr() const { return record->sdr_sw_profile; }
    inst_sw_profile_info &body() const { return sdr().sw_profile; }
};

// The steps. Failures are reported. Results: those of naming the file, of the reader, of both, and of the store.
uint64_t name_profile_file(const ProfileEdit &edit, Owned<char> &path, char **text);
uint64_t decode_profile_file(const ProfileEdit &edit, const char *path, StoredProfile &profile);
uint64_t read_stored_profile(const ProfileEdit &edit, StoredProfile &profile);
uint64_t store_edited_profile(const ProfileEdit &edit, const StoredProfile &profile, char **text = nullptr);
