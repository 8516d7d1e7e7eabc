// Fetching stored profiles.
#include "support/repository_test.h"

namespace
{

using FetchTest = RepositoryTest;

TEST_F(FetchTest, FixedGetters)
{
    const struct {
        uint64_t (*get)(const char *, int32_t, inst_sw_profile_sdr_ext **);
        const char *name;
        const char *file;
    } getters[] = {
        {inst_ldpath_get_sdr_swprofile, "global QX", "gl/instdb/sdr/s/qx-swprofile-prepared.bin"},
        {inst_ldpath_get_sdr_swprofile_lcp, "global LC QX", "gl/instdb/sdr/s/qx-swprofile-prepared.bin"},
        {inst_ldpath_get_sdr_swprofile_uvf, "global UVF", "gl/instdb/sdr/s/uvf-swprofile-prepared.bin"},
        {inst_ldpath_get_sdr_local_swprofile, "local QX", "local/sdr/s/qx-swprofile-prepared.bin"},
    };
    const Fetched profile = {new_full_profile()};
    for (const auto &getter : getters) {
        const std::string path = std::string("/install_repo/") + getter.file;
        write_file(path, encoding_of(*profile.ptr));
        Fetched fetched;
        RECORD(getter.name, getter.get("s", VERD_SWP_PREPARED, &fetched.ptr));
        ASSERT_NE(fetched.ptr, nullptr);
        EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile.ptr));
        EXPECT_EQ(getter.get(nullptr, VERD_SWP_PREPARED, &fetched.ptr), INST_RC_INVALID_ARG);
        EXPECT_EQ(getter.get("s", VERD_SWP_PREPARED, nullptr), INST_RC_INVALID_ARG);
        fs::remove(path);
    }
    RECORD("state 4", inst_ldpath_get_sdr_swprofile("s", 4, &a.profile));
    RECORD("no file", inst_ldpath_get_sdr_swprofile("t", VERD_SWP_PREPARED, &a.profile));
}

TEST_F(FetchTest, GeneralGetters)
{
    Fetched fetched;
    const auto get_all = [&](const std::string &title, int32_t state, inst_sw_profile_sdr_ext **profile_p) {
        RECORD("global, " + title, inst_ldpath_get_swprofile("s", 0, state, VERD_VM_QX, profile_p, err));
        RECORD("local, " + title, inst_ldpath_get_swprofile("s", 1, state, VERD_VM_QX, profile_p, err));
        RECORD("local only, " + title, inst_ldpath_get_local_swprofile("s", state, VERD_VM_QX, profile_p, err));
        RECORD("if it exists, " + title, inst_ldpath_get_sw_profile_if_exists("s", 1, state, VERD_VM_QX, profile_p));
    };
    get_all("state 4", 4, &fetched.ptr);
    get_all("no file", 2, &fetched.ptr);
    get_all("no out-parameter", 2, nullptr);
    RECORD("no memory for the error text, so no hint either",
           (hooks::fail(hooks::ALLOCATION), inst_ldpath_get_swprofile("s", 1, 1, 1, &fetched.ptr, err)));
    EXPECT_EQ(fetched.ptr, nullptr);
}

} // namespace
