// Classifies packages by name: KINDS has shell patterns, which are matched against the last component of a path.
#include "instcomm.h"

#include <fnmatch.h>

namespace
{

struct Kind {
    enum { HOST, HOST_OS, THIRD_PARTY, KERNEL } kind;
    const char *pattern;
    int kernel_class;
};

constexpr Kind KINDS[] = {
    // Host SMUs.
    {Kind::HOST, "host-*", 0},
    {Kind::HOST, "*-host-*", 0},
    {Kind::HOST, "*-host", 0},
    // Packages of the host's operating system.
    {Kind::HOST_OS, "hostos", 0},
    {Kind::HOST_OS, "hostos-*", 0},
    {Kind::HOST_OS, "*-hostos", 0},
    {Kind::HOST_OS, "*-hostos-*", 0},
    {Kind::THIRD_PARTY, "tp-*", 0},
    {Kind::THIRD_PARTY, "*-tp", 0},
    {Kind::THIRD_PARTY, "*-tp-*", 0},
    // Kernel packages. Packages of different classes can be installed together. The first matching pattern determines
    // the class; a name that matches none has class 0.
    {Kind::KERNEL, "*kernel-modules-*", 2},
    {Kind::KERNEL, "*kernel-rt-*", 3},
    {Kind::KERNEL, "*kernel-*", 1},
};

template <class Matches> const Kind *find(const char *name, Matches matches)
{
    const char *const file_name = instcomm_extract_file_name_from_path(name);
    const char *const last = file_name == nullptr ? name : file_name;
    for (const Kind &kind : KINDS) {
        if (last != nullptr && matches(kind) && fnmatch(kind.pattern, last, 0) == 0) {
            return &kind;
        }
    }
    return nullptr;
}

} // namespace

extern "C" {

int instcomm_is_host_pkg(const char *name)
{
    return find(name, [](const Kind &kind) { return kind.kind == Kind::HOST; }) != nullptr;
}

int instcomm_is_hostos_pkg(const char *name)
{
    return find(name, [](const Kind &kind) { return kind.kind == Kind::HOST_OS; }) != nullptr;
}

int instcomm_is_tp_pkg(const char *name, int)
{
    return find(name, [](const Kind &kind) { return kind.kind == Kind::THIRD_PARTY; }) != nullptr;
}

uint64_t instcomm_get_kernel_pkg_class(const char *file_name, int *class_out, ...)
{
    if (file_name == nullptr || class_out == nullptr) {
        return INSTCOMM_RC_INVALID_ARG;
    }
    const Kind *const found = find(file_name, [](const Kind &kind) { return kind.kind == Kind::KERNEL; });
    *class_out = found == nullptr ? 0 : found->kernel_class;
    return 0;
}
}
