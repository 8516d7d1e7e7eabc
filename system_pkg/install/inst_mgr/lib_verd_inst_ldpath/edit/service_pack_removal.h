// Removes service packs from a body. Works on copies, so a failure leaves the body unchanged.
#pragma once

#include "edit/detail_index.h"

// Owned copies of the remaining names and details.
struct RemainingServicePacks {
    OwnedStringList names;
    sp_detail *details = nullptr;
    uint32_t detail_count = 0;
    DetailIndex details_of_body; // by name

    RemainingServicePacks() = default;
    RemainingServicePacks(const RemainingServicePacks &) = delete;
    RemainingServicePacks &operator=(const RemainingServicePacks &) = delete;
    ~RemainingServicePacks();
};

// Copies the names of the body except the removed ones. Returns false if there is no memory.
bool copy_remaining_names(const inst_sw_profile_info &body, const OwnedStringList &removed,
                          RemainingServicePacks &remaining);

// prepare_details() allocates the array and indexes the body's details. copy_remaining_details() then copies the first
// detail of each remaining name, in the order of the names, and skips names without one. Both return false if there is
// no memory. They are two steps because callers report a failure of the second only.
bool prepare_details(const inst_sw_profile_info &body, RemainingServicePacks &remaining);
bool copy_remaining_details(RemainingServicePacks &remaining);

// Frees the body's lists and moves the remaining ones into the body.
void replace_with_remaining(inst_sw_profile_info &body, RemainingServicePacks &remaining);
