// Parts of a text. substr() throws if the position is past the end, so it would need the C++ runtime.
#pragma once

#include <cstddef>
#include <string_view>

namespace instcomm
{

inline std::string_view up_to(std::string_view text, std::size_t position)
{
    return {text.data(), position};
}

inline std::string_view from(std::string_view text, std::size_t position)
{
    return {text.data() + position, text.size() - position};
}

} // namespace instcomm
