// Fetching stored profiles.
#include "support/repository_test.h"

namespace
{

using FetchTest = RepositoryTest;

struct FixedGetter {
    uint64_t (*get)(const char *, int32_t, inst_sw_profile_sdr_ext **);
    const char *name;
    const char *file;
};

const FixedGetter FIXED_GETTERS[] = {
    {inst_ldpath_get_sdr_swprofile, "inst_ldpath_get_sdr_swprofile", "gl/instdb/sdr/s/qx-swprofile-prepared.bin"},
    {inst_ldpath_get_sdr_swprofile_lcp, "inst_ldpath_get_sdr_swprofile_lcp",
     "gl/instdb/sdr/s/qx-swprofile-prepared.bin"},
    {inst_ldpath_get_sdr_swprofile_uvf, "inst_ldpath_get_sdr_swprofile_uvf",
     "gl/instdb/sdr/s/uvf-swprofile-prepared.bin"},
    {inst_ldpath_get_sdr_local_swprofile, "inst_ldpath_get_sdr_local_swprofile",
     "local/sdr/s/qx-swprofile-prepared.bin"},
};

TEST_F(FetchTest, FixedGetters)
{
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    for (const FixedGetter &getter : FIXED_GETTERS) {
        const std::string path = std::string("/install_repo/") + getter.file;
        write_file(path, encoding_of(*profile));
        Fetched fetched;
        hooks::reset();
        g_inst_common_debug_verbosity_level = 2;
        testing::internal::CaptureStderr();
        ASSERT_EQ(getter.get("s", VERD_SWP_PREPARED, &fetched.ptr), 0U) << getter.name;
        const std::string debug = testing::internal::GetCapturedStderr();
        EXPECT_TRUE(debug.ends_with(std::string(" : Leaving  function ") + getter.name + ", rc = 0\n")) << debug;
        g_inst_common_debug_verbosity_level = 0;
        EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile));
        EXPECT_EQ(hooks::lines()[0], std::string(getter.name) + ": sdr_key is s");
        EXPECT_TRUE(hooks::lines()[1].ends_with(path));

        Fetched none;
        EXPECT_EQ(getter.get(nullptr, VERD_SWP_PREPARED, &none.ptr), INST_RC_INVALID_ARG);
        EXPECT_EQ(hooks::lines().back(), "Error! sdr_key is NULL");
        EXPECT_EQ(getter.get("s", 4, &none.ptr), INST_RC_INVALID_ARG); // the reader's code, not that of naming
        EXPECT_EQ(hooks::lines()[hooks::lines().size() - 2], "Error! swprofile_file is NULL");
        EXPECT_EQ(getter.get("s", VERD_SWP_PREPARED, nullptr), INST_RC_INVALID_ARG);
        EXPECT_TRUE(hooks::lines()[hooks::lines().size() - 2].starts_with(
            "Error! Parameter is NULL, inst_decode_sw_profile_ext, "));
        fs::remove(path);
    }
    inst_ldpath_free_swprofile_ext(&profile);
}

TEST_F(FetchTest, GeneralGettersTellTheOperator)
{
    const std::string naming = "E:Error as partition type is invalid;";
    const std::string hint =
        "R:An internal error occurred. Use 'hw-module location <node ID> reload force' to recover;";
    Fetched fetched;
    const auto get = [&](uint8_t is_local, int32_t state, inst_sw_profile_sdr_ext **profile_p) {
        return result_of(
            [&](char **err) { return inst_ldpath_get_swprofile("s", is_local, state, 3, profile_p, err); });
    };
    const auto get_local = [&](int32_t state, inst_sw_profile_sdr_ext **profile_p) {
        return result_of([&](char **err) { return inst_ldpath_get_local_swprofile("s", state, 3, profile_p, err); });
    };
    const std::string no_name = naming + "E:Failed to get QX software profile file;";
    EXPECT_EQ(get(0, 4, &fetched.ptr), (Result{INSTMGR_RC_INVALID_DATA, no_name}));
    EXPECT_EQ(get(1, 4, &fetched.ptr), (Result{INSTMGR_RC_INVALID_DATA, no_name + hint}));
    EXPECT_EQ(get_local(4, &fetched.ptr),
              (Result{INSTMGR_RC_INVALID_DATA, naming + "E:Error as failed to get local QX software profile file;"}));
    const std::string null = "E:Hit an unexpected NULL pointer while getting ";
    EXPECT_EQ(get(0, 2, nullptr), (Result{INST_RC_INVALID_ARG, null + "the global software profile;"}));
    EXPECT_EQ(get(1, 2, nullptr), (Result{INST_RC_INVALID_ARG, null + "the local software profile;"}));
    EXPECT_EQ(get_local(2, nullptr), (Result{INST_RC_INVALID_ARG, null + "local software profile;"}));
    EXPECT_EQ(hooks::lines().back(), "Error! local_sw_profile_ext_pp is NULL");

    // Without memory for the messages before it, the hint makes a blank text.
    Text blank;
    hooks::fail(hooks::ALLOCATION);
    EXPECT_EQ(inst_ldpath_get_swprofile("s", 1, 1, VERD_VM_HOST, &fetched.ptr, &blank.ptr), INST_RC_NO_SWPROFILE);
    ASSERT_NE(blank.ptr, nullptr);
    EXPECT_EQ(blank.str(), "");
    EXPECT_EQ(fetched.ptr, nullptr);
}

TEST_F(FetchTest, AProfileThatMayNotExist)
{
    Fetched fetched;
    const auto get = [&](int32_t state) {
        hooks::reset();
        return inst_ldpath_get_sw_profile_if_exists("default-sdr", 0, state, VERD_VM_QX, &fetched.ptr);
    };
    EXPECT_EQ(get(2), INSTMGR_RC_SWPROFILE_NOT_FOUND);
    EXPECT_EQ(hooks::lines().back(), "SPERROR: Src: QX master active  swp doesn't exist");
    write_file(active_bin, "");
    EXPECT_EQ(get(2), INSTMGR_RC_SWPROFILE_NOT_FOUND);
    write_file(active_bin, "junk");
    EXPECT_EQ(get(2), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(hooks::lines()[1], "SPINFO: Src: QX master active sw profile exists");
    EXPECT_EQ(hooks::lines().back(), "SPERROR: inst_ldpath_get_sw_profile_if_exists: failed to query QX master active "
                                     "sw profile, rc=4616209936640116999");
    EXPECT_EQ(get(0), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(fetched.ptr, nullptr);
    given_active_profile();
    EXPECT_EQ(get(2), 0U);
    ASSERT_NE(fetched.ptr, nullptr);
    hooks::reset();
    EXPECT_EQ(inst_ldpath_get_sw_profile_if_exists("default-sdr", 0, 2, VERD_VM_QX, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines(), Lines{});
    inst_ldpath_free_swprofile_ext(&fetched.ptr);
    EXPECT_EQ(fetched.ptr, nullptr);
    inst_ldpath_free_swprofile_ext(&fetched.ptr);
    inst_ldpath_free_swprofile_ext(nullptr);
}

} // namespace
