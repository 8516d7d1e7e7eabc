// Initialisation, messages, heads of DEBUG lines, error texts, result codes.
#include "support/repository_test.h"

#include <csignal>
#include <cstring>
#include <regex>

namespace
{

using FrameTest = RepositoryTest;

TEST_F(FrameTest, Initialisation)
{
    inst_pkg_fmt_info settings = {"0123456789abcde", 7};
    EXPECT_EQ(verd_inst_ldpath_lib_init(1, &settings), 0U);
    EXPECT_STREQ(g_inst_pkg_fmt_info.name, "0123456789abcde");
    EXPECT_EQ(g_inst_pkg_fmt_info.is_new_format, 7);
    ASSERT_EQ(hooks::lines(), Lines{"ldpath lib vestra init succeeded"});
    EXPECT_EQ(hooks::messages[0].site, 0U);

    std::memset(settings.name, 'y', sizeof settings.name); // no terminator: cut to 15 characters
    settings.is_new_format = 0;
    const inst_pkg_fmt_info *const sources[] = {&settings, &g_inst_pkg_fmt_info, nullptr};
    for (const inst_pkg_fmt_info *const source : sources) {
        EXPECT_EQ(verd_inst_ldpath_lib_init(1, source), 0U);
        EXPECT_EQ(std::string(g_inst_pkg_fmt_info.name), std::string(15, 'y'));
    }
    EXPECT_EQ(g_inst_pkg_fmt_info.is_new_format, 0);
}

// Every code that a caller can receive has a name and a meaning.
TEST_F(FrameTest, ResultCodesAsText)
{
    const struct {
        uint64_t rc;
        std::string name, meaning;
        int err;
    } codes[] = {
        {0, "OK", "success", 0},
        {INST_RC_NO_SWPROFILE, "INST_RC_NO_SWPROFILE", "this VM type has no software profile", 0},
        {INSTMGR_RC_SWPROFILE_NOT_FOUND, "INSTMGR_RC_SWPROFILE_NOT_FOUND", "a required profile is missing", 0},
        {INSTCOMM_RC_INVALID_ARG, "INSTCOMM_RC_INVALID_ARG", "an argument is missing or was refused", 0},
        {INSTMGR_RC_ERRNO(ENOSPC), "INSTMGR_RC_ERRNO", "No space left on device", ENOSPC},
        {INSTMGR_RC_ERRNO(0), "INSTMGR_RC_ERRNO", "empty file", 0},
        {0x100, "wait status", "a shell command failed", 0},
        {SIGKILL, "wait status", "a shell command was killed by a signal", 0},
        {UINT64_MAX, "wait status", "a shell command could not be started", 0},
        {0x10000, "unknown", "unknown result code", 0},
    };
    for (const auto &code : codes) {
        EXPECT_EQ(verd_result_name(code.rc), code.name);
        EXPECT_EQ(verd_result_meaning(code.rc), code.meaning);
        EXPECT_EQ(verd_result_errno(code.rc), code.err);
    }
}

TEST_F(FrameTest, FailedInitialisation)
{
    const inst_pkg_fmt_info settings = {"other", 1};
    hooks::fail(hooks::TRACE_OPEN);
    testing::internal::CaptureStderr();
    EXPECT_EQ(verd_inst_ldpath_lib_init(0, &settings), INSTMGR_RC_INIT_FAILED);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "ERROR: failed to init verd_inst_ldpath library vestra\n");
    EXPECT_STRNE(g_inst_pkg_fmt_info.name, "other");
    EXPECT_EQ(hooks::orders[hooks::UTIL_INIT].calls, 0);

    hooks::fail(hooks::UTIL_INIT);
    EXPECT_EQ(verd_inst_ldpath_lib_init(0, &settings), 0x77U);
    EXPECT_STREQ(g_inst_pkg_fmt_info.name, "other");
    ASSERT_EQ(hooks::lines().size(), 2U);
    EXPECT_EQ(hooks::messages[1].site, 1U);
    EXPECT_EQ(hooks::messages[1].text, "Error initializing instcomm_util lib, rc=0x77\n");
}

TEST_F(FrameTest, MessagesLeaveErrnoAlone)
{
    errno = EDOM; // the hook of the trace changes it
    inst_ldpath_create_sdr_swprofile(nullptr);
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(hooks::messages.size(), 1U);
}

TEST_F(FrameTest, HeadsOfDebugLines)
{
    const auto matches = [](uint16_t verbosity, int32_t prefix, const std::string &head) {
        g_inst_common_debug_verbosity_level = verbosity;
        g_inst_common_debug_prefix = prefix;
        uint8_t exists = 0;
        testing::internal::CaptureStderr();
        inst_ldpath_check_swprofile_exists(nullptr, 0, 3, VERD_VM_QX, &exists, nullptr);
        const std::string enter = head + "Entering function inst_ldpath_check_swprofile_exists, null, 3 \n";
        const std::string leave = head + "Leaving function \\w+, rc = 40101278ca100803, 0\n";
        return std::regex_match(testing::internal::GetCapturedStderr(), std::regex(enter + leave));
    };
    const std::string time = "DEBUG [A-Z][a-z]{2} \\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}";
    const std::string thread = time + " pid " + std::to_string(getpid()) + ", tid \\d+";
    EXPECT_TRUE(matches(4, 0, time + " : "));
    EXPECT_FALSE(matches(3, 0, ".*"));
    EXPECT_TRUE(matches(9, 1, thread + " : "));
    EXPECT_TRUE(matches(4, 2, thread + ", inst_ldpath_check_swprofile_exists, \\d+ : "));
    hooks::fail(hooks::CLOCK, hooks::ALWAYS);
    EXPECT_TRUE(matches(4, 0, "DEBUG <Unknown Time>       : \\.000 : "));
}

TEST_F(FrameTest, ErrorTextsListTheCausesInAtMost2047Bytes)
{
    Text text;
    Fetched fetched;
    for (inst_sw_profile_sdr_ext **const profile_p : {&fetched.ptr, static_cast<decltype(&fetched.ptr)>(nullptr)}) {
        // The second time, the slot has a text already.
        inst_ldpath_get_swprofile("x", 0, 4, VERD_VM_QX, profile_p, &text.ptr);
        EXPECT_EQ(text.str(), "E:Error as partition type is invalid;E:Failed to get QX software profile file;");
    }
    fs::create_directories("/install_repo/gl/instdb/sdr");
    fetched.ptr = new_full_profile();
    // From a text that fits to one that leaves no room for the second message.
    for (std::size_t length = 1900; length < 2060; ++length) {
        Text cut;
        const std::string key(length, 'k'); // longer than any file's name may be
        EXPECT_EQ(inst_write_sdr_swprofile_to_file2(key.c_str(), 0, 1, VERD_VM_UVF, fetched.ptr, &cut.ptr),
                  INSTMGR_RC_ERRNO(ENAMETOOLONG));
        const std::string whole = "E:Failed to fopen() file /install_repo/gl/instdb/sdr/" + key +
                                  "/uvf-swprofile-committed.bin (File name too long);"
                                  "E:Failed to write SDR software profile to .bin file;";
        EXPECT_EQ(cut.str(), whole.substr(0, 2047));
    }
}

} // namespace
