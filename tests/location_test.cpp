// Where profiles and flag files are, and whether a profile exists.
#include "support/repository_test.h"

namespace
{

using LocationTest = RepositoryTest;

constexpr char INVALID_STATE[] = "E:Error as partition type is invalid;";

struct Naming {
    const char *key;
    uint8_t is_local;
    int32_t state;
    uint32_t vm_type;
    uint64_t rc;
    const char *path; // or the error text of a refusal
    const char *line;
};

constexpr char NULL_KEY_TEXT[] = "E:Hit an unexpected NULL pointer while getting QX software profile file;";
constexpr char NULL_KEY_LINE[] = "Error! sdr_key for QX based VM is NULL";

const Naming NAMINGS[] = {
    {"default-sdr", 0, 1, 3, 0, "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-committed.bin",
     "Software profile path for VM 3 (global), sdr default-sdr is "
     "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-committed.bin"},
    {"default-sdr", 0, 1, 4, 0, "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-committed.bin", nullptr},
    {"default-sdr", 0, 2, 6, 0, "/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", nullptr},
    {"s", 9, 3, 3, 0, "/install_repo/local/sdr/s/qx-swprofile-prepared.bin",
     "Software profile path for VM 3 (local), sdr s is /install_repo/local/sdr/s/qx-swprofile-prepared.bin"},
    {"s", 1, 1, 4, 0, "/install_repo/local/sdr/s/qx-lcp-swprofile-committed.bin", nullptr},
    {"s", 1, 2, 6, 0, "/install_repo/local/sdr/s/uvf-swprofile-active.bin", nullptr},
    {nullptr, 1, 2, 3, 0, "/install_repo/local/sdr/(null)/qx-swprofile-active.bin", nullptr},
    {nullptr, 0, 2, 2, 0, "/install_repo/gl/instdb//kelo-master-swprofile-active.bin",
     "Software profile path for VM 2 (global), sdr (null) is "
     "/install_repo/gl/instdb//kelo-master-swprofile-active.bin"},
    {"s", 1, 2, 2, 0, "/install_repo/local//kelo-swprofile-active.bin", nullptr},
    {nullptr, 0, 9, 3, INST_RC_INVALID_ARG, NULL_KEY_TEXT, NULL_KEY_LINE},
    {nullptr, 0, 1, 4, INST_RC_INVALID_ARG, NULL_KEY_TEXT, NULL_KEY_LINE},
    {nullptr, 0, 1, 6, INST_RC_INVALID_ARG, NULL_KEY_TEXT, NULL_KEY_LINE},
    {"s", 0, 4, 1, INSTMGR_RC_INVALID_DATA, INVALID_STATE, "Error! part_type=4 is invalid"},
    {"s", 0, 0, 3, INSTMGR_RC_INVALID_DATA, INVALID_STATE, "Error! part_type=0 is invalid"},
    {"s", 0, 1, 1, INST_RC_NO_SWPROFILE, "", "No software profile exists for VM 1 (global)"},
    {"s", 1, 1, 5, INST_RC_NO_SWPROFILE, "", "No software profile exists for VM 5 (local)"},
    {"s", 1, 1, 7, INST_RC_NO_SWPROFILE, "", "No software profile exists for VM 7 (local)"},
};

TEST_F(LocationTest, ProfileFiles)
{
    for (const Naming &naming : NAMINGS) {
        Text path;
        Text error;
        hooks::reset();
        const uint64_t rc = inst_get_sdr_swprofile_file(naming.key, &path.ptr, naming.is_local, naming.state,
                                                        naming.vm_type, &error.ptr);
        EXPECT_EQ(rc, naming.rc) << naming.path;
        EXPECT_EQ(rc == 0 ? path.str() : error.str(), naming.path);
        ASSERT_EQ(hooks::lines().size(), 1U);
        if (naming.line != nullptr) {
            EXPECT_EQ(hooks::lines()[0], naming.line);
        }
    }
}

TEST_F(LocationTest, NamingFailures)
{
    Text error;
    EXPECT_EQ(inst_get_sdr_swprofile_file("s", nullptr, 0, 1, 3, &error.ptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines(), Lines{"Error! swprofile_file_p is NULL"});
    EXPECT_EQ(error.str(), NULL_KEY_TEXT);

    write_file("/tmp/err_msg_UT_stub_invalid_partition_type.txt", "");
    Text path;
    Text fired;
    hooks::reset();
    EXPECT_EQ(inst_get_sdr_swprofile_file("s", &path.ptr, 0, 1, 3, &fired.ptr), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(fired.str(), INVALID_STATE);
    EXPECT_EQ(hooks::lines(), Lines{});
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_invalid_partition_type.txt"));

    hooks::fail(hooks::ALLOCATION); // of the path; the text then has memory again
    Text no_memory;
    EXPECT_EQ(inst_get_sdr_swprofile_file("s", &path.ptr, 0, 1, 3, &no_memory.ptr), INST_RC_NO_MEMORY);
    EXPECT_EQ(no_memory.str(), "E:Error as failed to allocate memory;");

    hooks::fail(hooks::STRNCPY_S);
    EXPECT_EQ(inst_get_sdr_swprofile_file("s", &path.ptr, 0, 1, 3, nullptr), INST_RC_INVALID_ARG);
    EXPECT_NE(path.ptr, nullptr); // the caller's to free

    Text cut;
    ASSERT_EQ(inst_get_sdr_swprofile_file(std::string(5000, 'k').c_str(), &cut.ptr, 1, 1, 3, nullptr), 0U);
    EXPECT_EQ(cut.str().size(), 4095U);
}

TEST_F(LocationTest, TextTwins)
{
    const auto twin_of = [](const char *path) {
        Text twin;
        Text error;
        return inst_get_sdr_swprofile_txt_file(path, &twin.ptr, &error.ptr) == 0 ? twin.str() : error.str();
    };
    g_inst_common_debug_verbosity_level = 4;
    testing::internal::CaptureStderr();
    EXPECT_EQ(twin_of("/a/b.bin"), "/a/b.txt");
    EXPECT_NE(testing::internal::GetCapturedStderr().find(" : SwProfile txt file: /a/b.txt\n"), std::string::npos);
    g_inst_common_debug_verbosity_level = 0;
    EXPECT_EQ(twin_of("/a.b/c.d.e"), "/a.b/c.d.txt");
    EXPECT_EQ(twin_of("x."), "x.txt");
    EXPECT_EQ(hooks::lines(), Lines{});
    EXPECT_EQ(twin_of("/a/b"), "E:Invalid software profile txt filename;");
    EXPECT_EQ(hooks::lines(), Lines{});
    const std::string null_text = "E:Hit an unexpected NULL pointer while getting QX software profile txt file;";
    EXPECT_EQ(twin_of(nullptr), null_text);
    Text error;
    EXPECT_EQ(inst_get_sdr_swprofile_txt_file("x.bin", nullptr, &error.ptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(error.str(), null_text);
    EXPECT_EQ(hooks::lines(), (Lines{"Error! swprofile_file is NULL", "Error! swprofile_txt_file_p is NULL"}));
    hooks::fail(hooks::STRNCPY_S);
    EXPECT_EQ(twin_of("/a/b.bin"), "E:Failed to allocate memory;");
}

TEST_F(LocationTest, BootActiveFlag)
{
    const auto flag_of = [](const char *key, uint8_t is_local, uint32_t vm_type) {
        Text path;
        return inst_get_boot_active_swp_flag(key, &path.ptr, is_local, vm_type) == 0 ? path.str() : "refused";
    };
    EXPECT_EQ(flag_of(nullptr, 0, 2), "/install_repo/local/kelo_boot_active");
    EXPECT_EQ(flag_of("s", 0, 3), "/install_repo/gl/instdb/sdr/s/qx_boot_active");
    EXPECT_EQ(flag_of("s", 0, 1), "/install_repo/gl/instdb/sdr/s/qx_boot_active");
    EXPECT_EQ(flag_of(nullptr, 0, 6), "refused");
    hooks::reset();
    g_inst_common_debug_verbosity_level = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(flag_of("s", 1, 3), "/install_repo/local/sdr/s/qx_boot_active");
    const std::string debug = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(debug.ends_with(" : Local BOOT_ACTIVE stub file: /install_repo/local/sdr/s/qx_boot_active\n")) << debug;
    ASSERT_EQ(hooks::messages().size(), 2U);
    EXPECT_EQ(hooks::messages()[0].text, "inst_get_boot_active_swp_flag :VM Type is 3\n");
    EXPECT_EQ(hooks::messages()[1].text, "Stub file name for sdr s is /install_repo/local/sdr/s/qx_boot_active");
    hooks::fail(hooks::ALLOCATION);
    EXPECT_EQ(flag_of("s", 1, 3), "refused");
    EXPECT_EQ(hooks::lines().back(), "Error! Can't allocate file name");
}

TEST_F(LocationTest, Existence)
{
    uint8_t exists = 7;
    const auto check = [&](Text &error) {
        hooks::reset();
        exists = 7;
        return inst_ldpath_check_swprofile_exists("default-sdr", 0, 2, 3, &exists, &error.ptr);
    };
    const std::string path_line = "Software profile path for VM 3 (global), sdr default-sdr is " + active_bin;
    Text missing;
    EXPECT_EQ(check(missing), 0U);
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(hooks::lines(), Lines{path_line});
    write_file(active_bin, "");
    EXPECT_EQ(check(missing), 0U);
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(hooks::lines(), (Lines{path_line, "ERROR, empty SWP file " + active_bin + ", consider it gone"}));
    write_file(active_bin, "x");
    EXPECT_EQ(check(missing), 0U);
    EXPECT_EQ(exists, 1);
    EXPECT_EQ(missing.str(), "");

    hooks::fail(hooks::STAT, 1, EACCES); // told through messages only
    Text error;
    EXPECT_EQ(inst_ldpath_check_swprofile_exists("default-sdr", 0, 2, 3, &exists, &error.ptr), 0U);
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(hooks::lines().back(), "ERROR, could not stat " + active_bin + " rc=13 (Permission denied)");
    EXPECT_EQ(error.str(), "E:Failed to stat() file " + active_bin + " (Permission denied);");

    Text refused;
    hooks::reset();
    EXPECT_EQ(inst_ldpath_check_swprofile_exists(nullptr, 0, 2, 3, &exists, &refused.ptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_check_swprofile_exists("s", 0, 2, 3, nullptr, &refused.ptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines(), (Lines{"Error! sdr_key is NULL", "Error! exists is NULL"}));
    EXPECT_EQ(refused.str(), "");
    EXPECT_EQ(inst_ldpath_check_swprofile_exists("s", 0, 0, 3, &exists, &refused.ptr), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(refused.str(), "E:Error as partition type is invalid;E:Failed to get QX software profile file;");
    EXPECT_EQ(hooks::lines().back(), "Error! inst_get_sdr_swprofile_file failed, 4010127aca100907");
}

} // namespace
