// Lists of texts that the library returns, and printing them.
#pragma once

#include "json/profile_json.h"

#include "instcomm.h"

#include <string>
#include <vector>

struct StringList {
    char **list = nullptr;
    uint32_t count = 0;

    StringList() = default;
    StringList(const StringList &) = delete;
    StringList &operator=(const StringList &) = delete;
    ~StringList() { inst_free_string_list(count, list); }
};

// Prints the texts, one per line, or as JSON under a key.
void print_list(const StringList &list, const char *key, bool is_json);
