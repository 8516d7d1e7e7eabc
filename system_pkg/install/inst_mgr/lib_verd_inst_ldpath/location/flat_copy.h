// Flat copies: copies of a profile's files directly in the local repository, for readers outside this library.
#pragma once

#include "location/repository.h"

// Composes the path of a file's flat copy.
void name_flat_copy(const char *path, char (&copy)[repository::PATH_SIZE]);
