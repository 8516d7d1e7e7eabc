#include "architecture_suffix.h"
#include "text_parts.h"

#include "instcomm.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

using instcomm::from;
using instcomm::up_to;

namespace
{

constexpr std::string_view ARCHITECTURES[] = {"x86_64",  "i386",    "i486", "i586",  "i686",    "noarch", "arm",
                                              "armv7hl", "aarch64", "ppc",  "ppc64", "ppc64le", "mips64", "s390x"};

// As std::string_view::rfind(), but faster.
std::size_t find_last(std::string_view text, char character)
{
    const void *const found = memrchr(text.data(), character, text.size());
    return found == nullptr ? text.npos : static_cast<std::size_t>(static_cast<const char *>(found) - text.data());
}

constexpr int PARTS = 4; // of a package name: base name, version, release, architecture

// Copies each part whose output pointer is not null; an empty part becomes a null pointer. Copies all or none.
bool copy_parts(const std::string_view (&parts)[PARTS], char **const (&outs)[PARTS])
{
    char *copies[PARTS] = {};
    bool copied = true;
    for (int i = 0; i < PARTS && copied; ++i) {
        if (outs[i] != nullptr && !parts[i].empty()) {
            copies[i] = static_cast<char *>(std::malloc(parts[i].size() + 1));
            copied = copies[i] != nullptr;
            if (copied) {
                std::memcpy(copies[i], parts[i].data(), parts[i].size());
                copies[i][parts[i].size()] = '\0';
            }
        }
    }
    for (int i = 0; i < PARTS; ++i) {
        if (!copied) {
            std::free(copies[i]);
        } else if (outs[i] != nullptr) {
            *outs[i] = copies[i];
        }
    }
    return copied;
}

} // namespace

std::string_view instcomm::without_architecture(std::string_view name)
{
    std::string_view bare = name;
    constexpr std::string_view EXTENSION = ".rpm";
    if (bare.ends_with(EXTENSION)) {
        bare.remove_suffix(EXTENSION.size());
    }
    const std::size_t dot = find_last(bare, '.');
    const std::string_view suffix = dot == bare.npos ? "" : from(bare, dot + 1);
    for (const std::string_view architecture : ARCHITECTURES) {
        if (suffix == architecture) {
            return up_to(bare, dot);
        }
    }
    return name;
}

extern "C" {

uint64_t instcomm_split_swp_pkg_entry(const char *entry, char **base_name, char **version, char **release, char **arch)
{
    if (entry == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    const std::string_view whole = entry;
    const std::string_view name = instcomm::without_architecture(whole);
    const std::size_t second = find_last(name, '-');
    const std::size_t first = second == name.npos ? second : find_last(up_to(name, second), '-');
    if (first == name.npos || first == 0 || first + 1 == second || second + 1 == name.size()) {
        return INSTCOMM_RC_INVALID_DATA;
    }
    const std::string_view suffix = whole.size() == name.size() ? "" : from(whole, name.size() + 1);
    const std::string_view parts[] = {up_to(name, first), from(up_to(name, second), first + 1), from(name, second + 1),
                                      up_to(suffix, std::min(suffix.find('.'), suffix.size()))};
    return copy_parts(parts, {base_name, version, release, arch}) ? 0 : INSTCOMM_RC_NO_MEMORY;
}

void instcomm_strip_arch_from_package_name(char *name)
{
    if (name != nullptr) {
        name[instcomm::without_architecture(name).size()] = '\0';
    }
}

const char *instcomm_extract_file_name_from_path(const char *path)
{
    const char *const slash = path == nullptr ? nullptr : std::strrchr(path, '/');
    return slash == nullptr ? nullptr : slash + 1;
}
}
