// Initialisation, missing arguments, messages, heads of DEBUG lines, error texts, result codes.
#include "support/bodies.h"

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

// One code of each kind. The fault sweep checks that every result has a name.
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
        {INSTCOMM_RC_INVALID_ARG, "INSTCOMM_RC_INVALID_ARG", "a null or unusable argument", 0},
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

// Required pointers that are null; more are in the tests of fetching, locations and storing.
TEST_F(FrameTest, MissingArguments)
{
    const Fetched full = {new_full_profile()};
    inst_sw_profile_sdr_ext *const profile = full.ptr;
    inst_sw_profile_info *const body = &full.body();
    const ServicePacks packs{{"SP1", {"a"}}};
    char **const rpms = packs.set->service_packs->sp_rpms;
    const inst_node_loc nodes[2] = {};
    inst_node_loc *copy = nullptr;
    Answer a;
    for (const uint64_t rc : {
             inst_ldpath_get_swprofile_image(profile, nullptr),
             inst_ldpath_get_swprofile_filelist(profile, &a.list, nullptr, nullptr),
             inst_ldpath_get_swprofile_pkgs(profile, nullptr, &a.count),
             inst_ldpath_get_swprofile_pkgs(profile, &a.list, nullptr),
             inst_ldpath_get_swprofile_img_pkgs(profile, nullptr, &a.list, &a.count, 0, 0, nullptr),
             inst_ldpath_get_swprofile_img_pkgs(profile, &a.text, nullptr, &a.count, 0, 0, nullptr),
             inst_ldpath_get_swprofile_img_pkgs(profile, &a.text, &a.list, nullptr, 0, 0, nullptr),
             inst_ldpath_get_swprofile_sps(profile, nullptr, &a.count, nullptr, nullptr),
             inst_ldpath_get_swprofile_sps(profile, &a.list, nullptr, nullptr, nullptr),
             inst_ldpath_tag_sp_pkg_in_swp(nullptr, packs.set, &a.flag),
             inst_ldpath_tag_sp_pkg_in_swp(body, nullptr, &a.flag),
             inst_ldpath_tag_sp_pkg_in_swp(body, packs.set, nullptr),
             inst_ldpath_untag_sp_pkg_in_swp(nullptr, packs.set),
             inst_ldpath_untag_sp_pkg_in_swp(body, nullptr),
             inst_remove_rpms_part_of_active_sp(nullptr, rpms, 1, &a.list, &a.count),
             inst_remove_rpms_part_of_active_sp(body, nullptr, 1, &a.list, &a.count),
             inst_remove_rpms_part_of_active_sp(body, rpms, 1, nullptr, &a.count),
             inst_remove_rpms_part_of_active_sp(body, rpms, 1, &a.list, nullptr),
             instmgr_convert_sp_det_to_serv_pack(nullptr, packs.set->service_packs, 1),
             instmgr_convert_sp_det_to_serv_pack(&a.packs, nullptr, 1),
             instcomm_duplicate_sp_list(nullptr, packs.set, "caller"),
             instcomm_duplicate_sp_list(&a.packs, nullptr, "caller"),
             instcomm_duplicate_sp_list(&a.packs, packs.set, nullptr),
             instmgr_cmp_sw_version(0, 0, 0, "1", nullptr),
             instmgr_check_node_in_loc_mswp(0, 0, 0, nullptr),
             inst_ldpath_check_swp_mismatch_wrapper("s", 0, 3, 1, 2, 0, 0, nullptr),
             inst_swp_get_package_rpms(ACTIVE_QX, nullptr, nullptr, nullptr, nullptr, nullptr),
             verd_inst_dup_node_loc_list(2, nodes, nullptr),
             verd_inst_dup_node_loc_list(2, nullptr, &copy),
             inst_ldpath_get_all_swprofile_sps("s", 0, nullptr, &a.count),
             inst_ldpath_get_all_swprofile_sps(nullptr, 0, &a.list, &a.count),
             inst_ldpath_get_all_swprofile_sps("s", 0, &a.list, nullptr),
             inst_ldpath_is_sdr_master_act_comm_swp_equal("s", nullptr),
             inst_ldpath_add_pkg_location(nullptr, 0, 2, VERD_VM_QX, nullptr, 0, "a-1-1", 0, 8, 0),
             inst_ldpath_add_pkg_location(ACTIVE_QX, nullptr, 1, "a-1-1", 0, 8, 0),
             inst_ldpath_add_pkg_location(ACTIVE_QX, nullptr, 0, nullptr, 0, 8, 0),
             inst_ldpath_add_image_location(ACTIVE_QX, nullptr, 0, nullptr, nullptr),
             inst_ldpath_create_sdr_swprofile(nullptr),
             inst_ldpath_delete_swprofile(nullptr, 1, VERD_VM_QX),
             inst_ldpath_delete_swprofile_file(nullptr),
             inst_get_boot_active_swp_flag("s", nullptr, 0, VERD_VM_QX),
             inst_ldpath_add_pkg_in_swp(nullptr, rpms[0], 0, nullptr, 0, 6, nullptr, nullptr, 0, 0, nullptr),
             inst_ldpath_add_pkg_in_swp(body, nullptr, 0, nullptr, 0, 6, nullptr, nullptr, 0, 0, nullptr),
             inst_ldpath_remove_pkg_in_swp(nullptr, "a", nullptr),
             inst_ldpath_remove_pkg_in_swp(body, nullptr, nullptr),
             inst_ldpath_check_swprofile_exists(nullptr, 0, 2, VERD_VM_QX, &a.flag, nullptr),
             inst_ldpath_check_swprofile_exists(ACTIVE_QX, nullptr, nullptr),
             inst_swp_is_pkg_present(ACTIVE_QX, nullptr, &a.flag),
             inst_swp_is_pkg_present(nullptr, 0, 2, VERD_VM_QX, "a", &a.flag),
             inst_swp_get_package_rpms(nullptr, 0, 2, VERD_VM_QX, "a", nullptr, &a.list, &a.count, nullptr),
             inst_get_image_name(nullptr, &a.text),
             instcomm_add_host_pkgs_to_swp(2, nullptr, 0, 1, nullptr, 0),
         }) {
        EXPECT_EQ(rc, INST_RC_INVALID_ARG);
    }
    EXPECT_EQ(instmgr_convert_sp_det_to_serv_pack(&a.packs, nullptr, 0), 0U); // none are converted
    EXPECT_TRUE(a.text == nullptr && a.list == nullptr && a.packs == nullptr && a.count == 0);
    inst_ldpath_free_swprofile_ext(&a.profile);
    inst_ldpath_free_swprofile_ext(nullptr);
    const Lines texts = hooks::lines();
    record_checksum({texts.begin(), texts.end()});
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
    hooks::fail(hooks::CLOCK, 1, EIO, hooks::ALWAYS);
    EXPECT_TRUE(matches(4, 0, "DEBUG <Unknown Time>       : \\.000 : "));
}

TEST_F(FrameTest, ErrorTextsListTheCausesInAtMost2047Bytes)
{
    Text text;
    Fetched fetched;
    for (inst_sw_profile_sdr_ext **const profile_p : {&fetched.ptr, static_cast<decltype(&fetched.ptr)>(nullptr)}) {
        // In the second call, `text` already has an error text, which stays.
        inst_ldpath_get_swprofile("x", 0, 4, VERD_VM_QX, profile_p, &text.ptr);
        EXPECT_EQ(text.str(), "E:Error as partition type is invalid;E:Failed to get QX software profile file;");
    }
    fs::create_directories("/install_repo/gl/instdb/sdr");
    fetched.ptr = new_full_profile();
    // From a text that fits to one that leaves no room for the second message.
    for (std::size_t length = 1890; length < 2060; ++length) {
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
