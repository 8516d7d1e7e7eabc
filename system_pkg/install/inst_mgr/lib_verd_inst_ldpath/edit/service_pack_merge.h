// Merging service packs into those of a body: names and details in parallel lists, those of the body first, then the
// new ones in their order.
#pragma once

#include "zeld.h"

// Names and details, one for each other; what is in the lists when they go out of scope is freed.
struct ServicePackLists {
    char **names = nullptr;
    sp_detail *details = nullptr;
    uint32_t count = 0;

    ServicePackLists() = default;
    ServicePackLists(const ServicePackLists &) = delete;
    ServicePackLists &operator=(const ServicePackLists &) = delete;
    ~ServicePackLists();
};

// What an operation says while it merges. It has these messages in its own words, and `text` is its error text.
struct MergeMessages {
    void (*names_of_body)(char *const *names, uint32_t count); // when the body has the list, be it empty
    void (*details_of_body)(uint32_t count);                   // the same
    void (*body_has_none)(uint32_t new_count);
    void (*body_has_some)();
    void (*first_name)(uint32_t index, const char *name); // added to a body that has none
    void (*first_detail_not_copied)(char **text);
    void (*new_names)(char *const *names, uint32_t count); // that the body doesn't have; at least one
    void (*detail_of_body_not_copied)(char **text);
    void (*detail_missing)(const char *name, char **text);
    void (*new_detail_not_copied)(char **text);
    void (*merged_name)(uint32_t index, const char *name); // all those of the merged list
};

// Builds the merged lists, of copies; the body isn't changed. Results: 0; INST_RC_NO_MEMORY, also when a name of the
// body has no detail; INST_RC_FAILED for a new name without a detail; those of instcomm_match_lists().
uint64_t merge_service_packs(const inst_sw_profile_info &body, const ServicePackLists &added,
                             const MergeMessages &messages, ServicePackLists &merged, char **text);

// Frees the body's lists and puts the merged ones in their place; or any others; or nothing.
void replace_service_packs(inst_sw_profile_info &body, ServicePackLists &merged);
void set_service_packs(inst_sw_profile_info &body, char **names, uint32_t name_count, sp_detail *details,
                       uint32_t detail_count);
void clear_service_packs(inst_sw_profile_info &body);

void free_details(sp_detail *details, uint32_t count);
