// What subcommands print: tables, and lists of texts.
#pragma once

#include "json/profile_json.h"

#include "instcomm.h"

#include <span>
#include <string>
#include <vector>

using TableRow = std::vector<std::string>;

// Prints a table; each column is as wide as its widest cell. Requires at least one row, and rows of equal length. A
// column is aligned to the right when all below its first cell are numbers or "-".
void print_table(const std::vector<TableRow> &rows);

std::vector<TableRow> service_pack_rows(std::span<const sp_detail> packs); // with a header

// A list of texts that the library returns.
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
