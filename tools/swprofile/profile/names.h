// Validation of names from the command line or a file, and escaping of texts for output.
#pragma once

#include <string>

// The fault of a name, an SDR key, or a text that must be printable ASCII; "" if it is valid.
std::string name_fault(const std::string &name);
std::string key_fault(const std::string &key);
std::string text_fault(const std::string &text);

// The same for a package, which must be name-version-release.
std::string package_fault(const std::string &name);

// Can the new package rules split this name?
bool is_name_version_release(const char *name);

// The text with everything except printable ASCII escaped; "-" for null.
std::string printable(const char *text);

// "lc-qx" for "LC QX": a name as it is typed as an option's value or, with '_' for blanks, as a key of JSON.
std::string lower_case_name(std::string name, char for_blank = '-');
