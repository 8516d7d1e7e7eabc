// An index of service-pack details by name. With it, merging and removing take n log n.
#pragma once

#include "frame/owned.h"
#include "zeld.h"

#include <algorithm>
#include <cstring>

// Borrows the details. Details without a name are not indexed.
struct DetailIndex {
    Owned<const sp_detail *> sorted; // by name, equal names in their original order
    uint32_t count = 0;
};

// Returns false if there is no memory.
inline bool build_index(DetailIndex &index, const sp_detail *details, uint32_t count)
{
    const std::size_t room = std::size_t{count} + 1;
    auto *const sorted = static_cast<const sp_detail **>(std::calloc(room, sizeof(const sp_detail *)));
    if (sorted == nullptr) {
        return false;
    }
    index.sorted.ptr = sorted;
    for (uint32_t i = 0; i < count; ++i) {
        if (sp_detail_has_sp_name(&details[i]) && details[i].sp_name != nullptr) {
            sorted[index.count++] = &details[i];
        }
    }
    std::sort(sorted, sorted + index.count, [](const sp_detail *a, const sp_detail *b) {
        const int order = std::strcmp(a->sp_name, b->sp_name);
        return order != 0 ? order < 0 : a < b;
    });
    return true;
}

// Returns the first detail of this name, or null. A null name finds nothing.
inline const sp_detail *find_detail(const DetailIndex &index, const char *name)
{
    const sp_detail *const *const begin = index.sorted.ptr;
    const sp_detail *const *const end = begin + index.count;
    const auto is_before = [](const sp_detail *detail, const char *text) {
        return std::strcmp(detail->sp_name, text) < 0;
    };
    const auto found = name == nullptr ? end : std::lower_bound(begin, end, name, is_before);
    return found != end && std::strcmp((*found)->sp_name, name) == 0 ? *found : nullptr;
}
