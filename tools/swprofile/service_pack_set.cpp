#include "service_pack_set.h"

#include "zeld/record_fields.h"

ServicePackSet::ServicePackSet(std::vector<ServicePackInput> &inputs)
{
    for (ServicePackInput &input : inputs) {
        service_pack &pack = packs.emplace_back();
        record::set<&service_pack::sp_name>(pack, input.name.data());
        if (!input.rpms.empty()) {
            std::vector<char *> &rpms = lists.emplace_back();
            for (std::string &rpm : input.rpms) {
                rpms.push_back(rpm.data());
            }
            record::set<&service_pack::sp_rpms>(pack, rpms.data(), static_cast<uint32_t>(rpms.size()));
        }
    }
    record::set<&serv_packs::service_packs>(service_packs, packs.data(), static_cast<uint32_t>(packs.size()));
}
