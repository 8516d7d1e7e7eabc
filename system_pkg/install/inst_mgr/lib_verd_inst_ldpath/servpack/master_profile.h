// The master profiles of an SDR: the global ones of QX and of Admin, which an install operation needs.
#pragma once

#include "edit/stored_profile.h"

// How an operation tells of one.
struct MasterMessages {
    void (*is_missing)(const char *sdr_key);
    void (*exists)();
    void (*not_fetched)(const char *sdr_key, uint64_t rc);
};

// Which one; the one of Admin has no key.
struct Master {
    const char *sdr_key;
    int32_t state;
    uint32_t vm_type; // VERD_VM_QX or VERD_VM_ADMIN
};

// Results: 0; INSTMGR_RC_SWPROFILE_NOT_FOUND; those of looking for it and of fetching it.
uint64_t fetch_master(const Master &master, const MasterMessages &messages, StoredProfile &profile, char **text);
