#include "wire.h"

#include <cstring>

namespace zeld
{
namespace
{

struct Buffer {
    uint8_t *bytes;
    std::size_t size;

    bool has_room(std::size_t at, std::size_t count) const { return at + count <= size; }
};

// Each put() stores a value at an offset, if it fits, and returns the offset after it. Offsets keep counting past the
// end of the buffer, so that one pass yields the exact size. They are integers because forming a pointer past the
// buffer would be undefined behaviour. Without [[likely]] and inlining, encoding takes 40 % longer.
template <IsNumber T> std::size_t put(Buffer out, std::size_t at, T number)
{
    if (out.has_room(at, sizeof number)) [[likely]] {
        store(out.bytes + at, number);
    }
    return at + sizeof number;
}

[[gnu::always_inline]] inline std::size_t put(Buffer out, std::size_t at, const char *text)
{
    if (text == nullptr) {
        return put(out, at, NULL_TEXT);
    }
    const std::size_t length = std::strlen(text);
    if (out.has_room(at, sizeof(TextLength) + length)) [[likely]] {
        store(out.bytes + at, static_cast<TextLength>(length));
        std::memcpy(out.bytes + at + sizeof(TextLength), text, length);
    }
    return at + sizeof(TextLength) + length;
}

template <IsRecord R> std::size_t put(Buffer out, std::size_t at, const R &record);

template <class T> std::size_t put_array(Buffer out, std::size_t at, const T *array, uint32_t count)
{
    count = array == nullptr ? 0 : count;
    at = put(out, at, count);
    for (uint32_t i = 0; i < count; ++i) {
        at = put(out, at, array[i]);
    }
    return at;
}

template <IsRecord R> std::size_t put(Buffer out, std::size_t at, const R &record)
{
    const auto bits = presence_of(record);
    at = put(out, at, bits);
    for_each_field<R>([&](auto field) {
        if (field.is_visited(bits)) {
            if constexpr (field.is_array) {
                at = put_array(out, at, field.value(record), field.count(record));
            } else {
                at = put(out, at, field.value(record));
            }
        }
    });
    return at;
}

template <class R> uint32_t encode(RootKind kind, const R *record, void *buffer, uint32_t buffer_size)
{
    if (record == nullptr) {
        return 0;
    }
    const Buffer out = {static_cast<uint8_t *>(buffer), buffer == nullptr ? 0 : buffer_size};
    const std::size_t end = put(out, sizeof(Header), *record);
    const std::size_t size = end + sizeof(Checksum);
    if (size > MAX_ENCODING) {
        return 0;
    }
    if (size <= out.size) {
        const Header header = header_of(kind, size);
        // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): a null buffer has size 0, and `size` is greater
        std::memcpy(out.bytes, header.data(), sizeof header);
        const Checksum checksum = checksum_of(out.bytes, end);
        std::memcpy(out.bytes + end, checksum.data(), sizeof checksum);
    }
    return static_cast<uint32_t>(size);
}

} // namespace
} // namespace zeld

extern "C" {

uint32_t zeld_inst_sw_profile_sdr_encode_ext(const inst_sw_profile_sdr *record, void *buffer, uint32_t buffer_size,
                                             uint32_t, uint32_t, uint32_t)
{
    return zeld::encode(zeld::RootKind::Sdr, record, buffer, buffer_size);
}

uint32_t zeld_inst_sw_profile_sdr_ext_encode_ext(const inst_sw_profile_sdr_ext *record, void *buffer,
                                                 uint32_t buffer_size, uint32_t, uint32_t, uint32_t)
{
    return zeld::encode(zeld::RootKind::SdrExt, record, buffer, buffer_size);
}
}
