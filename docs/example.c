/* Creates the active QX profile of an SDR, fetches it back and prints its content. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include "verd_inst_ldpath.h"

static uint64_t create(void)
{
    char sdr_key[] = "default-sdr";
    char image[] = "/images/qx-image-1.4.0.iso";
    char version[] = "1.4.0";
    char name[] = "qx-routing-1.4.0-r1";

    inst_swp_package package = {0};
    inst_swp_package_set_name(&package, name);
    inst_swp_package_set_pkg_type(&package, VERD_SWP_PKG_BASE);

    swprofile_create_request request = {0};
    request.sdr_key = sdr_key;
    request.vm_type = VERD_VM_QX;
    request.part_type = VERD_SWP_ACTIVE;
    request.image = image;
    request.version = version;
    request.packages = &package;
    request.packages_count = 1;
    return inst_ldpath_create_sdr_swprofile(&request); /* the caller still owns everything */
}

int main(void)
{
    if (verd_inst_ldpath_lib_init(0, NULL) != 0) {
        return 1;
    }
    uint64_t rc = create();
    if (rc != 0) {
        fprintf(stderr, "cannot create the profile: 0x%016" PRIx64 "\n", rc);
        return 1;
    }
    inst_sw_profile_sdr_ext *profile = NULL;
    char *reasons = NULL;
    rc = inst_ldpath_get_swprofile("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &profile, &reasons);
    if (rc == 0) {
        const inst_sw_profile_info *body = &profile->sdr_sw_profile.sw_profile;
        inst_swp_package *packages = NULL;
        const uint32_t count = inst_sw_profile_info_get_packages(body, &packages);
        printf("%s: %" PRIu32 " package, the first is %s\n", body->image.name, count, packages[0].name);
    } else {
        fprintf(stderr, "cannot fetch the profile: 0x%016" PRIx64 " %s\n", rc, reasons == NULL ? "" : reasons);
    }
    free(reasons);
    inst_ldpath_free_swprofile_ext(&profile);
    return rc == 0 ? 0 : 1;
}
