// Creating profiles from requests.
#include "support/repository_test.h"

namespace
{

class CreateTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        record::set<&inst_swp_package::name>(packages[0], names[0]);
        record::set<&inst_swp_package::name>(packages[1], names[1]);
        record::set<&inst_swp_package::is_sp_pkg>(packages[1], 1);
        record::set<&service_pack::sp_name>(packs[0], pack_names[0]);
        record::set<&service_pack::sp_rpms>(packs[0], rpms, 1);
        record::set<&service_pack::sp_name>(packs[1], pack_names[1]);
        record::set<&serv_packs::service_packs>(set, packs, 2);
        request = {key,        0,       VERD_SWP_ACTIVE, lv_name,  image, rpms, 3,
                   VERD_VM_QX, version, aux_name,        packages, 2,     &set, 1};
    }

    // The created profile, which must be there.
    inst_sw_profile_info &created()
    {
        EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), 0U);
        inst_ldpath_free_swprofile_ext(&fetched.ptr);
        EXPECT_EQ(fetch(fetched), 0U);
        return fetched.body();
    }

    char key[12] = "default-sdr", lv_name[4] = "lv0", image[32] = "/images/image-1.4.0.iso", version[6] = "1.4.0";
    char aux_name[4] = "aux", names[2][16] = {"alpha-1.0-r1", "beta-1.0-r1"}, pack_names[2][4] = {"SP1", "SP2"};
    char rpm_c[2] = "c", rpm_a[2] = "a", rpm_b[2] = "b";
    char *rpms[3] = {rpm_c, rpm_a, rpm_b};
    inst_swp_package packages[2] = {};
    service_pack packs[2] = {};
    serv_packs set = {};
    swprofile_create_request request = {};
    Fetched fetched;
};

TEST_F(CreateTest, AProfileFromAFullRequest)
{
    const inst_sw_profile_info &body = created();
    EXPECT_STREQ(body.lv_name, "lv0");
    EXPECT_STREQ(body.version, "1.4.0");
    EXPECT_STREQ(body.image.name, "image-1.4.0.iso");
    EXPECT_STREQ(body.image.aux_name, "aux");
    EXPECT_EQ(body.image.presence[0], 0b10111); // its type of 0 is there
    ASSERT_EQ(body.image.files_count, 3U);
    EXPECT_STREQ(body.image.files[0], "a");
    EXPECT_EQ(rpms[0], rpm_a); // sorted in the caller's array
    ASSERT_EQ(body.packages_count, 2U);
    EXPECT_STREQ(body.packages[1].name, "beta-1.0-r1");
    ASSERT_EQ(body.sp_details_count, 2U);
    ASSERT_EQ(body.sp_names_count, 2U);
    EXPECT_STREQ(body.sp_details[0].sp_rpms[0], "a");
    EXPECT_STREQ(body.sp_names[1], "SP2");
    EXPECT_EQ(body.is_single_initrd_supported, 1);
    EXPECT_STREQ(fetched.ptr->sdr_sw_profile.sdr_key, "default-sdr");
    EXPECT_EQ(fetched.ptr->sdr_sw_profile_len,
              zeld_inst_sw_profile_sdr_encode_ext(&fetched.ptr->sdr_sw_profile, nullptr, 0, 0, 0, 0));
    const Lines lines = hooks::lines();
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 9),
              (Lines{"Creating global active SW Profile for QX (key=default-sdr), lv_name=lv0, "
                     "image=/images/image-1.4.0.iso, num_image_rpms=3 (c, a, b), packages_count=2, "
                     "is_single_initrd_supported = 1 ",
                     "Package RPM list:", "    Pkg RPM 0: alpha-1.0-r1", "    Pkg RPM 1: beta-1.0-r1",
                     "SPINFO: Found beta-1.0-r1 as first sp rpm", "Adding initial packages to SWP",
                     "SPINFO: Following SP(s) are being added to SWP", "SP[0]: SP1", "SP[1]: SP2"}));
}

