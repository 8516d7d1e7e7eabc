#include "frame/text_list.h"

#include "verd_inst_ldpath.h"

#include <cstring>

uint64_t copy_text(const char *text, char **copy_p)
{
    if (text == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    const std::size_t size = std::strlen(text) + 1;
    auto *const copy = static_cast<char *>(std::malloc(size));
    if (copy == nullptr) {
        return INST_RC_NO_MEMORY;
    }
    if (strncpy_s(copy, size, text, size) != 0) {
        std::free(copy);
        return INST_RC_INVALID_ARG;
    }
    *copy_p = copy;
    return 0;
}

bool allocate_list(OwnedStringList &list, std::size_t entries)
{
    list.list = static_cast<char **>(std::calloc(entries, sizeof(char *)));
    return list.list != nullptr;
}

bool shrink(OwnedStringList &list)
{
    if (list.count == 0) {
        std::free(std::exchange(list.list, nullptr));
        return true;
    }
    auto *const shrunk = static_cast<char **>(std::realloc(list.list, list.count * sizeof(char *)));
    if (shrunk == nullptr) {
        return false;
    }
    list.list = shrunk;
    return true;
}

uint64_t append_copy(OwnedStringList &list, const char *text)
{
    const uint64_t rc = copy_text(text, &list.list[list.count]);
    list.count += rc == 0 ? 1 : 0;
    return rc;
}

uint64_t append_copies(OwnedStringList &list, char *const *texts, uint32_t count)
{
    uint64_t rc = 0;
    for (uint32_t i = 0; i < count && rc == 0; ++i) {
        rc = append_copy(list, texts[i]);
    }
    return rc;
}
