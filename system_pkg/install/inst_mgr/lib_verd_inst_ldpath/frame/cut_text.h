// Formats a text into a buffer of a fixed size. A text that does not fit is cut.
#pragma once

#include <cstddef>

void format_cut(char *buffer, std::size_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
