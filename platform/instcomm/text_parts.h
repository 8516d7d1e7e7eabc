// Parts of a text. substr() would require the C++ runtime, since it throws if the position is past the end.
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
