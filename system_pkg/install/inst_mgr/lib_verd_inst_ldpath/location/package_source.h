// Where packages come from, and where bundles of them are unpacked.
#pragma once

#include <cstddef>

// Paths of packages are composed in buffers of this size and cut to it.
inline constexpr std::size_t PACKAGE_PATH_SIZE = 4097;

// The path of a package's file. A name that no file has stands for the first one whose name begins with it. Where there
// is none either, the path is that of the name. The name goes through the shell as it stands.
void find_package_file(const char *name, char (&path)[PACKAGE_PATH_SIZE]);

// Empties the work area and makes a fresh directory there. False, with errno, when it can't be made.
bool make_work_directory(char (&path)[PACKAGE_PATH_SIZE]);
