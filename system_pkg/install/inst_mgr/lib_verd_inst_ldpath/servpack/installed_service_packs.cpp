// Lists the service packs of an SDR's global QX profile and of the global Admin profile together.
#include "frame/owned.h"
#include "frame/report.h"
#include "servpack/master_profile.h"

TRACE_SITES_BEGIN(installed_service_packs)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_get_all_swprofile_sps";

struct Messages {
    MasterMessages master;
    void (*no_names)(uint64_t rc);
    void (*not_added)();
};

void qx_not_fetched(const char *sdr_key, uint64_t rc)
{
    REPORT("%s: failed to query sw profile, sdr_key = %s, rc=%ld\n", FUNCTION, sdr_key, rc);
}

constexpr Messages QX_ACTIVE = {
    {[](const char *sdr_key) {
         REPORT("QX master act swp doesn't exist, sdr_key = %s. Install operation will fail.\n", sdr_key);
     },
     [] { REPORT("QX master act sw profile exists\n"); }, qx_not_fetched},
    [](uint64_t rc) { REPORT("%s: failed to get active qx sp count, rc=%ld\n", FUNCTION, rc); },
    [] { REPORT("ERROR: %s failed to add act_qx_sp to list\n", FUNCTION); },
};
constexpr Messages QX_COMMITTED = {
    {[](const char *sdr_key) {
         REPORT("QX master committed swp doesn't exist, sdr_key = %s. Install operation will fail.\n", sdr_key);
     },
     [] { REPORT("QX master committed sw profile exists\n"); }, qx_not_fetched},
    [](uint64_t rc) { REPORT("%s: failed to get committed qx sp count, rc=%ld\n", FUNCTION, rc); },
    [] { REPORT("ERROR: %s failed to add comm_qx_sp to list\n", FUNCTION); },
};
constexpr Messages ADMIN_ACTIVE = {
    {[](const char *) { REPORT("ERROR: Sysadmin master active swp doesn't exist\n"); },
     [] { REPORT("Sysadmin master sw profile exists\n"); },
     [](const char *, uint64_t rc) {
         REPORT("%s: failed to query sysadmin active sw profile, rc=%ld\n", FUNCTION, rc);
     }},
    [](uint64_t rc) { REPORT("%s: failed to get active sysadmin sp count, rc=%ld\n", FUNCTION, rc); },
    [] { REPORT("ERROR: %s failed to add act_sys_sp to list\n", FUNCTION); },
};
constexpr Messages ADMIN_COMMITTED = {
    {[](const char *) { REPORT("ERROR: Sysadmin master committed swp doesn't exist\n"); },
     [] { REPORT("Sysadmin master committed sw profile exists\n"); },
     [](const char *, uint64_t rc) {
         REPORT("%s: failed to query sysadmin committed sw profile, rc=%ld\n", FUNCTION, rc);
     }},
    [](uint64_t rc) { REPORT("%s: failed to get committed sys sp count, rc=%ld\n", FUNCTION, rc); },
    [] { REPORT("ERROR: %s failed to add comm_sys_sp to list\n", FUNCTION); },
};

struct Source {
    MasterProfile master;
    const Messages &messages;
    OwnedProfile profile = {};
    OwnedStringList names = {};
};

uint64_t fetch(Source &source)
{
    return fetch_master_profile(source.master, source.messages.master, source.profile);
}

uint64_t get_names(Source &source)
{
    OwnedStringList &names = source.names;
    const uint64_t rc =
        inst_ldpath_get_swprofile_sps(source.profile.record, &names.list, &names.count, nullptr, nullptr);
    if (rc != 0) {
        source.messages.no_names(rc);
    }
    return rc;
}

uint64_t fetch_names(Source &source)
{
    const uint64_t rc = fetch(source);
    return rc != 0 ? rc : get_names(source);
}

// In the order of the resulting list.
struct Sources {
    Source qx_active;
    Source qx_committed;
    Source admin_active;
    Source admin_committed;
};

uint64_t fetch_committed_names(Sources &sources)
{
    uint8_t is_equal = 0;
    uint64_t rc = inst_ldpath_is_sdr_master_act_comm_swp_equal(sources.qx_active.master.sdr_key, &is_equal);
    if (rc != 0) {
        REPORT("ERROR: Failed to compare active and committed swp\n");
        return rc;
    }
    if (is_equal == 0) { // equal profiles have the same service packs
        rc = fetch_names(sources.qx_committed);
    }
    return rc != 0 ? rc : fetch_names(sources.admin_committed);
}

uint64_t collect_names(Sources &sources, bool include_committed)
{
    uint64_t rc = fetch(sources.qx_active);
    if (rc == 0) {
        rc = fetch(sources.admin_active);
    }
    if (rc == 0 && include_committed) {
        rc = fetch_committed_names(sources);
    }
    if (rc == 0) {
        rc = get_names(sources.qx_active);
    }
    return rc != 0 ? rc : get_names(sources.admin_active);
}

uint64_t merge_names(const Sources &sources, OwnedStringList &all)
{
    for (const Source *const source :
         {&sources.qx_active, &sources.qx_committed, &sources.admin_active, &sources.admin_committed}) {
        if (source->names.count == 0) {
            continue;
        }
        const uint64_t rc = instcomm_add_to_list(&all.list, &all.count, source->names.list, source->names.count);
        if (rc != 0) {
            source->messages.not_added();
            return rc;
        }
    }
    return 0;
}

uint64_t get_all(const char *sdr_key, bool include_committed, OwnedStringList &all)
{
    Sources sources = {{{sdr_key, VERD_SWP_ACTIVE, VERD_VM_QX}, QX_ACTIVE},
                       {{sdr_key, VERD_SWP_COMMITTED, VERD_VM_QX}, QX_COMMITTED},
                       {{nullptr, VERD_SWP_ACTIVE, VERD_VM_ADMIN}, ADMIN_ACTIVE},
                       {{nullptr, VERD_SWP_COMMITTED, VERD_VM_ADMIN}, ADMIN_COMMITTED}};
    const uint64_t rc = collect_names(sources, include_committed);
    return rc != 0 ? rc : merge_names(sources, all);
}

} // namespace

extern "C" uint64_t inst_ldpath_get_all_swprofile_sps(const char *sdr_key, uint8_t include_committed,
                                                      char ***sp_names_out, uint32_t *count_out)
{
    if (sp_names_out == nullptr) {
        REPORT("ERROR: %s Input sp_list is NULL\n", FUNCTION);
        return INST_RC_INVALID_ARG;
    }
    if (sdr_key == nullptr) {
        REPORT("ERROR: %s sdr_key is NULL\n", FUNCTION);
        return INST_RC_INVALID_ARG;
    }
    if (count_out == nullptr) {
        REPORT("ERROR: %s count_out is NULL\n", FUNCTION);
        return INST_RC_INVALID_ARG;
    }
    OwnedStringList all;
    const uint64_t rc = get_all(sdr_key, include_committed != 0, all);
    if (rc != 0 || all.count == 0) {
        return rc;
    }
    REPORT("Removing duplicates sp_cnt  = %d \n", all.count);
    remove_duplicates_from_list(all.list, &all.count);
    REPORT("List count after removing duplicates %d\n", all.count);
    for (uint32_t i = 0; i < all.count; ++i) {
        REPORT("Active SP name %s \n", all.list[i]);
    }
    *sp_names_out = std::exchange(all.list, nullptr);
    *count_out = all.count;
    return 0;
}

TRACE_SITES_END(installed_service_packs);
