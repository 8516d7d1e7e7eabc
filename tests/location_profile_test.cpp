// Packages and images for some nodes, or for all.
#include "support/bodies.h"

namespace
{

constexpr char PACKAGES[] = "/install_repo/gl/verdalis/";

class LocationProfileTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        fs::create_directories("/install_repo/tmp");
        fs::create_directories(PACKAGES);
    }

    static void given(const std::vector<inst_swp_package> &packages)
    {
        const Fetched profile = {new_profile_of(packages)};
        ASSERT_EQ(store(profile.ptr), 0U);
        hooks::reset();
    }

    static void shell(const std::string &command) { ASSERT_EQ(std::system(command.c_str()), 0) << command; }

    static void create_tar(const std::string &name, const std::string &members)
    {
        shell("mkdir -p /tmp/m && cd /tmp/m && touch " + members + " && tar --no-unquote -cPf " + PACKAGES + name +
              " " + members);
    }

    using Ids = std::vector<uint32_t>;

    static uint64_t add_for(const Ids &ids, const char *name, uint32_t type = BASE, uint64_t source = 0)
    {
        const std::vector<inst_node_loc> list = nodes(ids);
        return inst_ldpath_add_pkg_location(ACTIVE_QX, list.data(), static_cast<uint32_t>(list.size()), name, 0, type,
                                            source);
    }

    void add(const char *name, uint32_t type, const Ids &ids, uint64_t source = 0)
    {
        RECORD(std::string("add ") + name, add_for(ids, name, type, source));
        record_profile();
    }

    void add_image(const char *name, const char *version, const Ids &ids)
    {
        const std::vector<inst_node_loc> list = nodes(ids);
        const auto count = static_cast<uint32_t>(list.size());
        RECORD(std::string("add image ") + name,
               inst_ldpath_add_image_location(ACTIVE_QX, list.data(), count, name, version));
        record_profile();
    }

    static uint8_t has_locations() { return inst_ldpath_chk_loc_profile_exists(ACTIVE_QX); }

private:
    static std::vector<inst_node_loc> nodes(const Ids &ids)
    {
        std::vector<inst_node_loc> list;
        for (const uint32_t id : ids) {
            inst_node_loc_set_loc_id_2(&list.emplace_back(), id);
        }
        return list;
    }

    void record_profile()
    {
        Fetched profile;
        if (fetch(profile) == 0) {
            record_content(content_of(profile.ptr->sdr_sw_profile));
        }
    }
};

TEST_F(LocationProfileTest, PackagesForNodes)
{
    RECORD("locations, no profile", has_locations());
    RECORD("locations, no key", inst_ldpath_chk_loc_profile_exists(nullptr, 0, 2, VERD_VM_QX));
    given({new_package("old-1-1", {}, HOST_SMU_ENTRY)});
    EXPECT_EQ(has_locations(), 0);
    add("a-1-1", BASE, {1, 2});
    EXPECT_EQ(has_locations(), 1);
    add("a-1-1", BASE, {2});      // a location has it: the node joins, even if it is already listed
    add("b-1-1", BASE, {3});      // no location has it: all locations get it
    hooks::fail(hooks::FOPEN, 2); // the store fails, but the result is still 0
    EXPECT_EQ(add_for({4}, "b-1-1"), 0U);
    hooks::disarm();
    add("new-1-1", HOST_SMU, {}); // for all nodes: supersedes old-1-1 and removes the location profiles
    EXPECT_EQ(has_locations(), 0);
    add("new-1-1", HOST_SMU, {}); // a duplicate
    add("x; $(id) 'y'", 0, {5});  // not a bundle: no shell command contains the name
    g_inst_pkg_fmt_info.is_new_format = 1;
    add("no form", 0, {});
    add("no form", 0, {7}); // the failure of one location does not end the operation
}

TEST_F(LocationProfileTest, Bundles)
{
    given({new_package("qx-kernel-1-1", {"qx-kernel-1-1"}, KERNEL_ENTRY),
           new_package("qx-kernel-rt-1-1", {"qx-kernel-rt-1-1"}, KERNEL_ENTRY)});
    write_file("/install_repo/tmp/left/over", "");
    create_tar("qx-kernel-2-1.tar", "./qx-kernel-2-1.x86_64.rpm README ./qx-kernel-modules-2-1.x86_64.rpm");
    add("qx-kernel-2-1", KERNEL, {}); // found by the beginning of its name; supersedes the kernel of its class
    write_file(std::string(PACKAGES) + "single-1-1.rpm", "rpm");
    add("single-1-1.rpm", SMU, {1});
    add("absent-1-1", SMU, {2});
    add("single-1-1", HOST_SMU, {2}); // not a bundle under the old rules
    g_inst_pkg_fmt_info.is_new_format = 1;
    const ServicePacks packs{{"SP1", {"single-2-1.x86_64"}}};
    create_tar("single-2-1", "single-2-1.x86_64.rpm");
    add("single-2-1", HOST_SMU, {}, packs.source());
}

