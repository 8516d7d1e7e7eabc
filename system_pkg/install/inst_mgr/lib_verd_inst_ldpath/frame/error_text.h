// The error text: reports the causes of a failure to the operator. It has entries "E:reason;", innermost cause first,
// in a heap block of 2048 bytes. An operation starts with a null pointer, passes &text as err_msg_p to the operations
// that it calls, adds its own entry after a failure, and hands the text over at its end. A called operation builds a
// text of its own, and hands it over only if the caller has none yet. The end of an operation:
//
//     char *text = nullptr;
//     const uint64_t rc = the_steps(..., &text);
//     error_text_hand_over(&text, err_msg_p);
//     return rc;
#pragma once

#include <cstddef>

inline constexpr std::size_t ERROR_TEXT_SIZE = 2048;

// Adds an entry. The last newline of the text becomes ';'; if there is none, a ';' is appended. The text is cut to 2047
// characters and then lacks the last ';'. If there is no memory, the entry is lost.
void error_text_add(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Adds an entry "R:hint;", which says how to recover. A null text becomes an empty text instead: no hint without a
// cause.
void error_text_add_hint(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Moves the text to *err_msg_p if err_msg_p is given and *err_msg_p is null; otherwise frees it.
void error_text_hand_over(char **text, char **err_msg_p);
