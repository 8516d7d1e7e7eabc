#include "bytes.h"
#include "schema.h"
#include "wire.h"

namespace zeld
{
namespace
{

// Writes while there is room and keeps counting past the end, so that one pass yields the exact need.
struct Writer {
    uint8_t *buffer;
    uint64_t size;
    uint64_t used;

    [[gnu::always_inline]] inline bool has_room(uint64_t count) const { return used + count <= size; }

    void put_at_the_end(uint64_t value)
    {
        uint8_t number[MAX_NUMBER_SIZE];
        const std::size_t count = store_number(number, value);
        if (has_room(count)) {
            std::memcpy(buffer + used, number, count);
        }
        used += count;
    }

    [[gnu::always_inline]] inline void put(uint64_t value)
    {
        if (has_room(MAX_NUMBER_SIZE)) [[likely]] {
            used += store_number(buffer + used, value);
        } else {
            put_at_the_end(value);
        }
    }

    // A text is its length plus 1, then its bytes; null is 0.
    [[gnu::always_inline]] inline void put_text(const char *text)
    {
        if (text == nullptr) {
            put(0);
            return;
        }
        const std::size_t length = std::strlen(text);
        if (has_room(MAX_NUMBER_SIZE + length)) [[likely]] {
            used += store_number(buffer + used, length + 1);
            std::memcpy(buffer + used, text, length);
        } else {
            put_at_the_end(length + 1);
            if (has_room(length)) {
                std::memcpy(buffer + used, text, length);
            }
        }
        used += length;
    }
};

template <class R> void put_record(Writer &out, const R &record);

template <class F, class R> [[gnu::always_inline]] inline void put_field(Writer &out, const R &record)
{
    const auto &value = F::value(record);
    if constexpr (F::kind == Kind::Scalar) {
        out.put(value);
    } else if constexpr (F::kind == Kind::String) {
        out.put_text(value);
    } else {
        const uint32_t count = value == nullptr ? 0 : F::count(record);
        out.put(count);
        for (uint32_t i = 0; i < count; ++i) {
            if constexpr (F::kind == Kind::StringList) {
                out.put_text(value[i]);
            } else {
                put_record(out, value[i]);
            }
        }
    }
}

// The presence bits, then each field that is there. A nested record always follows: its own bit says nothing about
// its fields.
template <class R> void put_record(Writer &writer, const R &record)
{
    Writer out = writer; // in registers: stores into the buffer can't reach it
    out.put(presence_of(record));
    each_field<R>([&]<class F, unsigned bit>() __attribute__((always_inline)) {
        if constexpr (F::kind == Kind::Record) {
            put_record(out, F::value(record));
        } else if (is_present(record, bit)) {
            put_field<F>(out, record);
        }
        return true;
    });
    writer = out;
}

template <class R> uint32_t encode(RootKind kind, const R *record, void *buffer, uint32_t buffer_size)
{
    if (record == nullptr) {
        return 0;
    }
    Writer out = {static_cast<uint8_t *>(buffer), buffer == nullptr ? 0 : buffer_size, HEADER_SIZE};
    put_record(out, *record);
    if (out.used > MAX_ENCODING) {
        return 0;
    }
    if (out.used <= out.size) {
        uint8_t *const header = out.buffer;
        std::memcpy(header, MAGIC, sizeof MAGIC);
        store_little(header + 8, VERSION);
        store_little(header + 10, static_cast<uint16_t>(kind));
        store_little(header + 12, static_cast<uint32_t>(out.used));
        bool has_zero = false;
        const Checksum checksum = checksum_of(header, out.used, has_zero);
        store_little(header + CHECKSUM_AT, checksum.sum);
        store_little(header + CHECKSUM_AT + 8, checksum.weighted);
    }
    return static_cast<uint32_t>(out.used);
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
