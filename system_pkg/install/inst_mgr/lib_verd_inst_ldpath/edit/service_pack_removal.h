// Taking service packs out of those of a body: on copies, so that the body is as it was until they are put in place.
#pragma once

#include "edit/detail_index.h"

// What remains; freed when it goes out of scope.
struct RemainingServicePacks {
    OwnedStringList names;
    sp_detail *details = nullptr;
    uint32_t detail_count = 0;
    DetailIndex of_body; // the details there

    RemainingServicePacks() = default;
    RemainingServicePacks(const RemainingServicePacks &) = delete;
    RemainingServicePacks &operator=(const RemainingServicePacks &) = delete;
    ~RemainingServicePacks();
};

// Copies the names of the body but for those that are removed. False when memory runs out.
bool copy_remaining_names(const inst_sw_profile_info &body, const OwnedStringList &removed,
                          RemainingServicePacks &remaining);

// Prepares for copying the details; then copies the body's first detail of each name, in their order. A name without a
// detail is left out. False when memory runs out.
bool make_room_for_details(const inst_sw_profile_info &body, RemainingServicePacks &remaining);
bool copy_remaining_details(RemainingServicePacks &remaining);

// Puts both in the place of the body's lists.
void replace_service_packs(inst_sw_profile_info &body, RemainingServicePacks &remaining);
