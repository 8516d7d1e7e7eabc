// Owners of heap memory, which free it at the end of their scope.
#pragma once

#include "instcomm.h"

#include <cstdlib>
#include <utility>

template <class T> struct Owned {
    T *ptr = nullptr;

    Owned() = default;
    explicit Owned(T *owned) : ptr(owned) {}
    Owned(const Owned &) = delete;
    Owned &operator=(const Owned &) = delete;
    ~Owned() { std::free(ptr); }

    T *release() { return std::exchange(ptr, nullptr); }
};

struct OwnedStringList {
    char **list = nullptr;
    uint32_t count = 0;

    OwnedStringList() = default;
    OwnedStringList(const OwnedStringList &) = delete;
    OwnedStringList &operator=(const OwnedStringList &) = delete;
    ~OwnedStringList() { inst_free_string_list(count, list); }
};
