// Which package types are bundles, and the names of scopes in messages.
#pragma once

#include "verd_inst_ldpath.h"

// Returns whether packages of this install package type are bundles of RPMs.
constexpr bool is_bundle_type(uint32_t pkg_type, bool is_new_format)
{
    return pkg_type == VERD_PKG_SMU || pkg_type == VERD_PKG_KERNEL ||
           (is_new_format && (pkg_type == VERD_PKG_HOST_SMU || pkg_type == VERD_PKG_BASE));
}

// Some messages call the global profile the master.
constexpr const char *local_or_master(uint8_t is_local)
{
    return is_local != 0 ? "local" : "master";
}
