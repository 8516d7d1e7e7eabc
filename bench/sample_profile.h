// A realistic profile of any size: names of 30 to 60 bytes, three to six RPM files a package.
#pragma once

#include "instcomm.h"
#include "zeld.h"

#include <cstdint>

// A new QX profile of "default-sdr" with `packages` packages; freed with zeld_inst_sw_profile_sdr_ext_free_ext and
// free.
inst_sw_profile_sdr_ext *new_sample_profile(uint32_t packages);

namespace bench
{

// Puts that many service packs, numbered from `first`, in the place of those in the body.
void set_service_packs(inst_sw_profile_info &body, uint32_t first, uint32_t count);

// Service packs as a source for adding packages; none until they are made. Each delivers one RPM.
struct ServicePackSource {
    serv_packs *set = nullptr;

    ServicePackSource() = default;
    ServicePackSource(const ServicePackSource &) = delete;
    ~ServicePackSource() { free_service_pack(set); }

    void make(uint32_t first, uint32_t count, const char *rpm);
    uint64_t source() const { return reinterpret_cast<uint64_t>(set); }
};

} // namespace bench
