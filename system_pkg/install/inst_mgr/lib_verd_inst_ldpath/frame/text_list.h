// Lists of copied texts, built entry by entry.
#pragma once

#include "frame/owned.h"

// Copies a text. Results: 0; INST_RC_INVALID_ARG for a null text or if strncpy_s() fails; INST_RC_NO_MEMORY. Sets
// *copy_p on success only.
uint64_t copy_text(const char *text, char **copy_p);

// Allocates null entries for a list that has none yet; its count remains 0. Returns false if there is no memory.
bool allocate_list(OwnedStringList &list, std::size_t entries);

// Frees the memory of unused entries; an empty list becomes null. Returns false if there is no memory; then the list is
// unchanged.
bool shrink(OwnedStringList &list);

// Appends a copy; the list must have room. Results: those of copy_text().
uint64_t append_copy(OwnedStringList &list, const char *text);

// Appends copies of a string list, up to the first failure. Results: those of copy_text().
uint64_t append_copies(OwnedStringList &list, char *const *texts, uint32_t count);