TEST_F(LocationProfileTest, DamagedBundlesAreRejected)
{
    given({});
    std::string many;
    for (int i = 0; i < 255; ++i) {
        many += "r-" + std::to_string(i) + "-1.rpm ";
    }
    create_tar("many", many);
    create_tar("upward", "../m/a-1-1.rpm");
    create_tar("absolute", "/tmp/m/a-1-1.rpm");
    create_tar("none", "README");
    create_tar("odd", "'a\\b-1-1.rpm'");
    shell(
        "ln -s /no/such /tmp/m/l-1-1.rpm && tar -C /tmp/m -cf /install_repo/gl/verdalis/link l-1-1.rpm && "
        "cd /install_repo/gl/verdalis && head -c 2048 many >cut && gzip -c cut >zipped && yes | head -c 2000 >text && "
        "touch empty && mkdir directory");
    const std::string before = read_file(active_bin);
    for (const char *const name :
         {"many", "upward", "absolute", "none", "odd", "link", "text", "cut", "zipped", "empty", "directory"}) {
        hooks::events.clear();
        EXPECT_EQ(add_for({0}, name, SMU), INSTCOMM_RC_INVALID_DATA);
        EXPECT_EQ(hooks::events.back(),
                  std::string("inst_ldpath_add_pkg_location: failed to get pkg list from bundle ") + PACKAGES + name);
        EXPECT_EQ(read_file(active_bin), before) << name;
        EXPECT_FALSE(fs::exists("/install_repo/tmp/m")) << name; // where "upward" would be unpacked
    }
}

// Unpacking writes into its directory only and clears special mode bits, whatever else a bundle contains and whatever
// the environment asks of tar.
TEST_F(LocationProfileTest, UnpackingStaysInItsDirectory)
{
    given({});
    shell("mkdir -p /tmp/m/d /tmp/out && cd /tmp/m && touch a-1-1.rpm d/b-1-1.rpm && chmod 6777 a-1-1.rpm && "
          "tar -cf /install_repo/gl/verdalis/whole ./a-1-1.rpm ./d && rm -r d && ln -s /tmp/out d && "
          "tar -cf /install_repo/gl/verdalis/linked d && rm d && mkdir d && touch d/b-1-1.rpm && "
          "tar -rf /install_repo/gl/verdalis/linked d/b-1-1.rpm");
    setenv("TAR_OPTIONS", "-P -v", 1);
    EXPECT_EQ(add_for({}, "whole", SMU), 0U);
    Fetched profile;
    EXPECT_EQ(fetch(profile), 0U);
    EXPECT_EQ(content_of(profile.body()), "whole/1 value 10240 of a-1-1.rpm b-1-1.rpm");
    const fs::path work = (*fs::directory_iterator("/install_repo/tmp")).path();
    EXPECT_EQ(fs::status(work / "a-1-1.rpm").permissions() & fs::perms(06000), fs::perms::none);
    EXPECT_EQ(add_for({}, "linked", SMU), INSTCOMM_RC_FAILED);
    unsetenv("TAR_OPTIONS");
    write_file("/tmp/bin/tar", "#!/bin/sh\ntouch /tmp/out/run\n");
    fs::permissions("/tmp/bin/tar", fs::perms::owner_all);
    const std::string path = getenv("PATH");
    setenv("PATH", ("/tmp/bin:" + path).c_str(), 1);
    EXPECT_EQ(add_for({}, "whole", SMU), 0U);
    setenv("PATH", path.c_str(), 1);
    EXPECT_TRUE(fs::is_empty("/tmp/out"));
}

TEST_F(LocationProfileTest, ImagesForNodes)
{
    add_image("no profile", nullptr, {});
    given({});
    add_image("qx-image", nullptr, {1});
    add_image("qx", "2.0", {2, 2}); // the beginning of the existing name
    add_image("kelo", "2.0", {3});  // no location has it: nothing changes
    add("a-1-1", BASE, {});
    add("a-1-1", BASE, {4});
    add_image("", "2.0", {3}); // a location without an image does not have it
}

TEST_F(LocationProfileTest, ATestFileEndsTheProcess)
{
    given({});
    write_file("/tmp/inst_ut_inst_mgr_respawn", "");
    EXPECT_EXIT(add_for({}, "a-1-1"), testing::ExitedWithCode(1), "");
    EXPECT_FALSE(fs::exists("/tmp/inst_ut_inst_mgr_respawn"));
    EXPECT_EQ(add_for({}, "a-1-1"), 0U);
}

} // namespace
