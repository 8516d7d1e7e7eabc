// A set of service packs, as the library takes it, made of input.
#pragma once

#include "create_input.h"

#include <deque>

// Points into the input, which must outlive it.
class ServicePackSet
{
public:
    explicit ServicePackSet(std::vector<ServicePackInput> &inputs);
    ServicePackSet(const ServicePackSet &) = delete;
    ServicePackSet &operator=(const ServicePackSet &) = delete;

    serv_packs *set() { return packs.empty() ? nullptr : &service_packs; }
    uint64_t source() { return reinterpret_cast<uint64_t>(set()); }

private:
    std::deque<std::vector<char *>> lists;
    std::vector<service_pack> packs;
    serv_packs service_packs = {};
};
