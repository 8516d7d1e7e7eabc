#include "places.h"

#include "location/repository.h"
#include "names.h"

#include <algorithm>

namespace
{

namespace fs = std::filesystem;

void add_states(std::vector<Selector> &places, Selector selector)
{
    for (const int32_t state : {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, VERD_SWP_PREPARED}) {
        selector.state = state;
        places.push_back(selector);
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
        selector.vm_type = VERD_VM_ADMIN;
        add_states(places, selector);
        for (const std::string &sdr : sdrs_of(is_local, is_no_sdr)) {
            selector.sdr = sdr;
            for (const uint32_t vm_type : {VERD_VM_QX, VERD_VM_LC_QX, VERD_VM_UVF}) {
                if (is_local || vm_type != VERD_VM_LC_QX) { // the global LC QX profile is the QX one
                    selector.vm_type = vm_type;
                    add_states(places, selector);
                }
            }
        }
    }
    return places;
}
