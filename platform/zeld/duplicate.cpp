#include "build.h"

#include <cstdlib>
#include <cstring>

namespace zeld
{
namespace
{

[[gnu::always_inline]] inline Status copy_string(char *&copy, const char *text, zeld_allocator allocate)
{
    copy = nullptr;
    if (text == nullptr) {
        return OK;
    }
    const std::size_t size = std::strlen(text) + 1;
    copy = static_cast<char *>(allocate(size));
    if (copy == nullptr) {
        return NO_MEMORY;
    }
    std::memcpy(copy, text, size);
    return OK;
}

template <class R> Status copy_record(R &copy, const R &record, zeld_allocator allocate);

template <class F, class R>
[[gnu::always_inline]] inline Status copy_array(R &copy, const R &record, zeld_allocator allocate)
{
    const auto *const source = F::value(record);
    const uint32_t count = source == nullptr ? 0 : F::count(record);
    auto array = F::value(copy);
    Status status = new_array(array, count, allocate);
    uint32_t built = 0;
    for (; built < count && status == OK; ++built) {
        if constexpr (F::kind == Kind::StringList) {
            status = copy_string(array[built], source[built], allocate);
        } else {
            clear_fields(array[built]);
            status = copy_record(array[built], source[built], allocate);
        }
    }
    F::value(copy) = array;
    F::count(copy) = built;
    return status;
}

// The fields of a record into a cleared one.
template <class R> Status copy_record(R &copy, const R &record, zeld_allocator allocate)
{
    Status status = OK;
    const uint64_t bits = presence_of(record);
    set_presence(copy, bits);
    each_field<R>([&]<class F, unsigned bit>() __attribute__((always_inline)) {
        if constexpr (F::kind == Kind::Record) {
            status = copy_record(F::value(copy), F::value(record), allocate);
        } else if constexpr (F::kind == Kind::Scalar) {
            F::value(copy) = F::value(record); // as it stands, whatever its bit says
        } else if ((bits >> bit & 1) != 0) {
            if constexpr (F::kind == Kind::String) {
                status = copy_string(F::value(copy), F::value(record), allocate);
            } else {
                status = copy_array<F>(copy, record, allocate);
            }
        }
        return status == OK;
    });
    return status;
}

template <class R> Status duplicate(R *copy, const R *record, zeld_allocator allocate)
{
    if (copy == nullptr) {
        return NULL_ARGUMENT;
    }
    clear_fields(*copy);
    if (record == nullptr || allocate == nullptr) {
        return NULL_ARGUMENT;
    }
    const Status status = copy_record(*copy, *record, allocate);
    if (status != OK) {
        release(*copy, std::free);
    }
    return status;
}

template <class R> void free_content(R *record, zeld_deallocator deallocate)
{
    if (record != nullptr && deallocate != nullptr) {
        release(*record, deallocate);
    }
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

void zeld_inst_swp_package_free_ext(inst_swp_package *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_inst_node_loc_free_ext(inst_node_loc *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_sp_detail_free_ext(sp_detail *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_serv_packs_free_ext(serv_packs *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_inst_sw_profile_loc_free_ext(inst_sw_profile_loc *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_inst_sw_profile_sdr_ext_free_ext(inst_sw_profile_sdr_ext *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}
}
