// Lists of copied texts that are made entry by entry.
#pragma once

#include "frame/owned.h"

// Copies a text. Results: 0; INST_RC_INVALID_ARG for a null text and a refused copy; INST_RC_NO_MEMORY. *copy_p is set
// on success only.
uint64_t copy_text(const char *text, char **copy_p);

// Gives an empty list room for so many entries. False without memory.
bool make_room(OwnedStringList &list, std::size_t entries);

// Gives back the room that isn't used; what is left of an empty list is null. False without memory, with the list
// whole.
bool shrink(OwnedStringList &list);

// The last component of a path, within it.
const char *file_name_of(const char *path);

// Appends a copy where there is room. Results as those of copy_text().
uint64_t append_copy(OwnedStringList &list, const char *text);

// Appends copies of a string list, until one can't be made.
uint64_t append_copies(OwnedStringList &list, char *const *texts, uint32_t count);
