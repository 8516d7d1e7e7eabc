#include "frame/record_arguments.h"

#include "frame/report.h"

TRACE_SITES_BEGIN(record_arguments)

bool is_null(const void *parameter, const char *function, int line)
{
    if (parameter == nullptr) {
        REPORT("Error! Parameter is NULL, %s, %d\n", function, line);
    }
    return parameter == nullptr;
}

inst_sw_profile_info *body_of(inst_sw_profile_sdr_ext &profile, const char *function)
{
    if (!inst_sw_profile_sdr_ext_has_sdr_sw_profile(&profile)) {
        REPORT("%s: SDR Profile is NULL\n", function);
        return nullptr;
    }
    if (!inst_sw_profile_sdr_has_sw_profile(&profile.sdr_sw_profile)) {
        REPORT("%s: SW Profile is NULL\n", function);
        return nullptr;
    }
    return &profile.sdr_sw_profile.sw_profile;
}

TRACE_SITES_END(record_arguments);
