#include "frame/error_text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace
{

bool allocate_text(char **text)
{
    *text = static_cast<char *>(std::calloc(ERROR_TEXT_SIZE, 1));
    return *text != nullptr;
}

__attribute__((format(printf, 3, 0))) void append(char *text, const char *tag, const char *format, va_list arguments)
{
    std::size_t used = std::strlen(text);
    std::snprintf(text + used, ERROR_TEXT_SIZE - used, "%s", tag);
    used = std::strlen(text);
    std::vsnprintf(text + used, ERROR_TEXT_SIZE - used, format, arguments);

    char *const newline = std::strrchr(text, '\n');
    if (newline != nullptr) {
        *newline = ';';
        return;
    }
    used = std::strlen(text);
    std::snprintf(text + used, ERROR_TEXT_SIZE - used, ";");
}

} // namespace

void error_text_add(char **text, const char *format, ...)
{
    if (*text == nullptr && !allocate_text(text)) {
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    append(*text, "E:", format, arguments);
    va_end(arguments);
}

void error_text_add_hint(char **text, const char *format, ...)
{
    if (*text == nullptr) {
        // Quirk: without memory for the cause, still tries to allocate an empty text; callers that print the text after
        // a failure expect one.
        static_cast<void>(allocate_text(text));
        return;
    }
    va_list arguments;
    va_start(arguments, format);
    append(*text, "R:", format, arguments);
    va_end(arguments);
}

void error_text_hand_over(char **text, char **err_msg_p)
{
    if (*text != nullptr && err_msg_p != nullptr && *err_msg_p == nullptr) {
        *err_msg_p = *text;
    } else {
        std::free(*text);
    }
    *text = nullptr;
}
