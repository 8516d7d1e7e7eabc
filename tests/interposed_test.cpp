// What operations make of functions that somebody has put before the library's and the platform's own, and which hand
// out nothing.
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
