// Flat copies: the files of a profile once more, directly in the local repository, for readers outside this library.
#pragma once

#include "location/repository.h"

// The path of the flat copy of a file.
void name_flat_copy(const char *path, char (&copy)[repository::PATH_SIZE]);
