// The error text: what an operation tells the operator of a failure. Entries "E:reason;", innermost cause first, in a
// heap block of 2048 bytes. An operation starts with a null pointer, adds to it, lets the operations that it calls do
// so (pass &text as their err_msg_p), and hands it over at its end:
//
//     char *text = nullptr;
//     const uint64_t rc = the_steps(..., &text);
//     error_text_hand_over(&text, err_msg_p);
//     return rc;
#pragma once

#include <cstddef>

inline constexpr std::size_t ERROR_TEXT_SIZE = 2048;

// Adds an entry; the message's final newline becomes ';'. What goes beyond 2047 characters is cut, and so is the ';'. A
// message for which there is no memory is lost.
void error_text_add(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Adds an entry that tells how to recover, "R:hint;", to a text that exists. Where there is none, one without any entry
// is made: whoever asked for messages gets a text, and never a hint alone.
void error_text_add_hint(char **text, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Gives the text to the caller if it asked for one and has none yet, and frees it otherwise.
void error_text_hand_over(char **text, char **err_msg_p);
