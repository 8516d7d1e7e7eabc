// Creating profiles from requests.
#include "support/bodies.h"

namespace
{

class CreateTest : public RepositoryTest, protected CreateRequest
{
protected:
    void create(const std::string &title) { RECORD(title, inst_ldpath_create_sdr_swprofile(&request)); }

    const inst_sw_profile_info &created_body()
    {
        inst_ldpath_free_swprofile_ext(&fetched.ptr);
        EXPECT_EQ(fetch(fetched), 0U);
        return fetched.body();
    }

    Fetched fetched;
};

TEST_F(CreateTest, FullRequests)
{
    create("a full request");
    const inst_sw_profile_info &body = created_body();
    record_content(content_of(body) + ", image " + body.image.name + " " + body.image.aux_name + ", version " +
                   body.version + ", volume " + body.lv_name);
    EXPECT_EQ(fetched.ptr->sdr_sw_profile.vm_type, VERD_VM_QX);
    EXPECT_STREQ(fetched.ptr->sdr_sw_profile.sdr_key, key);
    EXPECT_EQ(body.is_single_initrd_supported, 1);
    EXPECT_EQ(body.image.presence[0], 0b10111); // also the bit of its type
    EXPECT_EQ(body.image.pkg_type, 0U);
    EXPECT_EQ(rpms[0], rpm_a); // sorted in the caller's array
    EXPECT_EQ(fetched.ptr->sdr_sw_profile_len,
              zeld_inst_sw_profile_sdr_encode_ext(&fetched.ptr->sdr_sw_profile, nullptr, 0, 0, 0, 0));

    // If the directory opt_pkgs exists, the packages are copied from it to gl/qx before the profile is created.
    write_file("/misc/disk1/usb/opt_pkgs/alpha-1.0-r1", "a");
    write_file("/misc/disk1/usb/opt_pkgs/beta-1.0-r1", "b");
    write_file("/install_repo/gl/qx/x", "");
    char file[] = "image.iso"; // without a directory
    request.image = file;
    create("two optional packages");
    EXPECT_STREQ(created_body().image.name, "image.iso");
    EXPECT_EQ(read_file("/install_repo/gl/qx/beta-1.0-r1"), "b");
    packages[0].name = nullptr;
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), 0U); // a package without a name ends the copying
    packages[0].name = names[0];
    fs::remove(active_bin);
    hooks::fail(hooks::SHELL);
    EXPECT_EQ(inst_ldpath_create_sdr_swprofile(&request), UINT64_MAX); // the status of the command
    hooks::disarm();
    request.serv_packs = nullptr;
    fs::remove("/misc/disk1/usb/opt_pkgs/alpha-1.0-r1");
    create("a copy fails, no service packs");
    EXPECT_FALSE(fs::exists(active_bin));

    fs::remove_all("/misc/disk1");
    request.serv_packs = &set;
    packs[1].sp_name = nullptr;
    create("a service pack without a name");
    inst_swp_package_clear_is_sp_pkg(&packages[1]);
    create("no package belongs to a service pack");
    EXPECT_FALSE(inst_sw_profile_info_has_sp_details(&created_body()));
    EXPECT_FALSE(inst_sw_profile_info_has_sp_names(&fetched.body()));
}

TEST_F(CreateTest, BareAndRejectedRequests)
{
    request.serv_packs = nullptr;
    request.packages_count = 0;
    request.sdr_key = nullptr;
    create("global, no key");
    EXPECT_EQ(rpms[0], rpm_c); // not sorted
    request.is_local = 1;
    create("local, no key");
    request.part_type = 4;
    create("state 4");
    std::string large(102400, 'v');
    request.version = large.data();
    create("more than 102400 bytes");

    request = {};
    request.part_type = VERD_SWP_ACTIVE;
    request.vm_type = VERD_VM_ADMIN;
    request.num_image_rpms = request.packages_count = 9; // of null arrays
    create("only a state and a VM type");
    ASSERT_EQ(inst_ldpath_get_swprofile(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &fetched.ptr, nullptr), 0U);
    const inst_sw_profile_sdr &sdr = fetched.ptr->sdr_sw_profile;
    EXPECT_EQ(sdr.presence[0], 1);
    EXPECT_EQ(sdr.sw_profile.presence[0], 0b101); // lv_name, which is null, and an empty array of packages
    EXPECT_EQ(sdr.sw_profile.image.presence[0], 0b10000);
}

} // namespace
