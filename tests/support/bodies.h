// Bodies and service packs for tests of editing, and bodies as text.
#pragma once

#include "support/repository_test.h"

// Service packs, which can be the source of an addition.
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

// Appends a package to a body, which takes ownership.
void put_package(inst_sw_profile_info &body, const inst_swp_package &package);

// A profile of default-sdr with these packages and no other field.
inst_sw_profile_sdr_ext *new_profile_of(const std::vector<inst_swp_package> &packages);

// The packages of a body with their types, its base RPMs and service packs.
std::string content_of(const inst_sw_profile_info &body);

// The same of a profile and its location profiles.
std::string content_of(const inst_sw_profile_sdr &sdr);
