// The kinds of virtual machines that the install manager knows.
#pragma once

#include <cstdint>

namespace instcomm
{

constexpr const char *vm_type_name(uint32_t vm_type)
{
    constexpr const char *NAMES[] = {"unknown", "Host", "Admin", "QX", "LC QX", "Service VM", "UVF"};
    return vm_type < sizeof NAMES / sizeof *NAMES ? NAMES[vm_type] : NAMES[0];
}

} // namespace instcomm