TEST_F(CreateTest, ABareRequest)
{
    request = {nullptr,       0,       VERD_SWP_ACTIVE, nullptr, nullptr, nullptr, 9,
               VERD_VM_ADMIN, nullptr, nullptr,         nullptr, 9,       nullptr, 0};
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), 0U);
    EXPECT_EQ(hooks::lines()[0], "Creating global active SW Profile for Admin (key=null), lv_name=null, image=null, "
                                 "num_image_rpms=9 (), packages_count=9, is_single_initrd_supported = 0 ");
    EXPECT_EQ(hooks::lines()[1], "Error! Version information is NULL");
    ASSERT_EQ(inst_ldpath_get_swprofile(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &fetched.ptr, nullptr), 0U);
    const inst_sw_profile_sdr &sdr = fetched.ptr->sdr_sw_profile;
    EXPECT_EQ(sdr.presence[0], 1);
    EXPECT_EQ(sdr.sw_profile.presence[0], 0b101); // lv_name and packages, there and empty
    EXPECT_EQ(sdr.sw_profile.image.presence[0], 0b10000);
}

TEST_F(CreateTest, ServicePacksNeedAMember)
{
    record::clear<&inst_swp_package::is_sp_pkg>(packages[1]);
    char plain[] = "image.iso";
    request.image = plain;
    const inst_sw_profile_info &body = created();
    EXPECT_FALSE(record::has<&inst_sw_profile_info::sp_details>(body));
    EXPECT_FALSE(record::has<&inst_sw_profile_info::sp_names>(body));
    EXPECT_STREQ(body.image.name, "image.iso");
}

TEST_F(CreateTest, RefusedRequests)
{
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines(), Lines{"Error! request is NULL"});
    request.sdr_key = nullptr;
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines().back(), "Error! sdr_key is NULL");
    EXPECT_EQ(rpms[0], rpm_c);
    request.is_local = 1;
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), 0U);
    EXPECT_TRUE(fs::exists("/install_repo/local/sdr/(null)/qx-swprofile-active.bin"));

    request.part_type = 4;
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(hooks::lines().back(), "inst_ldpath_create_sdr_swprofile: Error! Failed to write SW profile to file "
                                     "(null): 4010127aca100907");
    std::string large(102400, 'v');
    request.version = large.data();
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(hooks::lines().back(), "Error! encode buffer size is not sufficient");
}

TEST_F(CreateTest, OptionalPackagesAreCopiedFirst)
{
    write_file("/misc/disk1/usb/opt_pkgs/alpha-1.0-r1", "a");
    write_file("/misc/disk1/usb/opt_pkgs/beta-1.0-r1", "b");
    write_file("/install_repo/gl/qx/x", "");
    created();
    EXPECT_EQ(read_file("/install_repo/gl/qx/beta-1.0-r1"), "b");
    EXPECT_EQ(read_file("/tmp/pkg_cpy_log"), "");
    EXPECT_EQ(hooks::events[0],
              "shell cp /misc/disk1/usb/opt_pkgs/alpha-1.0-r1 /install_repo/gl/qx/ > /tmp/pkg_cpy_log");
    packages[0].name = nullptr; // ends the copying, and nothing else
    hooks::reset();
    created();
    EXPECT_EQ(hooks::events[0], "sync");
    packages[0].name = names[0];

    // A failed copy ends the creation, after the names of service packs were copied.
    fs::remove("/misc/disk1/usb/opt_pkgs/alpha-1.0-r1");
    fs::remove(active_bin);
    hooks::reset();
    hooks::fail(hooks::SHELL); // -1
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), UINT64_MAX);
    const std::string line = "Unable to copy files to the dpath rc=-1, cp /misc/disk1/usb/opt_pkgs/alpha-1.0-r1 "
                             "/install_repo/gl/qx/ > /tmp/pkg_cpy_log\n  /misc/disk1/usb/opt_pkgs/alpha-1.0-r1";
    EXPECT_EQ(hooks::lines().back(), line);
    request.serv_packs = nullptr;
    testing::internal::CaptureStderr(); // what cp says
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), 256U);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(hooks::lines().back(), "Error! Can't allocate encode buffer");
    EXPECT_FALSE(fs::exists(active_bin));
}

} // namespace
