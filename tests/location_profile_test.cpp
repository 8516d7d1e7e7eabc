// Packages and images for some nodes, or for all.
#include "support/bodies.h"

#include <sys/wait.h>
#include <unistd.h>

namespace
{

constexpr char PACKAGES[] = "/install_repo/gl/verdalis/";

class LocationProfileTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        g_inst_pkg_fmt_info.is_new_format = 0;
        fs::create_directories("/install_repo/tmp");
        fs::create_directories(PACKAGES);
    }
    void TearDown() override
    {
        g_inst_pkg_fmt_info.is_new_format = 0;
        RepositoryTest::TearDown();
    }

    // A profile with nothing but packages.
    void given(const std::vector<inst_swp_package> &packages)
    {
        Fetched profile;
        profile.ptr = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
        inst_sw_profile_sdr_set_sdr_key(&profile.ptr->sdr_sw_profile, strdup("default-sdr"));
        for (const inst_swp_package &package : packages) {
            put_package(profile.body(), package);
        }
        ASSERT_EQ(store(profile.ptr), 0U);
        hooks::reset();
    }

    static void make_tar(const std::string &name, const std::string &members)
    {
        ASSERT_EQ(std::system(("mkdir -p /tmp/m && cd /tmp/m && touch " + members + " && tar --no-unquote -cPf " +
                               PACKAGES + name + " " + members)
                                  .c_str()),
                  0);
    }

    std::vector<inst_node_loc> nodes(std::initializer_list<uint32_t> ids) const
    {
        std::vector<inst_node_loc> list;
        for (const uint32_t id : ids) {
            inst_node_loc node = {};
            inst_node_loc_set_loc_id_2(&node, id);
            list.push_back(node);
        }
        return list;
    }

    uint64_t add(const char *name, uint32_t type, std::initializer_list<uint32_t> ids, uint64_t source = 0)
    {
        const std::vector<inst_node_loc> list = nodes(ids);
        const uint64_t rc =
            tell(std::string("add ") + name + " of type " + std::to_string(type) + " for " +
                     std::to_string(list.size()) + " nodes",
                 [&](char **) {
                     return inst_ldpath_add_pkg_location("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, list.data(),
                                                         static_cast<uint32_t>(list.size()), name, 0, type, source);
                 });
        tell_profile();
        return rc;
    }

    void add_image(const char *name, const char *version, std::initializer_list<uint32_t> ids)
    {
        const std::vector<inst_node_loc> list = nodes(ids);
        tell(std::string("add image ") + name + " for " + std::to_string(list.size()) + " nodes", [&](char **) {
            return inst_ldpath_add_image_location("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, list.data(),
                                                  static_cast<uint32_t>(list.size()), name, version);
        });
        tell_profile();
    }

    void tell_profile()
    {
        Fetched profile;
        tell_line("profile:");
        if (fetch(profile) == 0) {
            for (const std::string &line : content_of(profile.ptr->sdr_sw_profile)) {
                tell_line("  " + line);
            }
        }
    }

    static uint8_t has_locations()
    {
        return inst_ldpath_chk_loc_profile_exists("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX);
    }
};

TEST_F(LocationProfileTest, PackagesForNodes)
{
    given({new_package("old-1-1", {}, 5)});
    EXPECT_EQ(has_locations(), 0);
    add("a-1-1", 8, {1, 2});
    EXPECT_EQ(has_locations(), 1);
    add("a-1-1", 8, {2});         // there already: the node joins, though it is there too
    add("b-1-1", 8, {3});         // nowhere yet: all locations get it
    hooks::fail(hooks::FOPEN, 2); // of the store
    add("b-1-1", 8, {4});         // ... which is success all the same
    hooks::fail(hooks::FOPEN, 2);
    add("c-1-1", 8, {4});
    add("new-1-1", 6, {}); // for all nodes
    EXPECT_EQ(has_locations(), 0);
    add("new-1-1", 6, {});
    add("any", UINT32_MAX, {});
    add("x; $(id) 'y'", 0, {5});
    g_inst_pkg_fmt_info.is_new_format = 1;
    add("no form", 0, {});  // can't be added
    add("no form", 0, {7}); // the walk goes on
}

