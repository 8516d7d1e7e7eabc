#include "sample_profile.h"

#include "instcomm.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>

namespace
{

// Pseudo-random numbers, the same in every run.
struct Random {
    std::mt19937_64 engine{20261124};
    uint64_t operator()() { return engine(); }
    uint32_t below(uint32_t limit) { return static_cast<uint32_t>(engine() % limit); }
};

// name-version-release of `length` bytes.
char *new_name(Random &random, std::size_t length, uint32_t number)
{
    static const char *const stems[] = {"routing-", "forwarding-", "telemetry-", "multicast-", "security-"};
    char tail[64];
    std::snprintf(tail, sizeof tail, "-%u.%u.%u-r%04u", number, random.below(10), random.below(10),
                  random.below(10000));
    std::string name = "qx-";
    while (name.size() + std::strlen(tail) < length) {
        name += stems[random.below(5)];
    }
    name.resize(length - std::strlen(tail));
    return strdup((name + tail).c_str());
}

inst_swp_package sample_package(Random &random, uint32_t number)
{
    inst_swp_package package = {};
    char **const list = static_cast<char **>(std::calloc(bench::SAMPLE_FILES, sizeof(char *)));
    inst_swp_package_set_name(&package, new_name(random, 45, number));
    for (uint32_t i = 0; i < bench::SAMPLE_FILES; ++i) {
        list[i] = new_name(random, 40, number);
    }
    inst_swp_package_set_files(&package, list, bench::SAMPLE_FILES);
    if (bench::has_second_name(number)) {
        inst_swp_package_set_aux_name(&package, new_name(random, 30, number));
    }
    inst_swp_package_set_pkg_value(&package, random());
    inst_swp_package_set_pkg_type(&package, 1 + number % 5);
    inst_swp_package_set_pkg_marker(&package, number % 2 != 0);
    inst_swp_package_set_is_sp_pkg(&package, 1);
    inst_swp_package_set_extra_value(&package, static_cast<uint32_t>(random()));
    return package;
}

} // namespace

inst_sw_profile_sdr_ext *new_sample_profile(uint32_t packages)
{
    Random random;
    auto *const profile = static_cast<inst_sw_profile_sdr_ext *>(std::calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    inst_sw_profile_sdr_set_vm_type(&sdr, 3U);
    inst_sw_profile_sdr_set_sdr_key(&sdr, strdup("default-sdr"));
    inst_sw_profile_info_set_version(&sdr.sw_profile, strdup("1.4.0"));
    inst_swp_package_set_name(&sdr.sw_profile.image, strdup("qx-image-1.4.0.iso"));

    auto *const list = static_cast<inst_swp_package *>(std::calloc(packages, sizeof(inst_swp_package)));
    for (uint32_t i = 0; i < packages; ++i) {
        list[i] = sample_package(random, i);
    }
    inst_sw_profile_info_set_packages(&sdr.sw_profile, list, packages);
    return profile;
}

namespace
{

sp_detail sample_service_pack(uint32_t number, const char *rpm)
{
    sp_detail pack = {};
    char name[32];
    std::snprintf(name, sizeof name, "qx-service-pack-%u", number);
    auto *const rpms = static_cast<char **>(std::calloc(1, sizeof(char *)));
    rpms[0] = strdup(rpm);
    sp_detail_set_sp_name(&pack, strdup(name));
    sp_detail_set_sp_rpms(&pack, rpms, 1);
    return pack;
}

} // namespace

namespace bench
{

void set_service_packs(inst_sw_profile_info &body, uint32_t first, uint32_t count)
{
    inst_free_string_list(body.sp_names_count, body.sp_names);
    for (uint32_t i = 0; i < body.sp_details_count; ++i) {
        zeld_sp_detail_free_ext(&body.sp_details[i], std::free);
    }
    std::free(body.sp_details);
    auto *const names = static_cast<char **>(std::calloc(count, sizeof(char *)));
    auto *const details = static_cast<sp_detail *>(std::calloc(count, sizeof(sp_detail)));
    for (uint32_t i = 0; i < count; ++i) {
        details[i] = sample_service_pack(first + i, "other-1.0-r1");
        names[i] = strdup(details[i].sp_name);
    }
    inst_sw_profile_info_set_sp_names(&body, names, count);
    inst_sw_profile_info_set_sp_details(&body, details, count);
}

void ServicePackSource::fill(uint32_t first, uint32_t count, const char *rpm)
{
    set = static_cast<serv_packs *>(std::calloc(1, sizeof(serv_packs)));
    auto *const packs = static_cast<service_pack *>(std::calloc(count, sizeof(service_pack)));
    for (uint32_t i = 0; i < count; ++i) {
        packs[i] = sample_service_pack(first + i, rpm);
    }
    serv_packs_set_service_packs(set, packs, count);
}

} // namespace bench
