// The steps of changing a stored profile: read it, edit the record, store it. No profile changes on disk before the
// store.
#pragma once

#include "frame/owned.h"
#include "persist/owned_profile.h"

// The stored profile being edited, and the operation's name for messages.
struct ProfileEdit {
    const char *function;
    const char *sdr_key;
    uint8_t is_local;
    int32_t state;
    uint32_t vm_type;
    const char *decode_test_file = nullptr; // if a system test has created it, decoding fails
};

// Each step reports its failure.

// Results: those of inst_get_sdr_swprofile_file().
uint64_t name_profile_file(const ProfileEdit &edit, Owned<char> &path, char **text);

// Results: those of the reader.
uint64_t decode_profile_file(const ProfileEdit &edit, const char *path, OwnedProfile &profile);

// Names and decodes the file. Results: those of the two functions above.
uint64_t read_stored_profile(const ProfileEdit &edit, OwnedProfile &profile);

// Results: those of inst_ldpath_store_sdr_swprofile().
uint64_t store_edited_profile(const ProfileEdit &edit, const OwnedProfile &profile, char **text = nullptr);
