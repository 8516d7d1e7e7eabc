#include "frame/cut_text.h"

#include <cstdarg>
#include <cstdio>

void format_cut(char *buffer, std::size_t size, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
}
