#include "bytes.h"
#include "schema.h"
#include "wire.h"

namespace zeld
{
namespace
{

// Writes while there is room and keeps counting past the end, so that one pass yields the exact need. Positions are
// numbers, since those past the end are no pointers.
struct Writer {
    uintptr_t at;
    uintptr_t end;

    [[gnu::always_inline]] inline uint8_t *here() const { return reinterpret_cast<uint8_t *>(at); }
    [[gnu::always_inline]] inline bool has_room(std::size_t count) const { return at + count <= end; }

    void put_bytes(const void *bytes, std::size_t count)
    {
        if (has_room(count)) {
            std::memcpy(here(), bytes, count);
        }
        at += count;
    }

    [[gnu::cold, gnu::noinline]] void put_at_the_end(uint64_t value)
    {
        uint8_t number[MAX_NUMBER_SIZE];
        put_bytes(number, store_number(number, value));
    }

    [[gnu::always_inline]] inline void put(uint64_t value)
    {
        if (has_room(MAX_NUMBER_SIZE)) [[likely]] {
            at += store_number(here(), value);
        } else {
            put_at_the_end(value);
        }
    }

    [[gnu::cold, gnu::noinline]] void put_unusual_text(const char *text, std::size_t length)
    {
        uint8_t mark[sizeof SHORT_TEXT];
        if (length < SHORT_TEXT_LIMIT) {
            store_short_length(mark, length);
            put_bytes(mark, sizeof mark);
        } else {
            put_bytes(&LONG_TEXT, sizeof LONG_TEXT);
            put_at_the_end(length);
        }
        put_bytes(text, length);
    }

    [[gnu::always_inline]] inline void put_text(const char *text)
    {
        if (text == nullptr) [[unlikely]] {
            put_bytes(&NULL_TEXT, sizeof NULL_TEXT);
            return;
        }
        const std::size_t length = std::strlen(text);
        if (length < SHORT_TEXT_LIMIT && has_room(sizeof SHORT_TEXT + length)) [[likely]] {
            store_short_length(here(), length);
            at += sizeof SHORT_TEXT;
            std::memcpy(here(), text, length);
            at += length;
        } else {
            put_unusual_text(text, length);
        }
    }
};

template <class R> void put_record(Writer &out, const R &record);

template <class F, class R> [[gnu::always_inline]] inline void put_field(Writer &out, const R &record)
{
    const auto value = F::value(record);
    if constexpr (F::kind == Kind::Scalar) {
        out.put(value);
    } else if constexpr (F::kind == Kind::String) {
        out.put_text(value);
    } else {
        const uint32_t count = value == nullptr ? 0 : F::count(record);
        out.put(count);
        for (auto element = value, end = value + count; element != end; ++element) {
            if constexpr (F::kind == Kind::StringList) {
                out.put_text(*element);
            } else {
                put_record(out, *element);
            }
        }
    }
}

// The presence bits, then each field that is there. A nested record always follows: its own bit says nothing about
// its fields.
template <class R> void put_record(Writer &writer, const R &record)
{
    Writer out = writer; // in registers: stores into the buffer can't reach it
    const uint64_t bits = presence_of(record);
    out.put(bits);
    each_field<R>([&]<class F, unsigned bit>() __attribute__((always_inline)) {
        if constexpr (F::kind == Kind::Record) {
            put_record(out, F::value(record));
        } else if ((bits >> bit & 1) != 0) {
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
    const auto start = reinterpret_cast<uintptr_t>(buffer);
    const uint32_t size = buffer == nullptr ? 0 : buffer_size;
    Writer out = {start + HEADER_SIZE, start + size};
    put_record(out, *record);
    const std::size_t used = out.at - start;
    if (used > MAX_ENCODING) {
        return 0;
    }
    if (used <= size) {
        auto *const header = static_cast<uint8_t *>(buffer);
        std::memcpy(header, MAGIC, sizeof MAGIC);
        store_little(header + 8, VERSION);
        store_little(header + 10, static_cast<uint16_t>(kind));
        store_little(header + 12, static_cast<uint32_t>(used));
        bool has_zero = false;
        const Checksum checksum = checksum_of(header, used, has_zero);
        store_little(header + CHECKSUM_AT, checksum.sum);
        store_little(header + CHECKSUM_AT + 8, checksum.mixed);
    }
    return static_cast<uint32_t>(used);
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
