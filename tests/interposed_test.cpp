// What operations make of functions that somebody has put before the library's and the platform's own, and which hand
// out nothing.
#include "support/bodies.h"
#include "support/repository_test.h"

namespace
{

class InterposedTest : public RepositoryTest
{
protected:
    // Tells a call during which one function hands out nothing.
    void tell_losing(bool &what, const std::string &title, const std::function<uint64_t(char **)> &call)
    {
        tell(title, [&](char **text) {
            what = true;
            return call(text);
        });
    }
};

TEST_F(InterposedTest, NoPath)
{
    given_active_profile();
    Fetched profile = {new_full_profile()};
    uint8_t exists = 7;
    tell_losing(hooks::loses_path, "store", [&](char **text) { return store(profile.ptr, text); });
    tell_losing(hooks::loses_path, "fetch", [&](char **text) {
        Fetched fetched;
        return fetch(fetched, text);
    });
    tell_losing(hooks::loses_path, "exists", [&](char **text) {
        return inst_ldpath_check_swprofile_exists("s", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &exists, text);
    });
    EXPECT_EQ(exists, 7);
    tell_losing(hooks::loses_path, "promote",
                [](char **text) { return inst_ldpath_swp_move_prep_to_act("s", 0, VERD_VM_QX, text); });
    tell_losing(hooks::loses_path, "copy", [](char **text) {
        return inst_ldpath_swp_copy("s", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, text);
    });
}

TEST_F(InterposedTest, NoProfile)
{
    given_active_profile();
    uint8_t is_found = 7;
    tell_losing(hooks::loses_profile, "has", [&](char **) {
        return inst_swp_is_pkg_present("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "alpha-1.0-r1", &is_found);
    });
    tell_losing(hooks::loses_profile, "RPMs", [&](char **text) {
        return inst_swp_get_package_rpms("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "alpha-1.0-r1", &is_found,
                                         nullptr, nullptr, text);
    });
    EXPECT_EQ(is_found, 7);
}

TEST_F(InterposedTest, NoTwin)
{
    given_active_profile();
    const Fetched profile = {new_full_profile()};
    const std::vector<std::function<uint64_t()>> calls = {
        [&] { return store(profile.ptr); },
        [] { return inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, nullptr); },
        [&] { return inst_ldpath_delete_swprofile_file(active_bin.c_str()); },
    };
    for (const auto &call : calls) {
        hooks::loses_twin = true;
        EXPECT_EQ(call(), INST_RC_FAILED);
    }
}

TEST_F(InterposedTest, NoAdminProfile)
{
    const Fetched profile = {new_full_profile()};
    ASSERT_EQ(inst_write_sdr_swprofile_to_file2(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile.ptr, nullptr), 0U);
    uint8_t answer = 7;
    hooks::loses_profile = true; // the global one; there is no local one
    EXPECT_EQ(instmgr_cmp_sw_version(1, 2, 3, "1", &answer), INSTMGR_RC_ERRNO(ENOENT));
    EXPECT_EQ(answer, 1);
    ASSERT_EQ(inst_write_sdr_swprofile_to_file2(nullptr, 1, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile.ptr, nullptr), 0U);
    fs::remove("/install_repo/gl/instdb/kelo-master-swprofile-active.bin");
    hooks::loses_profile = true; // the local one
    EXPECT_EQ(instmgr_check_node_in_loc_mswp(1, 2, 3, &answer), INST_RC_FAILED);
    EXPECT_EQ(answer, 0);
}

TEST_F(InterposedTest, NamesOfServicePacksWithoutDetails)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    const ServicePacks packs{{"SP1", {"a-1-1"}}, {"SP2", {"b-1-1"}}};
    const Fetched profile = {static_cast<inst_sw_profile_sdr_ext *>(std::calloc(1, sizeof(inst_sw_profile_sdr_ext)))};
    const auto add = [&](const char *package, bool loses_details) {
        hooks::loses_details = loses_details;
        char *const name = strdup(package);
        const uint64_t rc = inst_ldpath_add_pkg_in_swp(&profile.body(), name, 0, nullptr, 0, VERD_PKG_BASE, nullptr,
                                                       nullptr, 0, packs.source(), nullptr);
        if (rc != 0) {
            std::free(name);
        }
        return rc;
    };
    EXPECT_EQ(add("a-1-1", true), INST_RC_FAILED); // no service packs yet
    EXPECT_EQ(add("a-1-1", false), 0U);
    EXPECT_EQ(add("b-1-1", true), INST_RC_FAILED);
}

TEST_F(InterposedTest, NoComparison)
{
    given_active_profile();
    fs::copy_file(active_bin, std::string(GLOBAL_QX) + "committed.bin");
    uint8_t is_equal = 7;
    tell("are active and committed equal?", [&](char **) {
        hooks::fail(hooks::COMPARE);
        return inst_ldpath_is_sdr_master_act_comm_swp_equal("default-sdr", &is_equal);
    });
    EXPECT_EQ(is_equal, 0);
}

} // namespace
