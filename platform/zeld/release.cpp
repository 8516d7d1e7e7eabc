#include "release.h"

namespace zeld
{
namespace
{

template <class R> void free_content(R *record, zeld_deallocator deallocate)
{
    if (record != nullptr && deallocate != nullptr) {
        release_and_clear(*record, deallocate);
    }
}

} // namespace
} // namespace zeld

extern "C" {

void zeld_inst_swp_package_free_ext(inst_swp_package *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_inst_node_loc_free_ext(inst_node_loc *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_sp_detail_free_ext(sp_detail *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_serv_packs_free_ext(serv_packs *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_inst_sw_profile_loc_free_ext(inst_sw_profile_loc *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}

void zeld_inst_sw_profile_sdr_ext_free_ext(inst_sw_profile_sdr_ext *record, zeld_deallocator deallocator, ...)
{
    zeld::free_content(record, deallocator);
}
}
