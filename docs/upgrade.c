/*
 * An upgrade as an install manager does it: prepare it on a copy of the active profile, add a kernel package from a
 * bundle for all nodes, compare the result with the active profile, promote it or, if that fails, roll back; then
 * commit it.
 *
 * usage: upgrade PACKAGE, a kernel package whose bundle is in /install_repo/gl/verdalis. /install_repo/tmp must exist;
 * its content, except dot files, is deleted.
 */
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

/* Fetches the source first: the library also copies a damaged profile, and returns 0 if there is none. */
static uint64_t copy(int32_t from, int32_t to)
{
    uint64_t rc = show(from);
    if (rc == 0) {
        char *reasons = NULL;
        rc = inst_ldpath_swp_copy(SDR, GLOBAL, VM, from, to, &reasons);
        rc = report(verd_state_name(to), rc, reasons);
    }
    return rc;
}

/* Builds the new version as the prepared profile. */
static uint64_t prepare(const char *package)
{
    uint64_t rc = copy(VERD_SWP_ACTIVE, VERD_SWP_PREPARED);
    if (rc == 0) {
        rc = report(
            "add",
            inst_ldpath_add_pkg_location(SDR, GLOBAL, VERD_SWP_PREPARED, VM, NULL, 0, package, 0, VERD_PKG_KERNEL, 0),
            NULL);
    }
    return rc == 0 ? show(VERD_SWP_PREPARED) : rc;
}

/* Sets *differ to whether the packages of the active and the prepared profile differ; their order does not matter. */
static uint64_t compare(int *differ)
{
    enum { PACKAGES = 2, ANY_ORDER = 1 };
    uint8_t matched = 0;
    const uint64_t rc = inst_ldpath_check_swp_mismatch_wrapper(SDR, GLOBAL, VM, VERD_SWP_ACTIVE, VERD_SWP_PREPARED,
                                                               PACKAGES, ANY_ORDER, &matched);
    *differ = matched == 0;
    return report("compare", rc, NULL);
}

static uint64_t promote(void)
{
    char *reasons = NULL;
    const uint64_t rc = inst_ldpath_swp_move_prep_to_act(SDR, GLOBAL, VM, &reasons);
    return report("promote", rc, reasons);
}

int main(int argc, char **argv)
{
    inst_pkg_fmt_info new_rules = {0};
    new_rules.is_new_format = 1;
    if (argc != 2 || verd_inst_ldpath_lib_init(0, &new_rules) != 0) {
        return 2;
    }
    int differ = 0;
    /* The committed profile is the version to return to. */
    if (copy(VERD_SWP_ACTIVE, VERD_SWP_COMMITTED) != 0 || prepare(argv[1]) != 0 || compare(&differ) != 0) {
        return 1;
    }
    if (!differ) {
        printf("%s is installed already\n", argv[1]);
        return 0;
    }
    if (promote() != 0) {
        printf("rolling back\n");
        copy(VERD_SWP_COMMITTED, VERD_SWP_ACTIVE);
        return 1;
    }
    return copy(VERD_SWP_ACTIVE, VERD_SWP_COMMITTED) == 0 ? 0 : 1;
}
