// Checks at compile time that each constant result code is composed of category, component and number. Only
// enumerations.cpp includes this file.
#pragma once

#include "verd_inst_ldpath.h"

constexpr uint32_t VERD_INST_COMPONENT_ID()
{
    return 3233;
}

namespace result_codes
{

inline constexpr uint64_t GENERAL = 0x40101278;
inline constexpr uint64_t INSTALL_MANAGER = 0x4010127a;
inline constexpr uint64_t NOT_FOUND = 0x1010127a; // one code only

constexpr uint64_t compose(uint64_t category, uint32_t number)
{
    return category << 32 | VERD_INST_COMPONENT_ID() << 20 | number;
}

static_assert(INST_RC_FAILED == compose(GENERAL, 0x801));
static_assert(INST_RC_NO_MEMORY == compose(GENERAL, 0x802));
static_assert(INST_RC_INVALID_ARG == compose(GENERAL, 0x803));
static_assert(INST_RC_NO_SWPROFILE == compose(GENERAL, 0x81f));
static_assert(INSTMGR_RC_EMPTY_SWPROFILE == compose(INSTALL_MANAGER, 0x902));
static_assert(INSTMGR_RC_NO_MEMORY == compose(INSTALL_MANAGER, 0x904));
static_assert(INSTMGR_RC_INVALID_DATA == compose(INSTALL_MANAGER, 0x907));
static_assert(INSTMGR_RC_INIT_FAILED == compose(INSTALL_MANAGER, 0x90c));
static_assert(INSTMGR_RC_SWPROFILE_NOT_FOUND == compose(NOT_FOUND, 0x905));
static_assert(INSTMGR_DUP_SWPROFILE_PKG == compose(INSTALL_MANAGER, 0x949));

} // namespace result_codes
