#include "frame/entry_name.h"
#include "frame/record_arguments.h"
#include "frame/report.h"
#include "frame/text_list.h"
#include "persist/owned_profile.h"

TRACE_SITES_BEGIN(image)

namespace
{

uint64_t get_image(inst_sw_profile_sdr_ext *profile, char **image_out)
{
    constexpr char FUNCTION[] = "inst_ldpath_get_swprofile_image";
    if (is_null(profile, FUNCTION)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(image_out, FUNCTION)) {
        return INST_RC_INVALID_ARG;
    }
    const inst_sw_profile_info *const body = body_of(*profile, FUNCTION);
    if (body == nullptr) {
        return 0;
    }
    const uint64_t rc = copy_text(name_of(body->image), image_out);
    if (rc != 0) {
        REPORT("Error! Can't allocate image\n");
    }
    return rc;
}

} // namespace

extern "C" {

uint64_t inst_ldpath_get_swprofile_image(inst_sw_profile_sdr_ext *profile, char **image_out)
{
    const uint64_t rc = get_image(profile, image_out);
    if (rc != 0 && image_out != nullptr) { // callers must set it to null before the call
        std::free(std::exchange(*image_out, nullptr));
    }
    return rc;
}

uint64_t inst_get_image_name(const char *sdr_key, char **image_out)
{
    if (is_null(sdr_key)) {
        return INST_RC_INVALID_ARG;
    }
    if (is_null(image_out)) {
        return INST_RC_INVALID_ARG;
    }
    OwnedProfile profile;
    const uint64_t rc = inst_ldpath_get_sdr_swprofile(sdr_key, VERD_SWP_ACTIVE, &profile.record);
    if (rc != 0) {
        REPORT("Error! %s inst_ldpath_get_sdr_swprofile failed, %lx\n", __func__, rc);
        return rc;
    }
    // A missing name, or no memory for its copy, is a success, too; callers check *image_out.
    static_cast<void>(inst_ldpath_get_swprofile_image(profile.record, image_out));
    return 0;
}
}

TRACE_SITES_END(image);
