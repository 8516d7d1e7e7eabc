// A realistic profile of any size: package names of 45 bytes, three RPM files of 40, a second name of 30 for every
// third package; all numbers of each package are set, pkg_value and extra_value to random values.
#pragma once

#include "instcomm.h"
#include "zeld.h"

#include <cstdint>

// A new QX profile of "default-sdr" with `packages` packages; freed with zeld_inst_sw_profile_sdr_ext_free_ext and
// free.
inst_sw_profile_sdr_ext *new_sample_profile(uint32_t packages);

namespace bench
{

inline constexpr uint32_t SAMPLE_FILES = 3; // RPM files per package

constexpr bool has_second_name(uint32_t package)
{
    return package % 3 == 0;
}

// Replaces the body's service packs with `count` packs numbered from `first`.
void set_service_packs(inst_sw_profile_info &body, uint32_t first, uint32_t count);

// Service packs as a source for adding packages; empty until fill(). Each delivers one RPM.
struct ServicePackSource {
    serv_packs *set = nullptr;

    ServicePackSource() = default;
    ServicePackSource(const ServicePackSource &) = delete;
    ~ServicePackSource() { free_service_pack(set); }

    void fill(uint32_t first, uint32_t count, const char *rpm);
    uint64_t source() const { return reinterpret_cast<uint64_t>(set); }
};

} // namespace bench
