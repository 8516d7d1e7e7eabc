#include "instcomm.h"

#include <cstdlib>

extern "C" void free_service_pack(serv_packs *sp_list)
{
    zeld_serv_packs_free_ext(sp_list, std::free, 0);
    std::free(sp_list);
}
