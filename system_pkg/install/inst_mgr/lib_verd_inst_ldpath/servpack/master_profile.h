// Fetches master profiles: the global QX profile of an SDR and the global Admin profile, which an install operation
// needs.
#pragma once

#include "persist/owned_profile.h"

// The messages of an operation about a master profile. docs/architecture.md (Messages) says why these are functions.
struct MasterMessages {
    void (*is_missing)(const char *sdr_key);
    void (*exists)();
    void (*not_fetched)(const char *sdr_key, uint64_t rc);
};

// Selects a master profile. The key is null for Admin.
struct MasterProfile {
    const char *sdr_key;
    int32_t state;
    uint32_t vm_type; // VERD_VM_QX or VERD_VM_ADMIN
};

// Results: 0; INSTMGR_RC_SWPROFILE_NOT_FOUND; those of inst_ldpath_check_swprofile_exists() and of fetching.
uint64_t fetch_master_profile(const MasterProfile &master, const MasterMessages &messages, OwnedProfile &profile);
