// What a profile is to be created from, as given on the command line or in a request file.
#pragma once

#include "selector.h"

#include <string>
#include <vector>

struct PackageInput {
    std::string name;
    std::vector<std::string> files;
    std::string aux_name;
    uint64_t value = 0;
    uint32_t type = VERD_SWP_PKG_BASE;
    bool is_service_pack_member = false;
};

struct ServicePackInput {
    std::string name;
    std::vector<std::string> rpms;
};

struct CreateInput {
    Selector selector;
    std::string lv_name;
    std::string version;
    std::string image; // a path; its last component is stored
    std::string image_aux_name;
    std::vector<std::string> image_rpms;
    std::vector<PackageInput> packages;
    std::vector<ServicePackInput> service_packs;
    bool is_single_initrd_supported = false;
};
