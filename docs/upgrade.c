/*
 * An upgrade as an install manager does it: prepare it on a copy of the active profile, add a kernel package from a
 * bundle for all nodes, look at the result, promote it, and commit it or roll back.
 *
 * usage: upgrade PACKAGE, a kernel package whose bundle is in /install_repo/gl/verdalis
 */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include "verd_inst_ldpath.h"

static const char SDR[] = "default-sdr";
enum { GLOBAL = 0, VM = VERD_VM_QX };

static uint64_t report(const char *step, uint64_t rc, char *reasons)
{
    if (rc != 0) {
        fprintf(stderr, "%s: %s (%s) %s\n", step, verd_result_meaning(rc), verd_result_name(rc),
                reasons == NULL ? "" : reasons);
    }
    free(reasons); /* a successful call may leave a text, too */
    return rc;
}

/* A copy with result 0 may have done nothing: the source must exist. */
static uint64_t copy(int32_t from, int32_t to)
{
    uint8_t exists = 0;
    char *reasons = NULL;
    uint64_t rc = inst_ldpath_check_swprofile_exists(SDR, GLOBAL, from, VM, &exists, &reasons);
    if (rc == 0 && exists == 0) {
        rc = INSTMGR_RC_SWPROFILE_NOT_FOUND;
    }
    if (rc == 0) {
        rc = inst_ldpath_swp_copy(SDR, GLOBAL, VM, from, to, &reasons);
    }
    return report(verd_state_name(to), rc, reasons);
}

/* Result 0 of a store does not prove that the profile is on disk: fetch it. */
static uint64_t show(int32_t state)
{
    inst_sw_profile_sdr_ext *profile = NULL;
    char *reasons = NULL;
    const uint64_t rc = inst_ldpath_get_swprofile(SDR, GLOBAL, state, VM, &profile, &reasons);
    if (rc == 0) {
        const inst_sw_profile_info *const body = &profile->sdr_sw_profile.sw_profile;
        inst_swp_package *packages = NULL;
        const uint32_t count = inst_sw_profile_info_get_packages(body, &packages);
        printf("%s:", verd_state_name(state));
        for (uint32_t i = 0; i < count; ++i) {
            printf(" %s", packages[i].name);
        }
        printf("\n");
    }
    inst_ldpath_free_swprofile_ext(&profile);
    return report("fetch", rc, reasons);
}

static uint64_t upgrade(const char *package)
{
    uint64_t rc = copy(VERD_SWP_ACTIVE, VERD_SWP_PREPARED);
    if (rc == 0) {
        rc = report(
            "add",
            inst_ldpath_add_pkg_location(SDR, GLOBAL, VERD_SWP_PREPARED, VM, NULL, 0, package, 0, VERD_PKG_KERNEL, 0),
            NULL);
    }
    if (rc == 0) {
        rc = show(VERD_SWP_PREPARED);
    }
    if (rc == 0) {
        char *reasons = NULL;
        rc = inst_ldpath_swp_move_prep_to_act(SDR, GLOBAL, VM, &reasons);
        rc = report("promote", rc, reasons);
    }
    return rc == 0 ? show(VERD_SWP_ACTIVE) : rc;
}

int main(int argc, char **argv)
{
    inst_pkg_fmt_info new_rules = {0};
    new_rules.is_new_format = 1;
    if (argc != 2 || verd_inst_ldpath_lib_init(0, &new_rules) != 0) {
        return 2;
    }
    uint64_t rc = copy(VERD_SWP_ACTIVE, VERD_SWP_COMMITTED); /* the version to return to */
    if (rc != 0) {
        return 1;
    }
    rc = upgrade(argv[1]);
    if (rc == 0) {
        return copy(VERD_SWP_ACTIVE, VERD_SWP_COMMITTED) == 0 ? 0 : 1;
    }
    printf("rolling back\n");
    copy(VERD_SWP_COMMITTED, VERD_SWP_ACTIVE);
    return 1;
}
