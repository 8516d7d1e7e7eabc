// Flat copies: the files of a profile once more, directly in the local repository, for readers outside this library.
#pragma once

#include "location/repository.h"
#include "location/vm_types.h"

#include <string_view>

// Do the files of this profile have flat copies? Only local QX and LC QX profiles of the default SDR have.
constexpr bool has_flat_copies(const char *sdr_key, uint8_t is_local, uint32_t vm_type)
{
    return is_local != 0 && find_vm_type(vm_type).has_flat_copies && sdr_key != nullptr &&
           std::string_view(sdr_key) == repository::DEFAULT_SDR;
}

// The path of the flat copy of a file.
void name_flat_copy(const char *path, char (&copy)[repository::PATH_SIZE]);
