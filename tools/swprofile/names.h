// Checking what goes into paths and shell commands, and showing what comes out of records.
#pragma once

#include <string>

// A name: letters, digits and "._+-", without a leading dot or dash. Returns what is wrong, or "".
std::string name_fault(const std::string &name);

// An SDR key: a name of at most 40 characters.
std::string key_fault(const std::string &key);

// Any text of printable ASCII.
std::string text_fault(const std::string &text);

// A text for the terminal: "-" for null, what isn't printable ASCII escaped.
std::string shown(const char *text);
