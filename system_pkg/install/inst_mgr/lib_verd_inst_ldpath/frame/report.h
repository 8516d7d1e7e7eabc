// REPORT(format, ...) sends a message to the binary trace, then to the install log. The compiler checks the format. The
// arguments are evaluated once, and errno is preserved. Null texts print as "(null)".
#pragma once

#include "frame/trace_sites.h"
#include "verd_inst_ldpath.h"

#include "vestra.h"

#include <cerrno>
#include <cstdio>
#include <type_traits>

namespace trace
{

// Describes the arguments to the trace: a letter per argument; whether any of them is a text; and a size class: 4 plus
// the number of 32-bit words that the numbers take. Texts do not count.
template <class... Args> struct Arguments {
    template <class T> static constexpr char letter()
    {
        static_assert(std::is_scalar_v<T>);
        constexpr bool is_text = std::is_pointer_v<T>;
        return is_text ? 's' : sizeof(T) > 4 ? 'D' : 'd';
    }
    template <class T> static constexpr uint32_t words()
    {
        constexpr bool is_text = std::is_pointer_v<T>;
        return is_text ? 0 : sizeof(T) > 4 ? 2 : 1;
    }
    static constexpr char letters[] = {letter<Args>()..., '\0'};
    static constexpr uint32_t has_strings = (std::is_pointer_v<Args> || ...) ? 1 : 0;
    static constexpr uint32_t size_class = (4 + ... + words<Args>());
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
template <class... Args> void report(uint32_t site, const char *format, Args... args)
{
    using About = Arguments<Args...>;
    const int err = errno;
    vestra_internal(verd_inst_ldpath_vestra_hdl, site, About::size_class, About::has_strings, About::letters, format,
                    args...);
    errno = err;
    instcomm_log(format, args...);
}
#pragma GCC diagnostic pop

} // namespace trace

constexpr const char *text_or_null(const char *text)
{
    return text == nullptr ? "null" : text;
}

// Lets the compiler check a printf format. Evaluates nothing.
#define CHECK_FORMAT(...) static_cast<void>(sizeof(std::printf(__VA_ARGS__)))

#define REPORT(...)                                                                                                    \
    do {                                                                                                               \
        CHECK_FORMAT(__VA_ARGS__);                                                                                     \
        trace::report(NEXT_TRACE_SITE, __VA_ARGS__);                                                                   \
    } while (false)