TEST_F(LocationProfileTest, Bundles)
{
    given(
        {new_package("qx-kernel-1-1", {"qx-kernel-1-1"}, 4), new_package("qx-kernel-rt-1-1", {"qx-kernel-rt-1-1"}, 4)});
    write_file("/install_repo/tmp/left/over", "");
    make_tar("qx-kernel-2-1.tar", "./qx-kernel-2-1.x86_64.rpm README ./qx-kernel-modules-2-1.x86_64.rpm");
    add("qx-kernel-2-1", 7, {}); // found by how its name begins, superseding the kernel of its class
    write_file(std::string(PACKAGES) + "single-1-1.rpm", "rpm");
    add("single-1-1.rpm", 4, {1});
    add("absent-1-1", 4, {2});
    add("single-1-1", 6, {2}); // no bundle under the old rules
    g_inst_pkg_fmt_info.is_new_format = 1;
    const ServicePacks packs{{"SP1", {"single-2-1.x86_64"}}};
    make_tar("single-2-1", "single-2-1.x86_64.rpm");
    add("single-2-1", 6, {}, packs.source());
    hooks::fail(hooks::MKDTEMP, 1, EROFS);
    add("single-2-1", 8, {});
}

TEST_F(LocationProfileTest, DamagedBundlesAreRefused)
{
    given({});
    std::string many;
    for (int i = 0; i < 255; ++i) {
        many += "r-" + std::to_string(i) + "-1.rpm ";
    }
    make_tar("many", many);
    make_tar("upward", "../m/a-1-1.rpm");
    make_tar("absolute", "/tmp/m/a-1-1.rpm");
    make_tar("none", "README");
    make_tar("odd", "'a\\b-1-1.rpm'");
    ASSERT_EQ(symlink("/no/such", "/tmp/m/l-1-1.rpm"), 0);
    ASSERT_EQ(std::system("tar -C /tmp/m -cf /install_repo/gl/verdalis/link l-1-1.rpm"), 0);
    write_file(std::string(PACKAGES) + "text", std::string(2000, 'x'));
    write_file(std::string(PACKAGES) + "cut", read_file(std::string(PACKAGES) + "many").substr(0, 2048));
    ASSERT_EQ(std::system("gzip -c /install_repo/gl/verdalis/cut >/install_repo/gl/verdalis/zipped"), 0);
    write_file(std::string(PACKAGES) + "empty", "");
    fs::create_directories(std::string(PACKAGES) + "directory");
    const std::string before = read_file(active_bin);
    for (const char *const name :
         {"many", "upward", "absolute", "none", "odd", "link", "text", "cut", "zipped", "empty", "directory"}) {
        hooks::events.clear();
        const inst_node_loc node = {};
        const uint64_t rc = inst_ldpath_add_pkg_location("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &node, 1, name,
                                                         0, VERD_PKG_SMU, 0);
        EXPECT_EQ(rc, INSTCOMM_RC_INVALID_DATA) << name;
        tell_line(hooks::events.back());
        EXPECT_EQ(read_file(active_bin), before) << name;
    }
    EXPECT_FALSE(fs::exists("/install_repo/m"));
}

// What a sound bundle brings along beside its members doesn't matter, nor what the environment asks of tar.
TEST_F(LocationProfileTest, UnpackingIsNotToBeLedAstray)
{
    given({});
    ASSERT_EQ(
        std::system("mkdir -p /tmp/m/d /tmp/out && cd /tmp/m && touch a-1-1.rpm d/b-1-1.rpm && "
                    "chmod 6777 a-1-1.rpm && tar -cf /install_repo/gl/verdalis/whole ./a-1-1.rpm ./d && rm -r d && "
                    "ln -s /tmp/out d && tar -cf /install_repo/gl/verdalis/led d && rm d && mkdir d && "
                    "touch d/b-1-1.rpm && tar -rf /install_repo/gl/verdalis/led d/b-1-1.rpm"),
        0);
    setenv("TAR_OPTIONS", "-P -v", 1);
    add("whole", VERD_PKG_SMU, {});
    const fs::path work = (*fs::directory_iterator("/install_repo/tmp")).path();
    EXPECT_EQ(fs::status(work / "a-1-1.rpm").permissions() & fs::perms(06000), fs::perms::none);
    add("led", VERD_PKG_SMU, {});
    unsetenv("TAR_OPTIONS");
    EXPECT_TRUE(fs::is_empty("/tmp/out"));
    write_file("/tmp/bin/tar", "#!/bin/sh\ntouch /tmp/out/run\n");
    fs::permissions("/tmp/bin/tar", fs::perms::owner_all);
    const std::string path = getenv("PATH");
    setenv("PATH", ("/tmp/bin:" + path).c_str(), 1);
    add("whole", VERD_PKG_SMU, {});
    setenv("PATH", path.c_str(), 1);
    EXPECT_TRUE(fs::is_empty("/tmp/out"));
}

