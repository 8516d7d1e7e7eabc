#include "servpack/master_profile.h"

uint64_t fetch_master_profile(const MasterProfile &master, const MasterMessages &messages, OwnedProfile &profile)
{
    uint8_t exists = 0;
    uint64_t rc = inst_ldpath_check_swprofile_exists(master.sdr_key, 0, master.state, master.vm_type, &exists, nullptr);
    if (rc != 0) {
        return rc;
    }
    if (exists == 0) {
        messages.is_missing(master.sdr_key);
        return INSTMGR_RC_SWPROFILE_NOT_FOUND;
    }
    messages.exists();
    // Quirk: QX uses a getter of a fixed VM type, Admin the general one; log searches match the messages of the former.
    rc = master.vm_type == VERD_VM_QX
             ? inst_ldpath_get_sdr_swprofile(master.sdr_key, master.state, &profile.record)
             : inst_ldpath_get_swprofile(master.sdr_key, 0, master.state, master.vm_type, &profile.record, nullptr);
    if (rc != 0) {
        messages.not_fetched(master.sdr_key, rc);
    }
    return rc;
}
