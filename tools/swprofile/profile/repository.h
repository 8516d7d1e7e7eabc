// The places where profiles can be: every state of the Admin profiles, and of the profiles of every SDR that has a
// directory. The local scope always includes default-sdr.
#pragma once

#include "profile/selector.h"

#include <filesystem>
#include <functional>
#include <vector>

// Global places first; in each scope Admin first, then the SDRs by name. `visit_other` is called for each entry of an
// sdr/ directory that is not the directory of an SDR.
using PathVisitor = std::function<void(const std::filesystem::path &)>;
std::vector<Selector> all_places(const PathVisitor &visit_other);

// Does something have this name, even a dangling link?
bool name_exists(const std::filesystem::path &path);

// The content of a file, or "" if it cannot be read.
std::string content_of(const std::filesystem::path &path);

// In bytes; 0 if the size cannot be determined.
uint64_t size_of(const std::filesystem::path &path);