TEST_F(LocationProfileTest, ImagesForNodes)
{
    given({});
    add_image("qx-image", nullptr, {1});
    add_image("qx", "2.0", {2, 2}); // begins the name that is there
    add_image("kelo", "2.0", {3});  // in no location: nothing changes
    add("a-1-1", 8, {});
    add("a-1-1", 8, {4});
    given({});
    add("a-1-1", 8, {4});
    add_image("", "2.0", {3}); // a location without an image has none
}

TEST_F(LocationProfileTest, Failures)
{
    tell("no profile", [](char **) -> uint64_t { return has_locations(); });
    tell("no key", [](char **) -> uint64_t { return inst_ldpath_chk_loc_profile_exists(nullptr, 0, 2, VERD_VM_QX); });
    add("a-1-1", 8, {});
    add_image("i", nullptr, {});
    given({new_package("smu-1-1", {}, 5)});
    const auto add_null = [](const char *name, uint32_t count) {
        return inst_ldpath_add_pkg_location("default-sdr", 0, 2, VERD_VM_QX, nullptr, count, name, 0, 8, 0);
    };
    tell("no package", [&](char **) { return add_null(nullptr, 0); });
    tell("a node without its location", [&](char **) { return add_null("a-1-1", 1); });
    tell("no image", [](char **) {
        return inst_ldpath_add_image_location("default-sdr", 0, 2, VERD_VM_QX, nullptr, 0, nullptr, nullptr);
    });
    tell("no key",
         [](char **) { return inst_ldpath_add_pkg_location(nullptr, 0, 2, VERD_VM_QX, nullptr, 0, "a-1-1", 0, 8, 0); });
}

// When memory runs out, nodes that should join a location either do, or the result or the log says that they do not.
TEST_F(LocationProfileTest, MemoryRunsOutWhileNodesJoin)
{
    const std::vector<inst_node_loc> first = nodes({1});
    const std::vector<inst_node_loc> second = nodes({2});
    const auto add_for = [&](const inst_node_loc &node) {
        return inst_ldpath_add_pkg_location("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &node, 1, "a-1-1", 0,
                                            VERD_PKG_BASE, 0);
    };
    bool has_fired = true;
    for (int nth = 1; has_fired; ++nth) {
        given({});
        ASSERT_EQ(add_for(first[0]), 0U);
        hooks::reset();
        hooks::fail(hooks::ALLOCATION, nth);
        const uint64_t rc = add_for(second[0]);
        has_fired = hooks::orders[hooks::ALLOCATION].fired;
        hooks::disarm();
        Fetched profile;
        if (rc != 0 || fetch(profile) != 0) { // a store without memory to verify the file removes it
            continue;
        }
        const bool is_joined = profile.ptr->sdr_sw_profile.loc_profiles[0].node_locs_count == 2;
        const Lines lines = hooks::lines();
        const bool is_reported = std::any_of(lines.begin(), lines.end(), [](const std::string &line) {
            return line.starts_with("Failed to allocate memory for replace_pkgs") ||
                   line.starts_with("Error! Failed to add package in swp.") ||
                   line.find("Failed to store SW profile") != std::string::npos;
        });
        EXPECT_TRUE(is_joined || is_reported) << nth;
    }
}

TEST_F(LocationProfileTest, AMarkerEndsTheProcess)
{
    given({});
    write_file("/tmp/inst_ut_inst_mgr_respawn", "");
    const pid_t child = fork();
    if (child == 0) {
        inst_ldpath_add_pkg_location("default-sdr", 0, 2, VERD_VM_QX, nullptr, 0, "a-1-1", 0, 8, 0);
        _exit(9);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_FALSE(fs::exists("/tmp/inst_ut_inst_mgr_respawn"));
    EXPECT_EQ(add("a-1-1", 8, {}), 0U);
}

} // namespace
