// Where profiles can be: every state of every profile of the SDRs that the repository knows.
#pragma once

#include "selector.h"

#include <functional>
#include <string>
#include <vector>

// In the order in which they are listed. What stands among the directories of SDRs and is none is told instead.
std::vector<Selector> all_places(const std::function<void(const std::filesystem::path &)> &is_no_sdr);
