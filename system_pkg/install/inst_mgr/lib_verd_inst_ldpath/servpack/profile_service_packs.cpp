#include "frame/error_text.h"
#include "frame/marker_files.h"
#include "frame/record_arguments.h"
#include "frame/text_list.h"

TRACE_SITES_BEGIN(profile_service_packs)

namespace
{

using Info = inst_sw_profile_info;

constexpr char FUNCTION[] = "inst_ldpath_get_swprofile_sps";

bool is_null_parameter(const void *parameter, int line, char **text)
{
    if (is_null(parameter, FUNCTION, line)) {
        error_text_add(text, "Error! Parameter is NULL, %s, %d\n", FUNCTION, line);
    }
    return parameter == nullptr;
}

uint64_t copy_names(const Info &body, OwnedStringList &names, char **text)
{
    if (!inst_sw_profile_info_has_sp_names(&body)) {
        return 0;
    }
    char **of_body = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_names(&body, &of_body);
    REPORT_SP_DEBUG("SPDEBUG: %s SW Profile has %d SP's\n", FUNCTION, count);
    if (count == 0) {
        return 0;
    }
    if (!allocate_list(names, count)) {
        REPORT("Error! Can't allocate file_list\n");
        error_text_add(text, "Error! Memory Allocation Failed\n");
        return INST_RC_NO_MEMORY;
    }
    const uint64_t rc = append_copies(names, of_body, count);
    if (rc != 0) {
        constexpr int line = __LINE__;
        REPORT("SPERROR: %s Failed to dup str %d\n", FUNCTION, line);
        error_text_add(text, "SPERROR: %s Failed to dup str %d\n", FUNCTION, line);
    }
    return rc;
}

uint64_t convert_details(const Info &body, serv_packs **sp_list_out)
{
    if (sp_list_out == nullptr || !inst_sw_profile_info_has_sp_details(&body)) {
        return 0;
    }
    sp_detail *details = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_details(&body, &details);
    REPORT_SP_DEBUG("SPDEBUG: %s %d sp's details are already in swp\n", FUNCTION, count);
    if (count == 0) {
        return 0;
    }
    serv_packs *set = nullptr;
    const uint64_t rc = instmgr_convert_sp_det_to_serv_pack(&set, details, count);
    if (set == nullptr) {
        return rc;
    }
    *sp_list_out = set;
    return 0;
}

uint64_t get_service_packs(inst_sw_profile_sdr_ext *profile, char ***sp_names_out, uint32_t *count_out,
                           serv_packs **sp_list_out, char **text)
{
    if (is_null_parameter(profile, __LINE__, text)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null_parameter(sp_names_out, __LINE__, text)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null_parameter(count_out, __LINE__, text)) {
        return INST_RC_INVALID_ARG;
    }
    const Info *const body = body_of(*profile, FUNCTION);
    if (body == nullptr) {
        return 0;
    }
    OwnedStringList names;
    uint64_t rc = copy_names(*body, names, text);
    if (rc == 0) {
        rc = convert_details(*body, sp_list_out);
    }
    if (rc == 0) {
        *count_out = names.count;
        *sp_names_out = std::exchange(names.list, nullptr);
    }
    return rc;
}

} // namespace

extern "C" uint64_t inst_ldpath_get_swprofile_sps(inst_sw_profile_sdr_ext *profile, char ***sp_names_out,
                                                  uint32_t *count_out, serv_packs **sp_list_out,
                                                  char **error_message_out)
{
    char *text = nullptr;
    const uint64_t rc = get_service_packs(profile, sp_names_out, count_out, sp_list_out, &text);
    error_text_hand_over(&text, error_message_out);
    return rc;
}

TRACE_SITES_END(profile_service_packs);
