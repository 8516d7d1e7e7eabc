#include "release.h"
#include "wire.h"

#include <bit>
#include <cstdlib>
#include <cstring>

namespace zeld
{
namespace
{

struct Reader {
    const uint8_t *end;
    zeld_allocator allocate;
    Status status = OK;

    std::size_t left(const uint8_t *at) const { return static_cast<std::size_t>(end - at); }

    const uint8_t *fail(Status why)
    {
        status = why;
        return nullptr;
    }
};

// Each get() reads the value at a position and returns the position after it, or null on failure. It reads nothing past
// the end, and compares every count and length with the bytes left before it allocates memory.
template <IsNumber T> const uint8_t *get(Reader &in, const uint8_t *at, T &number)
{
    if (in.left(at) < sizeof number) {
        return in.fail(BAD_ENCODING);
    }
    number = load<T>(at);
    return at + sizeof number;
}

using Block = uint8_t __attribute__((vector_size(16)));

// Copies a block and returns a mask with 0xff for each of its zero bytes.
inline Block copy_block(char *to, const uint8_t *from)
{
    Block block;
    std::memcpy(&block, from, sizeof block);
    std::memcpy(to, &block, sizeof block);
    return reinterpret_cast<Block>(block == 0);
}

// Copies the bytes of a text and returns whether they contain a NUL. The last block may overlap the previous one.
// Searching while copying makes decoding 15 % faster than memcpy() and memchr().
inline bool copy_and_find_nul(char *text, const uint8_t *bytes, std::size_t length)
{
    if (length < sizeof(Block)) {
        std::memcpy(text, bytes, length);
        return std::memchr(bytes, '\0', length) != nullptr;
    }
    const std::size_t last = length - sizeof(Block);
    Block zeros = copy_block(text + last, bytes + last);
    for (std::size_t i = 0; i < last; i += sizeof(Block)) {
        zeros |= copy_block(text + i, bytes + i);
    }
    const auto halves = std::bit_cast<std::array<uint64_t, 2>>(zeros);
    return (halves[0] | halves[1]) != 0;
}

// Inlined, since decoding takes 5 % longer otherwise.
[[gnu::always_inline]] inline const uint8_t *get(Reader &in, const uint8_t *at, char *&text)
{
    text = nullptr;
    TextLength length = 0;
    at = get(in, at, length);
    if (at == nullptr || length == NULL_TEXT) {
        return at;
    }
    if (length > in.left(at)) {
        return in.fail(BAD_ENCODING);
    }
    text = static_cast<char *>(in.allocate(std::size_t{length} + 1));
    if (text == nullptr) {
        return in.fail(NO_MEMORY);
    }
    text[length] = '\0';
    return copy_and_find_nul(text, at, length) ? in.fail(BAD_ENCODING) : at + length;
}

template <IsRecord R> const uint8_t *get(Reader &in, const uint8_t *at, R &record);

// The fewest bytes that a text or a record takes.
template <class T> constexpr std::size_t min_size()
{
    std::size_t size = sizeof(TextLength);
    if constexpr (IsRecord<T>) {
        size = sizeof(T::presence);
        for_each_field<T>([&](auto field) {
            if constexpr (field.is_record) {
                size += min_size<typename decltype(field)::Type>();
            }
        });
    }
    return size;
}

// On failure, the count includes the element that failed, so that releasing the record frees what it owns.
template <class T> const uint8_t *get_array(Reader &in, const uint8_t *at, T *&array, uint32_t &count)
{
    array = nullptr;
    count = 0;
    uint32_t announced = 0;
    at = get(in, at, announced);
    if (at == nullptr || announced == 0) {
        return at;
    }
    if (announced > in.left(at) / min_size<T>()) {
        return in.fail(BAD_ENCODING);
    }
    T *const elements = static_cast<T *>(in.allocate(announced * sizeof(T)));
    if (elements == nullptr) {
        return in.fail(NO_MEMORY);
    }
    uint32_t begun = 0;
    for (; begun < announced && at != nullptr; ++begun) {
        at = get(in, at, elements[begun]);
    }
    array = elements;
    count = begun;
    return at;
}

// Sets every field. Absent fields, and all fields after a failure, are cleared.
template <IsRecord R> const uint8_t *get(Reader &in, const uint8_t *at, R &record)
{
    Presence<R> bits = 0;
    at = get(in, at, bits);
    if (bits >> Schema<R>::field_count != 0) {
        at = in.fail(BAD_ENCODING);
        bits = 0;
    }
    set_presence(record, bits);
    for_each_field<R>([&](auto field) {
        if (!field.is_visited(bits) || at == nullptr) {
            clear_field(field, record);
        } else if constexpr (field.is_array) {
            at = get_array(in, at, field.value(record), field.count(record));
        } else {
            at = get(in, at, field.value(record));
        }
    });
    return at;
}

// Checks the header and the checksum.
bool is_whole(const uint8_t *bytes, std::size_t size)
{
    if (size < sizeof(Header) + sizeof(Checksum) || size > MAX_ENCODING) {
        return false;
    }
    const std::size_t end = size - sizeof(Checksum);
    return std::memcmp(bytes, header_of(RootKind::SdrExt, size).data(), sizeof(Header)) == 0 &&
           std::memcmp(bytes + end, checksum_of(bytes, end).data(), sizeof(Checksum)) == 0;
}

Status decode(inst_sw_profile_sdr_ext *record, const uint8_t *bytes, std::size_t size, zeld_allocator allocate)
{
    if (record == nullptr) {
        return NULL_ARGUMENT;
    }
    clear_fields(*record);
    if (bytes == nullptr || allocate == nullptr) {
        return NULL_ARGUMENT;
    }
    if (!is_whole(bytes, size)) {
        return BAD_ENCODING;
    }
    Reader in = {bytes + size - sizeof(Checksum), allocate};
    const uint8_t *const end = get(in, bytes + sizeof(Header), *record);
    if (end != nullptr && end != in.end) {
        in.fail(BAD_ENCODING);
    }
    if (in.status != OK) {
        release_and_clear(*record, std::free);
    }
    return in.status;
}

} // namespace
} // namespace zeld

extern "C" int32_t zeld_inst_sw_profile_sdr_ext_decode_ext(inst_sw_profile_sdr_ext *record, const void *bytes,
                                                           uint32_t count, zeld_allocator allocator, uint64_t)
{
    return zeld::decode(record, static_cast<const uint8_t *>(bytes), count, allocator);
}
