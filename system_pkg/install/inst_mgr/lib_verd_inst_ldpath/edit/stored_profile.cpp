#include "edit/stored_profile.h"

#include "frame/owned.h"
#include "frame/report.h"
#include "persist/reader.h"

TRACE_SITES_BEGIN(stored_profile)

uint64_t read_stored_profile(const ProfileEdit &edit, StoredProfile &profile)
{
    Owned<char> path;
    uint64_t rc =
        inst_get_sdr_swprofile_file(edit.sdr_key, &path.ptr, edit.is_local, edit.state, edit.vm_type, nullptr);
    if (rc != 0) {
        REPORT("%s: Error! inst_get_sdr_swprofile_file failed, %lx\n", edit.function, rc);
        return rc;
    }
    rc = inst_decode_sw_profile_ext(path.ptr, &profile.record);
    if (rc != 0) {
        REPORT("Error! inst_decode_sw_profile_ext failed, %lx\n", rc);
    }
    return rc;
}

uint64_t store_edited_profile(const ProfileEdit &edit, const StoredProfile &profile)
{
    const uint64_t rc =
        inst_ldpath_store_sdr_swprofile(profile.record, edit.is_local, edit.state, nullptr, edit.vm_type, nullptr);
    if (rc != 0) {
        REPORT("%s: Error! Failed to store SW profile: %lx\n", edit.function, rc);
    }
    return rc;
}

TRACE_SITES_END(stored_profile);
