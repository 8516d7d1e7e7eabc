// What operations make of functions that somebody has put before the library's and the platform's own, and which hand
// out nothing.
#include "support/bodies.h"

namespace
{

using InterposedTest = RepositoryTest;

TEST_F(InterposedTest, NoPath)
{
    const Fetched profile = {new_full_profile()};
    Fetched fetched;
    uint8_t exists = 7;
    failing(hooks::LOSE_PATH);
    TELL("store", store(profile.ptr, err));
    failing(hooks::LOSE_PATH);
    TELL("fetch", fetch(fetched, err));
    failing(hooks::LOSE_PATH);
    TELL("exists", inst_ldpath_check_swprofile_exists("s", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &exists, err));
    EXPECT_EQ(exists, 7);
    failing(hooks::LOSE_PATH);
    TELL("promote", inst_ldpath_swp_move_prep_to_act("s", 0, VERD_VM_QX, err));
    failing(hooks::LOSE_PATH);
    TELL("copy", inst_ldpath_swp_copy("s", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, err));
}

TEST_F(InterposedTest, NoTwin)
{
    const Fetched profile = {new_full_profile()};
    failing(hooks::LOSE_TWIN);
    TELL("store", store(profile.ptr, err));
    failing(hooks::LOSE_TWIN);
    TELL("copy", inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, err));
    failing(hooks::LOSE_TWIN);
    TELL("delete", inst_ldpath_delete_swprofile_file(active_bin.c_str()));
}

TEST_F(InterposedTest, NoProfile)
{
    given_active_profile();
    const Fetched profile = {new_full_profile()};
    uint8_t is_found = 7;
    failing(hooks::LOSE_PROFILE);
    TELL("has", inst_swp_is_pkg_present(ACTIVE_QX, "alpha-1.0-r1", &is_found));
    failing(hooks::LOSE_PROFILE);
    TELL("RPMs", inst_swp_get_package_rpms(ACTIVE_QX, "alpha-1.0-r1", &is_found, nullptr, nullptr, err));
    EXPECT_EQ(is_found, 7);
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    failing(hooks::LOSE_PROFILE); // the global one; there is no local one
    TELL("version of a node", instmgr_cmp_sw_version(1, 2, 3, "1", &is_found));
    EXPECT_EQ(is_found, 1);
    ASSERT_EQ(store_as(nullptr, 1, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    fs::remove("/install_repo/gl/instdb/kelo-master-swprofile-active.bin");
    failing(hooks::LOSE_PROFILE, 2); // the local one
    TELL("is a node listed", instmgr_check_node_in_loc_mswp(1, 2, 3, &is_found));
    EXPECT_EQ(is_found, 0);
}

TEST_F(InterposedTest, NamesOfServicePacksWithoutDetails)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    const ServicePacks packs{{"SP1", {"a-1-1"}}, {"SP2", {"b-1-1"}}};
    const Fetched profile = {new_profile()};
    const auto add = [&](const char *package) {
        char *const name = strdup(package);
        const uint64_t rc = inst_ldpath_add_pkg_in_swp(&profile.body(), name, 0, nullptr, 0, VERD_PKG_BASE, nullptr,
                                                       nullptr, 0, packs.source(), nullptr);
        std::free(rc != 0 ? name : nullptr);
        return rc;
    };
    hooks::fail(hooks::LOSE_DETAILS);
    EXPECT_EQ(add("a-1-1"), INST_RC_FAILED); // no service packs yet
    EXPECT_EQ(add("a-1-1"), 0U);
    hooks::fail(hooks::LOSE_DETAILS);
    EXPECT_EQ(add("b-1-1"), INST_RC_FAILED);
}

} // namespace
