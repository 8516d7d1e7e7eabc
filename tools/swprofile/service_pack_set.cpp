#include "service_pack_set.h"

ServicePackSet::ServicePackSet(std::vector<ServicePackInput> &inputs)
{
    for (ServicePackInput &input : inputs) {
        service_pack &pack = packs.emplace_back();
        sp_detail_set_sp_name(&pack, input.name.data());
        if (!input.rpms.empty()) {
            std::vector<char *> &rpms = lists.emplace_back();
            for (std::string &rpm : input.rpms) {
                rpms.push_back(rpm.data());
            }
            sp_detail_set_sp_rpms(&pack, rpms.data(), static_cast<uint32_t>(rpms.size()));
        }
    }
    serv_packs_set_service_packs(&service_packs, packs.data(), static_cast<uint32_t>(packs.size()));
}
