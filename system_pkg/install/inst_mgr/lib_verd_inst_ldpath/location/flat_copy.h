// Flat copies: the files of a profile once more, directly in the local repository, for readers outside this library.
#pragma once

#include "location/repository.h"

#include <cstdint>

// Do the files of this profile have flat copies? Only local QX and LC QX profiles of the default SDR have.
bool has_flat_copies(const char *sdr_key, uint8_t is_local, uint32_t vm_type);

// The path of the flat copy of a file.
void name_flat_copy(const char *path, char (&copy)[repository::PATH_SIZE]);
