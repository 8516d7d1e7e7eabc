// Reads mutated JSON as a profile and as a list of service packs. A Failure is the only way to reject it.
#include "json/read_json.h"

#include "profile/failure.h"

template <class Read> void read(Read read_one)
{
    try {
        static_cast<void>(read_one());
    } catch (const Failure &) {
    }
}

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    Place place;
    read([&] { return profile_of(parse_json(text, "file"), "file", place); });
    read([&] { return service_packs_of(parse_json(text, "file"), "file"); });
    return 0;
}
