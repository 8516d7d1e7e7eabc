// Bodies and service packs for tests, and bodies as text.
#pragma once

#include "support/repository_test.h"

// Service packs. source() is the sp_source argument of an addition.
struct ServicePacks {
    struct Pack {
        const char *name;
        std::vector<const char *> rpms;
    };
    ServicePacks(std::initializer_list<Pack> packs);
    ServicePacks(const ServicePacks &) = delete;
    ~ServicePacks() { free_service_pack(set); }

    uint64_t source() const { return reinterpret_cast<uint64_t>(set); }

    serv_packs *set;
};

// A package to add to a body in memory. Owns what the body has not taken.
struct Addition {
    Addition(const char *package, const std::vector<const char *> &paths);
    Addition(const Addition &) = delete;
    ~Addition();

    uint64_t add_to(inst_sw_profile_info &body, uint64_t value, uint32_t type, uint64_t source, char **err);

    char *name;
    char **files;
    uint32_t file_count;
    char *superseded[8] = {};
    uint32_t superseded_count = 77;
};

// Types of packages to add, and those of their entries in a body.
constexpr uint32_t SMU = VERD_PKG_SMU, HOST_SMU = VERD_PKG_HOST_SMU, KERNEL = VERD_PKG_KERNEL, BASE = VERD_PKG_BASE;
constexpr uint32_t HOST_SMU_ENTRY = VERD_SWP_PKG_HOST_SMU, KERNEL_ENTRY = VERD_SWP_PKG_KERNEL;

// Appends a package to a body, which takes ownership.
void put_package(inst_sw_profile_info &body, const inst_swp_package &package);

// A profile of default-sdr with these packages and no other field.
inst_sw_profile_sdr_ext *new_profile_of(const std::vector<inst_swp_package> &packages);

// The packages of a body with their types, its base RPMs and service packs.
std::string content_of(const inst_sw_profile_info &body);

// The same of a profile and its location profiles.
std::string content_of(const inst_sw_profile_sdr &sdr);
