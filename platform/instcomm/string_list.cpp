#include "instcomm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

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

int package_comp(const void *a, const void *b)
{
    const char *const left = *static_cast<char *const *>(a);
    const char *const right = *static_cast<char *const *>(b);
    if (left == nullptr || right == nullptr) {
        return (left != nullptr) - (right != nullptr);
    }
    return std::strcmp(left, right);
}
}
