// Renders a profile for people. The fields and their labels come from the schema of the records.
#include "instcomm.h"

#include "zeld/schema.h"

#include <cinttypes>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace
{

// A growing text. If there is no memory, frees the text and ignores further additions.
struct Buffer {
    char *text = nullptr;
    std::size_t used = 0;
    std::size_t size = 0;
    bool has_failed = false;

    bool make_room(std::size_t count)
    {
        if (has_failed || count < size - used) {
            return !has_failed;
        }
        const std::size_t grown = 2 * size + count + 1;
        auto *const larger = static_cast<char *>(std::realloc(text, grown));
        if (larger == nullptr) {
            std::free(std::exchange(text, nullptr));
            has_failed = true;
            return false;
        }
        text = larger;
        size = grown;
        return true;
    }

    void put(const char *bytes, std::size_t count)
    {
        if (make_room(count)) {
            std::memcpy(text + used, bytes, count);
            used += count;
            text[used] = '\0';
        }
    }
};

struct Page {
    Buffer &out;
    int depth;

    Page inside() const { return {out, depth + 1}; }
    void start_line() const { put_short("%*s", 2 * depth, ""); }
    void end_line() const { out.put("\n", 1); }

    // The formatted text must have at most 127 characters: of a longer one, put() would read past the buffer.
    __attribute__((format(printf, 2, 3))) void put_short(const char *format, ...) const
    {
        char text[128];
        va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        out.put(text, static_cast<std::size_t>(length));
    }
};

// Appends a text of the record. Escapes the backslash and every byte except printable ASCII, so that a name cannot
// break a line or control a terminal.
void put_text(const Page &page, const char *text)
{
    if (text == nullptr) {
        page.put_short("(null)");
        return;
    }
    while (*text != '\0') {
        std::size_t plain = 0;
        while (text[plain] >= ' ' && text[plain] <= '~' && text[plain] != '\\') {
            ++plain;
        }
        page.out.put(text, plain);
        text += plain;
        if (*text != '\0') {
            page.put_short("\\x%02x", static_cast<unsigned char>(*text++));
        }
    }
}

template <class R> void put_fields(const Page &page, const R &record);

// Appends a table of packages. Each entry has a line with its number, type, mark and name, followed by its other
// fields.
void put_table(const Page &page, const inst_swp_package *packages, uint32_t count)
{
    if (count != 0) {
        page.start_line();
        page.put_short("   No  Type  SP  Name\n");
    }
    for (uint32_t i = 0; i < count; ++i) {
        inst_swp_package rest = packages[i];
        char type[12] = "-";
        if (inst_swp_package_has_pkg_type(&rest)) {
            std::snprintf(type, sizeof type, "%" PRIu32, rest.pkg_type);
        }
        page.start_line();
        page.put_short("%5" PRIu32 "  %4s  %2s  ", i + 1, type,
                       inst_swp_package_has_is_sp_pkg(&rest) && rest.is_sp_pkg != 0 ? "SP" : "-");
        put_text(page, inst_swp_package_has_name(&rest) ? rest.name : "-");
        page.end_line();
        inst_swp_package_clear_name(&rest);
        inst_swp_package_clear_pkg_type(&rest);
        inst_swp_package_clear_is_sp_pkg(&rest);
        put_fields(Page{page.out, page.depth + 9}, rest);
    }
}

void put_table(const Page &page, const inst_node_loc *nodes, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        page.start_line();
        page.put_short("%" PRIu32 "/%" PRIu32 "/%" PRIu32 "\n",
                       inst_node_loc_has_loc_id_1(&nodes[i]) ? nodes[i].loc_id_1 : 0,
                       inst_node_loc_has_loc_id_2(&nodes[i]) ? nodes[i].loc_id_2 : 0,
                       inst_node_loc_has_loc_id_3(&nodes[i]) ? nodes[i].loc_id_3 : 0);
    }
}

template <class R> void put_table(const Page &page, const R *records, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        page.start_line();
        page.put_short("[%" PRIu32 "]\n", i + 1);
        put_fields(page.inside(), records[i]);
    }
}

void put_table(const Page &page, char *const *texts, uint32_t count)
{
    for (uint32_t i = 0; i < count; ++i) {
        page.start_line();
        put_text(page, texts[i]);
        page.end_line();
    }
}

template <class F, class R> void put_field(const Page &page, F field, const R &record)
{
    const auto &value = field.value(record);
    page.start_line();
    page.put_short("%s:%s", field.label, field.is_record ? "" : " ");
    if constexpr (field.is_record) {
        page.end_line();
        put_fields(page.inside(), value);
    } else if constexpr (field.is_array) {
        const uint32_t count = value == nullptr ? 0 : field.count(record);
        page.put_short("%" PRIu32 "\n", count);
        put_table(page.inside(), value, count);
    } else if constexpr (field.is_number) {
        page.put_short("%" PRIu64 "\n", uint64_t{value});
    } else {
        put_text(page, value);
        page.end_line();
    }
}

template <class R> void put_fields(const Page &page, const R &record)
{
    zeld::for_each_field<R>([&](auto field) {
        if (field.is_present(record)) {
            put_field(page, field, record);
        }
    });
}

} // namespace

extern "C" uint64_t instcomm_get_swprofile_sdr_str(const inst_sw_profile_sdr_ext *profile, char **text, int, char **)
{
    if (profile == nullptr || text == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    Buffer buffer;
    put_fields(Page{buffer, 0}, *profile);
    buffer.put("", 0); // allocates a text even for an empty record
    if (buffer.has_failed) {
        return INSTCOMM_RC_NO_MEMORY;
    }
    *text = buffer.text;
    return 0;
}
