#include "build.h"
#include "bytes.h"
#include "wire.h"

#include <cstdlib>

namespace zeld
{
namespace
{

// The bytes that are left. Nothing past the end is looked at, and every count is held against the bytes left before
// anything is allocated for it.
struct Reader {
    const uint8_t *at;
    const uint8_t *end;
    zeld_allocator allocate;

    [[gnu::always_inline]] inline std::size_t left() const { return static_cast<std::size_t>(end - at); }

    template <class T> [[gnu::always_inline]] inline Status get(T &value)
    {
        uint64_t number = 0;
        const uint8_t *const next = load_number(at, end, 8 * sizeof(T), number);
        if (next == nullptr) {
            return BAD_ENCODING;
        }
        at = next;
        value = static_cast<T>(number);
        return OK;
    }

    // The length of a text that isn't short, or null.
    [[gnu::cold, gnu::noinline]] Status get_unusual_length(std::size_t &length, bool &is_null)
    {
        if (left() == 0) {
            return BAD_ENCODING;
        }
        const uint8_t mark = *at++;
        is_null = mark == NULL_TEXT;
        if (is_null) {
            return OK;
        }
        uint32_t number = 0;
        if (mark != LONG_TEXT || get(number) != OK || number < SHORT_TEXT_LIMIT) {
            return BAD_ENCODING;
        }
        length = number;
        return OK;
    }

    [[gnu::always_inline]] inline Status get_text(char *&text)
    {
        text = nullptr;
        std::size_t length = 0;
        const uint16_t mark = left() < sizeof SHORT_TEXT ? uint16_t{0} : load_little<uint16_t>(at);
        if (is_short_length(mark)) [[likely]] {
            length = short_length(mark);
            at += sizeof SHORT_TEXT;
        } else {
            bool is_null = false;
            const Status status = get_unusual_length(length, is_null);
            if (status != OK || is_null) {
                return status;
            }
        }
        if (length > left()) {
            return BAD_ENCODING;
        }
        text = static_cast<char *>(allocate(length + 1));
        if (text == nullptr) {
            return NO_MEMORY;
        }
        std::memcpy(text, at, length);
        text[length] = '\0';
        at += length;
        return OK;
    }
};

// The fewest bytes that an element of an array takes.
template <class R> constexpr std::size_t min_size()
{
    std::size_t size = 1;
    each_field<R>([&]<class F, unsigned>() {
        if constexpr (F::kind == Kind::Record) {
            size += min_size<typename F::Type>();
        }
        return true;
    });
    return size;
}

template <class R> Status get_record(Reader &in, R &record);

template <class F, class R> [[gnu::always_inline]] inline Status get_array(Reader &in, R &record)
{
    using Element = std::remove_pointer_t<typename F::Type>;
    constexpr bool is_text = F::kind == Kind::StringList;

    std::size_t element_size = 1;
    if constexpr (!is_text) {
        element_size = min_size<Element>();
    }
    uint32_t count = 0;
    if (in.get(count) != OK || count > in.left() / element_size) {
        return BAD_ENCODING;
    }
    Element *array = nullptr;
    Status status = new_array(array, count, in.allocate);
    uint32_t built = 0;
    for (; built < count && status == OK; ++built) {
        if constexpr (is_text) {
            status = in.get_text(array[built]);
        } else {
            clear_fields(array[built]);
            status = get_record(in, array[built]);
        }
    }
    F::value(record) = array;
    F::count(record) = built;
    return status;
}

// The fields of a cleared record.
template <class R> Status get_record(Reader &reader, R &record)
{
    Reader in = reader; // in registers: stores into the record can't reach it
    Status status = OK;
    uint64_t bits = 0;
    if (in.get(bits) != OK || bits >> Schema<R>::field_count != 0) {
        return BAD_ENCODING;
    }
    set_presence(record, bits);
    each_field<R>([&]<class F, unsigned bit>() __attribute__((always_inline)) {
        if constexpr (F::kind == Kind::Record) {
            status = get_record(in, F::value(record));
        } else if ((bits >> bit & 1) != 0) {
            if constexpr (F::kind == Kind::Scalar) {
                status = in.get(F::value(record));
            } else if constexpr (F::kind == Kind::String) {
                status = in.get_text(F::value(record));
            } else {
                status = get_array<F>(in, record);
            }
        }
        return status == OK;
    });
    reader = in;
    return status;
}

bool is_whole(const uint8_t *bytes, uint32_t count, RootKind kind)
{
    if (count < HEADER_SIZE || count > MAX_ENCODING || std::memcmp(bytes, MAGIC, sizeof MAGIC) != 0) {
        return false;
    }
    bool has_zero = false;
    const Checksum stored = {load_little<uint64_t>(bytes + CHECKSUM_AT),
                             load_little<uint64_t>(bytes + CHECKSUM_AT + 8)};
    return load_little<uint16_t>(bytes + 8) == VERSION &&
           load_little<uint16_t>(bytes + 10) == static_cast<uint16_t>(kind) &&
           load_little<uint32_t>(bytes + 12) == count && checksum_of(bytes, count, has_zero) == stored && !has_zero;
}

template <class R> Status decode(RootKind kind, R *record, const void *bytes, uint32_t count, zeld_allocator allocate)
{
    if (record == nullptr) {
        return NULL_ARGUMENT;
    }
    clear_fields(*record);
    if (bytes == nullptr || allocate == nullptr) {
        return NULL_ARGUMENT;
    }
    const auto *const first = static_cast<const uint8_t *>(bytes);
    if (!is_whole(first, count, kind)) {
        return BAD_ENCODING;
    }
    Reader in = {first + HEADER_SIZE, first + count, allocate};
    Status status = get_record(in, *record);
    if (status == OK && in.left() != 0) {
        status = BAD_ENCODING;
    }
    if (status != OK) {
        release(*record, std::free);
    }
    return status;
}

} // namespace
} // namespace zeld

extern "C" int32_t zeld_inst_sw_profile_sdr_ext_decode_ext(inst_sw_profile_sdr_ext *record, const void *bytes,
                                                           uint32_t count, zeld_allocator allocator, uint64_t)
{
    return zeld::decode(zeld::RootKind::SdrExt, record, bytes, count, allocator);
}
