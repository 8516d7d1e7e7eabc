#pragma once

#include <string_view>

namespace instcomm
{

// Returns the name without a suffix such as ".x86_64" or ".x86_64.rpm"; a name without an architecture unchanged.
std::string_view without_architecture(std::string_view name);

} // namespace instcomm
