#include "profile/repository.h"

#include "profile/names.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

// Adds each file once: the global LC QX profile is the QX one.
void add_types(std::vector<Selector> &places, Selector selector, bool has_sdr)
{
    std::set<std::string> known;
    for (const uint32_t vm_type : vm_types()) {
        selector.vm_type = vm_type;
        if (verd_vm_type_has_sdr(vm_type) != has_sdr || !known.insert(selector.path()).second) {
            continue;
        }
        for (const int32_t state : STATES) {
            places.push_back(selector.with_state(state));
        }
    }
}

// The names of the SDRs that have a directory in a scope, sorted.
std::vector<std::string> sdrs_of(bool is_local, const PathVisitor &visit_other)
{
    const fs::path directory = fs::path(is_local ? VERD_LOCAL_DIRECTORY : VERD_GLOBAL_DIRECTORY) / "sdr";
    std::set<std::string> names;
    std::error_code error;
    const fs::directory_iterator end;
    for (fs::directory_iterator at(directory, error); !error && at != end; at.increment(error)) {
        const std::string name = at->path().filename();
        std::error_code ignored;
        if (key_fault(name).empty() && at->is_directory(ignored)) {
            if (access(at->path().c_str(), R_OK | X_OK) != 0) { // or its profiles would seem to be missing
                throw Failure(FAILED, "cannot read " + at->path().string(), {std::strerror(errno)});
            }
            names.insert(name);
        } else {
            visit_other(at->path());
        }
    }
    if (error && error != std::errc::no_such_file_or_directory) {
        throw Failure(FAILED, "cannot read " + directory.string(), {error.message()});
    }
    if (is_local) { // default-sdr's flat copies can exist without its directory
        names.insert(VERD_DEFAULT_SDR);
    }
    return {names.begin(), names.end()};
}

} // namespace

std::vector<Selector> all_places(const PathVisitor &visit_other)
{
    std::vector<Selector> places;
    for (const bool is_local : {false, true}) {
        Selector selector;
        selector.is_local = is_local;
        add_types(places, selector, false);
        for (const std::string &sdr : sdrs_of(is_local, visit_other)) {
            selector.sdr = sdr;
            add_types(places, selector, true);
        }
    }
    return places;
}

bool name_exists(const fs::path &path)
{
    std::error_code ignored;
    return fs::exists(fs::symlink_status(path, ignored));
}

uint64_t size_of(const fs::path &path)
{
    std::error_code error;
    const uint64_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

std::string content_of(const fs::path &path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}
