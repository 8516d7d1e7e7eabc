// Fetching stored profiles.
#include "support/repository_test.h"

namespace
{

using FetchTest = RepositoryTest;

// How many DEBUG lines does a call write?
long debug_lines_at(uint16_t verbosity, const std::function<void()> &call)
{
    g_inst_common_debug_verbosity_level = verbosity;
    testing::internal::CaptureStderr();
    call();
    g_inst_common_debug_verbosity_level = 0;
    const std::string debug = testing::internal::GetCapturedStderr();
    return std::count(debug.begin(), debug.end(), '\n');
}

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
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    for (const auto &getter : getters) {
        const std::string path = std::string("/install_repo/") + getter.file;
        write_file(path, encoding_of(*profile));
        Fetched fetched;
        const auto tell_get = [&](const std::string &title, const char *key, int32_t state,
                                  inst_sw_profile_sdr_ext **profile_p) {
            tell(getter.name + title, [&](char **) { return getter.get(key, state, profile_p); });
        };
        tell_get("", "s", VERD_SWP_PREPARED, &fetched.ptr);
        ASSERT_NE(fetched.ptr, nullptr);
        EXPECT_EQ(debug_lines_at(2, [&] { getter.get(nullptr, 3, nullptr); }), 1); // "Leaving"
        EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile));
        tell_get(", no key", nullptr, VERD_SWP_PREPARED, &fetched.ptr);
        tell_get(", state 4", "s", 4, &fetched.ptr);
        tell_get(", no file", "t", VERD_SWP_PREPARED, &fetched.ptr);
        EXPECT_EQ(getter.get("s", VERD_SWP_PREPARED, nullptr), INST_RC_INVALID_ARG);
        EXPECT_TRUE(hooks::messages[hooks::messages.size() - 2].text.starts_with(
            "Error! Parameter is NULL, inst_decode_sw_profile_ext, "));
        fs::remove(path);
    }
    inst_ldpath_free_swprofile_ext(&profile);
}

TEST_F(FetchTest, GeneralGetters)
{
    Fetched fetched;
    const auto get = [&](const std::string &title, uint8_t is_local, int32_t state,
                         inst_sw_profile_sdr_ext **profile_p) {
        tell(title, [&](char **err) { return inst_ldpath_get_swprofile("s", is_local, state, 3, profile_p, err); });
    };
    const auto get_local = [&](const std::string &title, int32_t state, inst_sw_profile_sdr_ext **profile_p) {
        tell(title, [&](char **err) { return inst_ldpath_get_local_swprofile("s", state, 3, profile_p, err); });
    };
    EXPECT_EQ(debug_lines_at(1, [] { inst_ldpath_get_swprofile("s", 0, 4, 3, nullptr, nullptr); }), 0);
    EXPECT_EQ(debug_lines_at(2, [] { inst_ldpath_get_swprofile("s", 0, 4, 3, nullptr, nullptr); }), 2);
    get("global, state 4", 0, 4, &fetched.ptr);
    get("local, state 4", 1, 4, &fetched.ptr);
    get_local("local only, state 4", 4, &fetched.ptr);
    get("global, no out-parameter", 0, 2, nullptr);
    get("local, no out-parameter", 1, 2, nullptr);
    get_local("local only, no out-parameter", 2, nullptr);
    tell("local, no memory for the messages before the hint", [&](char **err) {
        g_inst_common_debug_verbosity_level = 0; // DEBUG lines allocate, too
        hooks::fail(hooks::ALLOCATION);
        return inst_ldpath_get_swprofile("s", 1, 1, VERD_VM_HOST, &fetched.ptr, err);
    });
    EXPECT_EQ(fetched.ptr, nullptr);
}

TEST_F(FetchTest, AProfileThatMayNotExist)
{
    Fetched fetched;
    const auto get = [&](const std::string &title, int32_t state, inst_sw_profile_sdr_ext **profile_p) {
        tell(title, [&](char **) {
            return inst_ldpath_get_sw_profile_if_exists("default-sdr", 0, state, VERD_VM_QX, profile_p);
        });
    };
    get("no file", 2, &fetched.ptr);
    write_file(active_bin, "");
    get("an empty file", 2, &fetched.ptr);
    write_file(active_bin, "junk");
    get("junk", 2, &fetched.ptr);
    get("state 0", 0, &fetched.ptr);
    get("no out-parameter", 2, nullptr);
    EXPECT_EQ(fetched.ptr, nullptr);
    given_active_profile();
    get("a profile", 2, &fetched.ptr);
    ASSERT_NE(fetched.ptr, nullptr);
    inst_ldpath_free_swprofile_ext(&fetched.ptr);
    EXPECT_EQ(fetched.ptr, nullptr);
    inst_ldpath_free_swprofile_ext(&fetched.ptr);
    inst_ldpath_free_swprofile_ext(nullptr);
}

} // namespace
