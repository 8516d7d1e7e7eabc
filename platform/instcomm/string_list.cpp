#include "instcomm.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

// Returns pointers to the entries, sorted by their texts, equal texts in list order. Null if there is no memory.
char ***sorted_entries(char **list, uint32_t count)
{
    const auto entries = static_cast<char ***>(std::malloc(count * sizeof(char **)));
    for (uint32_t i = 0; entries != nullptr && i < count; ++i) {
        entries[i] = &list[i];
    }
    if (entries != nullptr) {
        std::sort(entries, entries + count, [](char *const *a, char *const *b) {
            const int order = package_comp(a, b);
            return order != 0 ? order < 0 : a < b;
        });
    }
    return entries;
}

char REMOVED[1]; // marks an entry for removal

// Removes the marked entries from the list and sets the unused entries at the end to null.
void erase_removed(char **list, uint32_t *count)
{
    char **const end = std::remove(list, list + *count, REMOVED);
    std::fill(end, list + *count, nullptr);
    *count = static_cast<uint32_t>(end - list);
}

bool is_before(const char *a, const char *b)
{
    return package_comp(&a, &b) < 0;
}

// Frees and marks every entry except the first of equal ones.
void mark_duplicates(char ***entries, uint32_t count)
{
    char **first = entries[0];
    for (uint32_t i = 1; i < count; ++i) {
        if (package_comp(first, entries[i]) == 0) {
            std::free(*entries[i]);
            *entries[i] = REMOVED;
        } else {
            first = entries[i];
        }
    }
}

// The same in quadratic time, without allocating memory.
void mark_duplicates_one_by_one(char **list, uint32_t count)
{
    for (uint32_t i = 1; i < count; ++i) {
        const auto is_same = [&](char *const &other) {
            return other != REMOVED && package_comp(&other, &list[i]) == 0;
        };
        if (std::any_of(list, list + i, is_same)) {
            std::free(list[i]);
            list[i] = REMOVED;
        }
    }
}

} // namespace

extern "C" {

uint64_t inst_dup_string_list(uint32_t count, char *const *list, char ***copy, char **)
{
    if (copy == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    if (list == nullptr || count == 0) {
        *copy = nullptr;
        return 0;
    }
    char **const built = static_cast<char **>(std::calloc(count, sizeof(char *)));
    if (built == nullptr) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < count; ++i) {
        if (list[i] != nullptr && (built[i] = strdup(list[i])) == nullptr) {
            inst_free_string_list(i, built);
            return INSTCOMM_RC_NO_MEMORY;
        }
    }
    *copy = built;
    return 0;
}

void inst_free_string_list(uint32_t count, char **list)
{
    for (uint32_t i = 0; list != nullptr && i < count; ++i) {
        std::free(list[i]);
    }
    std::free(list);
}

void inst_print_list(char *buffer, uint32_t size, char *const *list, uint32_t count)
{
    if (buffer == nullptr || size == 0) {
        return;
    }
    buffer[0] = '\0';
    std::size_t used = 0;
    for (uint32_t i = 0; list != nullptr && i < count && used < size; ++i) {
        const int length = std::snprintf(buffer + used, size - used, "%s%s", i == 0 ? "" : ", ",
                                         list[i] == nullptr ? "(null)" : list[i]);
        used += static_cast<std::size_t>(length < 0 ? 0 : length);
    }
}

uint64_t instcomm_match_lists(char *const *a, uint32_t a_count, char *const *b, uint32_t b_count, char ***out,
                              uint32_t *out_count)
{
    if (out == nullptr || out_count == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    a_count = a == nullptr ? 0 : a_count;
    b_count = b == nullptr ? 0 : b_count;
    const auto sorted = static_cast<char **>(std::malloc((std::size_t{b_count} + 1) * sizeof(char *)));
    const auto found = static_cast<char **>(std::malloc((std::size_t{a_count} + 1) * sizeof(char *)));
    if (sorted == nullptr || found == nullptr) {
        std::free(sorted);
        std::free(found);
        return INSTCOMM_RC_NO_MEMORY;
    }
    for (uint32_t i = 0; i < b_count; ++i) {
        sorted[i] = b[i];
    }
    std::qsort(sorted, b_count, sizeof *sorted, package_comp);
    uint32_t count = 0;
    for (uint32_t i = 0; i < a_count; ++i) {
        if (a[i] == nullptr || std::bsearch(&a[i], sorted, b_count, sizeof *sorted, package_comp) == nullptr) {
            found[count++] = a[i];
        }
    }
    std::free(sorted);
    *out = found;
    *out_count = count;
    return 0;
}

uint64_t instcomm_add_to_list(char ***list, uint32_t *count, char *const *names, uint32_t n)
{
    if (list == nullptr || count == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    const uint32_t old_count = *list == nullptr ? 0 : *count;
    const uint32_t total = old_count + (names == nullptr ? 0 : n);
    if (total < old_count) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    char **copies = nullptr;
    const uint64_t rc = inst_dup_string_list(total - old_count, names, &copies, nullptr);
    if (rc != 0 || copies == nullptr) {
        return rc;
    }
    auto *const longer = static_cast<char **>(std::realloc(*list, total * sizeof(char *)));
    if (longer == nullptr) {
        inst_free_string_list(total - old_count, copies);
        return INSTCOMM_RC_NO_MEMORY;
    }
    std::copy(copies, copies + (total - old_count), longer + old_count);
    std::free(copies);
    *list = longer;
    *count = total;
    return 0;
}

void instcomm_remove_from_list(char **list, uint32_t *count, char *const *remove, uint32_t remove_count)
{
    if (list == nullptr || count == nullptr || remove == nullptr || remove_count == 0) {
        return;
    }
    const auto sorted = static_cast<char **>(std::malloc(remove_count * sizeof(char *)));
    if (sorted != nullptr) {
        std::copy(remove, remove + remove_count, sorted);
        std::sort(sorted, sorted + remove_count, is_before);
    }
    for (uint32_t i = 0; i < *count; ++i) {
        const auto is_same = [&](char *other) { return package_comp(&other, &list[i]) == 0; };
        if (list[i] != nullptr &&
            (sorted != nullptr ? std::binary_search(sorted, sorted + remove_count, list[i], is_before)
                               : std::any_of(remove, remove + remove_count, is_same))) { // no memory for `sorted`
            std::free(list[i]);
            list[i] = REMOVED;
        }
    }
    std::free(sorted);
    erase_removed(list, count);
}

void remove_duplicates_from_list(char **list, uint32_t *count)
{
    if (list == nullptr || count == nullptr || *count == 0) {
        return;
    }
    char ***const entries = sorted_entries(list, *count);
    if (entries != nullptr) {
        mark_duplicates(entries, *count);
    } else {
        mark_duplicates_one_by_one(list, *count);
    }
    std::free(entries);
    erase_removed(list, count);
}

int package_comp(const void *a, const void *b)
{
    const char *const left = *static_cast<char *const *>(a);
    const char *const right = *static_cast<char *const *>(b);
    if (left == nullptr || right == nullptr) {
        return (left != nullptr) - (right != nullptr);
    }
    return std::strcmp(left, right);
}

int strncpy_s(char *dst, size_t dst_size, const char *src, size_t count)
{
    if (dst == nullptr || dst_size == 0) {
        return EINVAL;
    }
    const std::size_t length = src == nullptr ? dst_size : strnlen(src, count);
    if (length >= dst_size) {
        dst[0] = '\0';
        return src == nullptr ? EINVAL : ERANGE;
    }
    std::memcpy(dst, src, length);
    dst[length] = '\0';
    return 0;
}
}
