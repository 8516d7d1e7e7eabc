#include "edit/stored_profile.h"

#include "frame/marker_files.h"
#include "persist/reader.h"

TRACE_SITES_BEGIN(stored_profile)

uint64_t name_profile_file(const ProfileEdit &edit, Owned<char> &path, char **text)
{
    const uint64_t rc =
        inst_get_sdr_swprofile_file(edit.sdr_key, &path.ptr, edit.is_local, edit.state, edit.vm_type, text);
    if (rc != 0) {
        REPORT("%s: Error! inst_get_sdr_swprofile_file failed, %lx\n", edit.function, rc);
    }
    return rc;
}

uint64_t decode_profile_file(const ProfileEdit &edit, const char *path, OwnedProfile &profile)
{
    uint64_t rc = inst_decode_sw_profile_ext(path, &profile.record);
    if (edit.decode_test_file != nullptr && take_test_file(edit.decode_test_file)) {
        rc = INST_RC_FAILED;
    }
    if (rc != 0) {
        REPORT("Error! inst_decode_sw_profile_ext failed, %lx\n", rc);
    }
    return rc;
}

uint64_t read_stored_profile(const ProfileEdit &edit, OwnedProfile &profile)
{
    Owned<char> path;
    const uint64_t rc = name_profile_file(edit, path, nullptr);
    return rc != 0 ? rc : decode_profile_file(edit, path.ptr, profile);
}

uint64_t store_edited_profile(const ProfileEdit &edit, const OwnedProfile &profile, char **text)
{
    const uint64_t rc =
        inst_ldpath_store_sdr_swprofile(profile.record, edit.is_local, edit.state, nullptr, edit.vm_type, text);
    if (rc != 0) {
        REPORT("%s: Error! Failed to store SW profile: %lx\n", edit.function, rc);
    }
    return rc;
}

TRACE_SITES_END(stored_profile);
