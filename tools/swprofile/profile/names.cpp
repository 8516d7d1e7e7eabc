#include "profile/names.h"

#include "instcomm.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace
{

// The library truncates its shell commands to 199 or 255 characters; with these limits, every command fits.
constexpr std::size_t MAX_KEY_LENGTH = 40;
constexpr std::size_t MAX_NAME_LENGTH = 187;

bool is_printable(char character)
{
    return character >= ' ' && character <= '~';
}

bool is_name_character(char character)
{
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || std::string("._+-").find(character) != std::string::npos;
}

} // namespace

std::string name_fault(const std::string &name)
{
    if (name.empty()) {
        return "is empty";
    }
    if (name.size() > MAX_NAME_LENGTH) {
        return "has more than " + std::to_string(MAX_NAME_LENGTH) + " characters";
    }
    if (name.front() == '.' || name.front() == '-') {
        return "'" + printable(name.c_str()) + "' starts with '" + name.front() + "'";
    }
    if (!std::all_of(name.begin(), name.end(), is_name_character)) {
        return "'" + printable(name.c_str()) + "' has other characters than letters, digits and ._+-";
    }
    return "";
}

std::string key_fault(const std::string &key)
{
    if (key.size() > MAX_KEY_LENGTH) {
        return "'" + printable(key.c_str()) + "' has more than " + std::to_string(MAX_KEY_LENGTH) + " characters";
    }
    return name_fault(key);
}

std::string text_fault(const std::string &text)
{
    return std::all_of(text.begin(), text.end(), is_printable)
               ? ""
               : "'" + printable(text.c_str()) + "' has other characters than printable ASCII";
}

bool is_name_version_release(const char *name)
{
    return name != nullptr && instcomm_split_swp_pkg_entry(name, nullptr, nullptr, nullptr, nullptr) == 0;
}

std::string package_fault(const std::string &name)
{
    const std::string fault = name_fault(name);
    return !fault.empty() || is_name_version_release(name.c_str())
               ? fault
               : "'" + printable(name.c_str()) + "' is not name-version-release";
}

std::string lower_case_name(std::string name, char for_blank)
{
    for (char &letter : name) {
        letter = letter == ' ' ? for_blank : static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return name;
}

std::string printable(const char *text)
{
    if (text == nullptr) {
        return "-";
    }
    std::string result;
    for (; *text != '\0'; ++text) {
        if (is_printable(*text)) {
            result += *text;
        } else {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(*text)));
            result += escaped;
        }
    }
    return result;
}
