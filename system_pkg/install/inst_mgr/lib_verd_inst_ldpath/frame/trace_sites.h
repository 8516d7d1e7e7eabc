// The numbers of messages. Each REPORT has a number of its own, which identifies it in the trace. The numbers are
// consecutive: in the order of the table below and, within a file, of the source.
//
// A file that reports has TRACE_SITES_BEGIN(its base name without .cpp) before its first function, TRACE_SITES_END(the
// same) at its end, and a line in the table. A wrong count does not compile.
#pragma once

#include <cstdint>
#include <string_view>

namespace trace
{

struct FileSites {
    std::string_view file;
    unsigned count;
};

// clang-format off
inline constexpr FileSites FILES[] = {
    {"library_init", 2},
    {"node_locations", 1},
    {"record_arguments", 3},
    {"file_naming", 9},
    {"boot_active_flag", 5},
    {"existence", 8},
    {"binary_writer", 11},
    {"text_writer", 4},
    {"reader", 10},
    {"store", 13},
    {"create", 17},
    {"delete", 10},
    {"promote", 9},
    {"copy", 7},
    {"superseded_entries", 5},
    {"add_package", 20},
    {"remove_package", 5},
    {"replacement_list", 2},
    {"stored_profile", 3},
    {"locations", 4},
    {"add_package_location", 10},
    {"add_image_location", 2},
    {"add_stored_package", 9},
    {"remove_stored_package", 15},
    {"add_host_packages", 3},
    {"membership", 13},
    {"stored_service_packs", 27},
    {"service_pack_sets", 3},
    {"profile_service_packs", 4},
    {"installed_service_packs", 26},
    {"fetch", 8},
    {"image", 2},
    {"package_names", 6},
    {"stored_packages", 2},
    {"find_package", 9},
    {"node_software", 6},
    {"compare_states", 13},
};
// clang-format on

// Not constexpr, so that calling it is a compilation error.
unsigned this_file_has_no_line_in_the_table_of_trace_sites();

consteval unsigned site_count(std::string_view file)
{
    for (const FileSites &sites : FILES) {
        if (sites.file == file) {
            return sites.count;
        }
    }
    return this_file_has_no_line_in_the_table_of_trace_sites();
}

consteval unsigned first_site(std::string_view file)
{
    unsigned first = 0;
    for (const FileSites &sites : FILES) {
        if (sites.file == file) {
            return first;
        }
        first += sites.count;
    }
    return this_file_has_no_line_in_the_table_of_trace_sites();
}

// A hash of the table, 32 hexadecimal digits. If the trace's file has another build id, opening the trace empties it,
// so that it does not mix two numberings. Rewording a message does not change the hash.
struct BuildId {
    char digits[33];
};

consteval BuildId build_id()
{
    BuildId id = {};
    uint64_t hash = 0xcbf29ce484222325;
    const auto mix_in = [&hash](unsigned byte) { hash = (hash ^ byte) * 0x100000001b3; };
    for (unsigned i = 0; i < 32; ++i) {
        for (const FileSites &sites : FILES) {
            for (const char letter : sites.file) {
                mix_in(static_cast<unsigned char>(letter));
            }
            mix_in(sites.count);
        }
        id.digits[i] = "0123456789abcdef"[hash >> 60];
    }
    return id;
}

} // namespace trace

#define TRACE_SITES_BEGIN(file)                                                                                        \
    namespace                                                                                                          \
    {                                                                                                                  \
    constexpr unsigned FIRST_SITE = trace::first_site(#file);                                                          \
    constexpr unsigned FIRST_COUNTER = __COUNTER__ + 1;                                                                \
    }

#define TRACE_SITES_END(file)                                                                                          \
    static_assert(__COUNTER__ - FIRST_COUNTER == trace::site_count(#file), "correct the count in trace_sites.h")

// The number of the next message. Expand it once per message.
#define NEXT_TRACE_SITE (FIRST_SITE + (__COUNTER__ - FIRST_COUNTER))
