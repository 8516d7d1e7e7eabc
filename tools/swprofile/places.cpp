#include "places.h"

#include "location/repository.h"
#include "location/vm_types.h"
#include "names.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace
{

namespace fs = std::filesystem;

// Adds each file of an SDR, or of no SDR, once: the global LC QX profile is the QX one.
void add_types(std::vector<Selector> &places, Selector selector, bool is_per_sdr)
{
    std::set<std::string_view> known;
    for (const VmType &type : VM_TYPES) {
        const char *const files = selector.is_local ? type.local_files : type.global_files;
        if (type.is_per_sdr != is_per_sdr || files == nullptr || !known.insert(files).second) {
            continue;
        }
        selector.vm_type = type.number;
        for (const int32_t state : {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, VERD_SWP_PREPARED}) {
            selector.state = state;
            places.push_back(selector);
        }
    }
}

// The SDRs that have a directory in a scope, by name.
std::vector<std::string> sdrs_of(bool is_local, const std::function<void(const fs::path &)> &is_no_sdr)
{
    Selector any;
    any.is_local = is_local;
    const fs::path directory = fs::path(any.path()).parent_path().parent_path();
    std::vector<std::string> names;
    std::error_code error;
    const fs::directory_iterator end;
    for (fs::directory_iterator at(directory, error); !error && at != end; at.increment(error)) {
        const fs::directory_entry &entry = *at;
        const std::string name = entry.path().filename();
        std::error_code ignored;
        if (key_fault(name).empty() && entry.is_directory(ignored)) {
            names.push_back(name);
        } else {
            is_no_sdr(entry.path());
        }
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        throw Failure(FAILED, "can't read " + directory.string(), {error.message()});
    }
    if (is_local) { // whose flat copies may be left without it
        names.emplace_back(repository::DEFAULT_SDR);
    }
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

} // namespace

std::vector<Selector> all_places(const std::function<void(const fs::path &)> &is_no_sdr)
{
    std::vector<Selector> places;
    for (const bool is_local : {false, true}) {
        Selector selector;
        selector.is_local = is_local;
        add_types(places, selector, false);
        for (const std::string &sdr : sdrs_of(is_local, is_no_sdr)) {
            selector.sdr = sdr;
            add_types(places, selector, true);
        }
    }
    return places;
}
