// The architecture at the end of a package's name.
#pragma once

#include <string_view>

namespace instcomm
{

// The name without its ".architecture", and without the ".rpm" behind that; a name without an architecture as it is.
std::string_view without_architecture(std::string_view name);

} // namespace instcomm
