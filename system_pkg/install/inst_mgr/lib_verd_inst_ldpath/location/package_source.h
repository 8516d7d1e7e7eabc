// Finds package files, and creates directories for unpacking bundles.
#pragma once

#include <cstddef>

// The size of path buffers, to which longer paths are cut. One more than repository::PATH_SIZE: a path that was cut has
// 4096 characters, which the system rejects, so it never names another file.
inline constexpr std::size_t PACKAGE_PATH_SIZE = 4097;

// Composes the path of a package file: of the file with this name or, if it is missing, of the first file whose name
// begins with it. If there is none, composes the path of the missing file. The name becomes part of a shell command
// unchecked.
void find_package_file(const char *name, char (&path)[PACKAGE_PATH_SIZE]);

// Deletes the content of the work area except dot files, ignoring failures, and creates a new directory there. Returns
// false, with errno, if the directory cannot be created.
bool create_work_directory(char (&path)[PACKAGE_PATH_SIZE]);
