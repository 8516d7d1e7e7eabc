#include "release.h"

#include <cstdlib>
#include <cstring>

namespace zeld
{
namespace
{

// Each copy() makes a deep copy of a value. After a failure the copy is incomplete, but can be released.
template <IsNumber T> Status copy(T &target, T number, zeld_allocator)
{
    target = number;
    return OK;
}

inline Status copy(char *&target, const char *text, zeld_allocator allocate)
{
    target = nullptr;
    if (text == nullptr) {
        return OK;
    }
    const std::size_t size = std::strlen(text) + 1;
    target = static_cast<char *>(allocate(size));
    if (target == nullptr) {
        return NO_MEMORY;
    }
    std::memcpy(target, text, size);
    return OK;
}

template <IsRecord R> Status copy(R &target, const R &record, zeld_allocator allocate);

// On failure, the count includes the element that failed, so that releasing the record frees what it owns.
template <class T>
Status copy_array(T *&target, uint32_t &target_count, const T *array, uint32_t count, zeld_allocator allocate)
{
    target = nullptr;
    target_count = 0;
    if (array == nullptr || count == 0) {
        return OK;
    }
    T *const elements = static_cast<T *>(allocate(count * sizeof(T)));
    if (elements == nullptr) {
        return NO_MEMORY;
    }
    Status status = OK;
    uint32_t begun = 0;
    for (; begun < count && status == OK; ++begun) {
        status = copy(elements[begun], array[begun], allocate);
    }
    target = elements;
    target_count = begun;
    return status;
}

// Copies the fields, numbers even if their bits are clear, and clears other absent fields. After a failure, clears the
// remaining fields.
template <IsRecord R> Status copy(R &target, const R &record, zeld_allocator allocate)
{
    const auto bits = presence_of(record);
    set_presence(target, bits);
    Status status = OK;
    for_each_field<R>([&](auto field) {
        if (!(field.is_number || field.is_visited(bits)) || status != OK) {
            clear_field(field, target);
        } else if constexpr (field.is_array) {
            status = copy_array(field.value(target), field.count(target), field.value(record), field.count(record),
                                allocate);
        } else {
            status = copy(field.value(target), field.value(record), allocate);
        }
    });
    return status;
}

template <class R> Status duplicate(R *target, const R *record, zeld_allocator allocate)
{
    if (target == nullptr) {
        return NULL_ARGUMENT;
    }
    if (record == nullptr || allocate == nullptr) {
        clear_fields(*target);
        return NULL_ARGUMENT;
    }
    const Status status = copy(*target, *record, allocate);
    if (status != OK) {
        release_and_clear(*target, std::free);
    }
    return status;
}

} // namespace
} // namespace zeld

extern "C" {

int32_t zeld_inst_swp_package_duplicate(inst_swp_package *dst, const inst_swp_package *src, zeld_allocator allocator,
                                        uint64_t)
{
    return zeld::duplicate(dst, src, allocator);
}

int32_t zeld_inst_node_loc_duplicate(inst_node_loc *dst, const inst_node_loc *src, zeld_allocator allocator, uint64_t)
{
    return zeld::duplicate(dst, src, allocator);
}

int32_t zeld_sp_detail_duplicate(sp_detail *dst, const sp_detail *src, zeld_allocator allocator, uint64_t)
{
    return zeld::duplicate(dst, src, allocator);
}

int32_t zeld_serv_packs_duplicate(serv_packs *dst, const serv_packs *src, zeld_allocator allocator, uint64_t)
{
    return zeld::duplicate(dst, src, allocator);
}
}
