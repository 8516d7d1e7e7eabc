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

// A profile of default-sdr with these packages only.
inst_sw_profile_sdr_ext *new_profile_of(const std::vector<inst_swp_package> &packages);

// The body's packages with their types, base RPMs and service packs.
std::string content_of(const inst_sw_profile_info &body);

// The same of a profile and its location profiles.
std::string content_of(const inst_sw_profile_sdr &sdr);

// The results of a query, which the caller frees.
struct Answer {
    char *image = nullptr;
    char **list = nullptr;
    uint32_t count = 0;
    serv_packs *packs = nullptr;
    uint8_t flag = 7; // neither

    Answer() = default;
    Answer(const Answer &) = delete;
    ~Answer()
    {
        std::free(image);
        inst_free_string_list(count, list);
        free_service_pack(packs);
    }
    std::string str() const;
};
