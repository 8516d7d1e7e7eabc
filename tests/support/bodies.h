// Bodies for tests of editing, and how their stories tell what is in them.
#pragma once

#include "support/repository_test.h"

// Service packs as a source for adding packages.
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

// Appends a package to a body, whose memory is its own.
void put_package(inst_sw_profile_info &body, const inst_swp_package &package);

// The body's packages, base RPMs and service packs, a line each.
Lines content_of(const inst_sw_profile_info &body);

// The same of a profile and its location profiles.
Lines content_of(const inst_sw_profile_sdr &sdr);
