// Merges service packs into those of a body. The result has the service packs of the body first, then the new ones in
// their order.
#pragma once

#include "zeld.h"

// Owned parallel arrays: details[i] describes the service pack names[i].
struct ServicePackLists {
    char **names = nullptr;
    sp_detail *details = nullptr;
    uint32_t count = 0;

    ServicePackLists() = default;
    ServicePackLists(const ServicePackLists &) = delete;
    ServicePackLists &operator=(const ServicePackLists &) = delete;
    ~ServicePackLists();
};

// The messages of an operation while it merges; `text` is its error text. docs/architecture.md (Messages) says why
// these are functions.
struct MergeMessages {
    void (*names_of_body)(char *const *names, uint32_t count); // if the list is present, even if empty
    void (*details_of_body)(uint32_t count);                   // as above
    void (*body_has_none)(uint32_t added_count);
    void (*body_has_some)();

    // If the body has no service packs, for each added one:
    void (*added_name)(uint32_t index, const char *name);
    void (*added_detail_not_copied)(char **text);

    // If the body has some. A new name is an added name that the body lacks:
    void (*new_names)(char *const *names, uint32_t count); // unless there are none
    void (*detail_of_body_not_copied)(char **text);
    void (*detail_missing)(const char *name, char **text); // also if the body has no service packs
    void (*new_detail_not_copied)(char **text);
    void (*merged_name)(uint32_t index, const char *name); // for each of the result
};

// Builds the merged lists from copies; does not change the body. Results: 0; INST_RC_NO_MEMORY, also if a name of the
// body has no detail; INST_RC_FAILED if a new name has no detail; those of instcomm_match_lists().
uint64_t merge_service_packs(const inst_sw_profile_info &body, const ServicePackLists &added,
                             const MergeMessages &messages, ServicePackLists &merged, char **text);

// Each first frees both lists of the body. replace_with_merged() then moves the merged lists into it,
// set_service_packs() the given ones; clear_service_packs() makes both absent.
void replace_with_merged(inst_sw_profile_info &body, ServicePackLists &merged);
void set_service_packs(inst_sw_profile_info &body, char **names, uint32_t name_count, sp_detail *details,
                       uint32_t detail_count);
void clear_service_packs(inst_sw_profile_info &body);

void free_details(sp_detail *details, uint32_t count);
