// Directories and files on disk. They must not change: callers create and delete boot-active flag files in the local
// and the SDR directories, other tools compare the paths of profiles, and readers outside this library use the flat
// copies in LOCAL_DIRECTORY.
#pragma once

#include "verd_inst_ldpath.h"

#include <cstddef>

namespace repository
{

inline constexpr char LOCAL_DIRECTORY[] = VERD_LOCAL_DIRECTORY;
inline constexpr char LOCAL_SDR_DIRECTORY[] = VERD_LOCAL_DIRECTORY "sdr/";
inline constexpr char GLOBAL_DIRECTORY[] = VERD_GLOBAL_DIRECTORY;
inline constexpr char GLOBAL_SDR_DIRECTORY[] = VERD_GLOBAL_DIRECTORY "sdr/";

// Optional packages of an image on removable media, the directory that they are copied to, and the output of the
// copying.
inline constexpr char OPTIONAL_PACKAGES[] = "/misc/disk1/usb/opt_pkgs";
inline constexpr char QX_PACKAGES_DIRECTORY[] = "/install_repo/gl/qx/";
inline constexpr char PACKAGE_COPY_LOG[] = "/tmp/pkg_cpy_log";

// Package files and bundles, and the work area where bundles are unpacked.
inline constexpr char PACKAGES_DIRECTORY[] = VERD_PACKAGES_DIRECTORY;
inline constexpr char WORK_AREA[] = VERD_WORK_AREA;

// The size of path buffers, to which longer paths are cut.
inline constexpr std::size_t PATH_SIZE = 4096;

} // namespace repository
