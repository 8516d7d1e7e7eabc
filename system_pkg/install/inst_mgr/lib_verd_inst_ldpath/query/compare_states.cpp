// Compares two states of a profile.
#include "frame/debug_line.h"
#include "servpack/master_profile.h"

TRACE_SITES_BEGIN(compare_states)

namespace
{

constexpr char FUNCTION[] = "inst_ldpath_is_sdr_master_act_comm_swp_equal";

constexpr MasterMessages ACTIVE = {
    [](const char *sdr_key) {
        REPORT("QX master act swp doesn't exist, sdr_key = %s. Install operation will fail.\n", sdr_key);
    },
    [] { REPORT("QX master act sw profile exists\n"); },
    [](const char *sdr_key, uint64_t rc) {
        REPORT("%s: failed to query sw profile, sdr_key = %s, rc=%ld\n", FUNCTION, sdr_key, rc);
    },
};
constexpr MasterMessages COMMITTED = {
    [](const char *sdr_key) {
        REPORT(" QX committed swp doesn't exist, sdr_key = %s. Install operation will fail.\n", sdr_key);
    },
    [] { REPORT("QX master committed sw profile exists\n"); },
    [](const char *sdr_key, uint64_t rc) {
        REPORT("%s: failed to query committed sw profile, sdr_key = %s, rc=%ld\n", FUNCTION, sdr_key, rc);
    },
};

uint64_t compare_masters(const char *sdr_key, uint8_t *is_equal)
{
    if (is_equal == nullptr) {
        REPORT("Error! is_equal is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    *is_equal = 0;
    if (sdr_key == nullptr) {
        REPORT("Error! sdr_key is NULL\n");
        return INST_RC_INVALID_ARG;
    }
    REPORT("%s: sdr_key is %s\n", FUNCTION, sdr_key);
    OwnedProfile active;
    uint64_t rc = fetch_master_profile({sdr_key, VERD_SWP_ACTIVE, VERD_VM_QX}, ACTIVE, active);
    if (rc != 0) {
        return rc;
    }
    OwnedProfile committed;
    rc = fetch_master_profile({sdr_key, VERD_SWP_COMMITTED, VERD_VM_QX}, COMMITTED, committed);
    if (rc != 0) {
        return rc;
    }
    rc = instcomm_compare_swp_profiles(active.record, committed.record, is_equal, 2);
    if (rc != 0) {
        *is_equal = 0;
        REPORT("failed in comparing active and committed SWPs\n");
    } else if (*is_equal != 0) {
        REPORT("QX master active and committed SWPs are equal \n");
    } else {
        REPORT("QX master active and committed SWPs are NOT equal\n");
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t inst_ldpath_is_sdr_master_act_comm_swp_equal(const char *sdr_key, uint8_t *is_equal)
{
    DEBUG_LINE(4, "Entering function %s, sdr_key='%s'\n", __func__, text_or_null(sdr_key));
    const uint64_t rc = compare_masters(sdr_key, is_equal);
    DEBUG_LINE(2, "Leaving  function %s, rc = %lx\n", __func__, rc);
    return rc;
}

uint64_t inst_ldpath_check_swp_mismatch_wrapper(const char *sdr_key, uint8_t is_local, uint32_t vm_type,
                                                int32_t src_part_type, int32_t dst_part_type, uint32_t selector,
                                                uint32_t option, uint8_t *matched)
{
    if (matched == nullptr) {
        return INST_RC_INVALID_ARG;
    }
    OwnedProfile source;
    uint64_t rc = inst_ldpath_get_sw_profile_if_exists(sdr_key, is_local, src_part_type, vm_type, &source.record);
    if (rc != 0) {
        return rc;
    }
    OwnedProfile destination;
    rc = inst_ldpath_get_sw_profile_if_exists(sdr_key, is_local, dst_part_type, vm_type, &destination.record);
    if (rc != 0) {
        return rc;
    }
    uint8_t is_first = 1;
    uint8_t is_match = 1;
    rc = instcomm_cmp_swprofile_ext(source.record, destination.record, selector, &is_first, 0, option, &is_match);
    // Quirk: if the comparison fails, is_match keeps its initial 1; callers that ignore the result code then
    // take the states as equal (verd_inst_ldpath.h).
    REPORT("SPINFO: Src and dest %s matched\n", is_match != 0 ? "" : "not");
    *matched = is_match;
    return rc;
}
}

TRACE_SITES_END(compare_states);
