// Where things are on disk. None of it may move: callers make and remove the flag files, other tools compare the paths
// of profiles, and the flat copies in LOCAL_DIRECTORY are made for readers outside this library.
#pragma once

#include "verd_inst_ldpath.h"

#include <cstddef>

namespace repository
{

inline constexpr char LOCAL_DIRECTORY[] = VERD_LOCAL_DIRECTORY;
inline constexpr char LOCAL_SDR_DIRECTORY[] = VERD_LOCAL_DIRECTORY "sdr/";
inline constexpr char GLOBAL_DIRECTORY[] = VERD_GLOBAL_DIRECTORY;
inline constexpr char GLOBAL_SDR_DIRECTORY[] = VERD_GLOBAL_DIRECTORY "sdr/";

// Packages that come with an image on removable media, where they go, and what the copying said.
inline constexpr char OPTIONAL_PACKAGES[] = "/misc/disk1/usb/opt_pkgs";
inline constexpr char QX_PACKAGES_DIRECTORY[] = "/install_repo/gl/qx/";
inline constexpr char PACKAGE_COPY_LOG[] = "/tmp/pkg_cpy_log";

// Package files and bundles, and the work area in which bundles are unpacked. All that is in the work area goes at the
// next unpacking.
inline constexpr char PACKAGES_DIRECTORY[] = VERD_PACKAGES_DIRECTORY;
inline constexpr char WORK_AREA[] = VERD_WORK_AREA;

// Paths are composed in buffers of this size and cut to it.
inline constexpr std::size_t PATH_SIZE = 4096;

} // namespace repository
