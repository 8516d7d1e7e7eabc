// What a profile is to be created from, or is to be added to one, as read from a JSON file.
#pragma once

#include "create_input.h"

// Reads a request file, or standard input for "-", into the input. Unknown fields, wrong types and unusable names are a
// Failure that tells where.
void read_request(const std::string &file, CreateInput &input);

// Reads a file of service packs: a list of objects with a name and the RPMs that it delivers. Faults as above.
std::vector<ServicePackInput> read_service_packs(const std::string &file);
