// Where profiles and flag files are, and whether a profile exists.
#include "support/repository_test.h"

namespace
{

using LocationTest = RepositoryTest;

constexpr char INVALID_STATE[] = "E:Error as partition type is invalid;";
constexpr char NULL_POINTER[] = "E:Hit an unexpected NULL pointer while getting QX software profile file;";
constexpr char NULL_POINTER_TXT[] = "E:Hit an unexpected NULL pointer while getting QX software profile txt file;";
constexpr char NULL_KEY[] = "Error! sdr_key for QX based VM is NULL";

struct Naming {
    const char *key;
    uint8_t is_local;
    int32_t state;
    uint32_t vm_type;
    uint64_t rc;
    std::string path; // or the error text of a refusal
    std::string line;
};

std::string said(int vm_type, const std::string &scope, const std::string &key, const std::string &path)
{
    return "Software profile path for VM " + std::to_string(vm_type) + " (" + scope + "), sdr " + key + " is " + path;
}

Naming named(const char *key, uint8_t is_local, int32_t state, uint32_t vm_type, const std::string &path)
{
    return {key,
            is_local,
            state,
            vm_type,
            0,
            path,
            said(static_cast<int>(vm_type), is_local != 0 ? "local" : "global", key == nullptr ? "(null)" : key, path)};
}

TEST_F(LocationTest, ProfileFiles)
{
    const std::string global = "/install_repo/gl/instdb/sdr/";
    const std::string local = "/install_repo/local/sdr/";
    const Naming namings[] = {
        named("default-sdr", 0, 1, 3, global + "default-sdr/qx-swprofile-committed.bin"),
        named("default-sdr", 0, 1, 4, global + "default-sdr/qx-swprofile-committed.bin"),
        named("default-sdr", 0, 2, 6, global + "default-sdr/uvf-swprofile-active.bin"),
        named("s", 9, 3, 3, local + "s/qx-swprofile-prepared.bin"),
        named("s", 1, 1, 4, local + "s/qx-lcp-swprofile-committed.bin"),
        named("s", 1, 2, 6, local + "s/uvf-swprofile-active.bin"),
        named(nullptr, 1, 2, 3, local + "(null)/qx-swprofile-active.bin"),
        named(nullptr, 0, 2, 2, "/install_repo/gl/instdb//kelo-master-swprofile-active.bin"),
        named("s", 1, 2, 2, "/install_repo/local//kelo-swprofile-active.bin"),
        {nullptr, 0, 9, 3, INST_RC_INVALID_ARG, NULL_POINTER, NULL_KEY},
        {nullptr, 0, 1, 4, INST_RC_INVALID_ARG, NULL_POINTER, NULL_KEY},
        {nullptr, 0, 1, 6, INST_RC_INVALID_ARG, NULL_POINTER, NULL_KEY},
        {"s", 0, 4, 1, INSTMGR_RC_INVALID_DATA, INVALID_STATE, "Error! part_type=4 is invalid"},
        {"s", 0, 0, 3, INSTMGR_RC_INVALID_DATA, INVALID_STATE, "Error! part_type=0 is invalid"},
        {"s", 0, 1, 1, INST_RC_NO_SWPROFILE, "", "No software profile exists for VM 1 (global)"},
        {"s", 1, 1, 5, INST_RC_NO_SWPROFILE, "", "No software profile exists for VM 5 (local)"},
        {"s", 1, 1, 7, INST_RC_NO_SWPROFILE, "", "No software profile exists for VM 7 (local)"},
    };
    for (const Naming &naming : namings) {
        hooks::reset();
        Text path;
        const Result result = result_of([&](char **err) {
            return inst_get_sdr_swprofile_file(naming.key, &path.ptr, naming.is_local, naming.state, naming.vm_type,
                                               err);
        });
        EXPECT_EQ(result, (Result{naming.rc, naming.rc == 0 ? "" : naming.path})) << naming.line;
        EXPECT_EQ(path.str(), naming.rc == 0 ? naming.path : "");
        EXPECT_EQ(hooks::lines(), Lines{naming.line});
    }
}

TEST_F(LocationTest, NamingFailures)
{
    Text path;
    const auto name = [&](char **path_p) {
        return result_of([&](char **err) { return inst_get_sdr_swprofile_file("s", path_p, 0, 1, 3, err); });
    };
    EXPECT_EQ(name(nullptr), (Result{INST_RC_INVALID_ARG, NULL_POINTER}));
    EXPECT_EQ(hooks::lines(), Lines{"Error! swprofile_file_p is NULL"});

    write_file("/tmp/err_msg_UT_stub_invalid_partition_type.txt", "");
    hooks::reset();
    EXPECT_EQ(name(&path.ptr), (Result{INSTMGR_RC_INVALID_DATA, INVALID_STATE}));
    EXPECT_EQ(hooks::lines(), Lines{});
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_invalid_partition_type.txt"));

    hooks::fail(hooks::ALLOCATION); // of the path; the text then has memory again
    const Result no_memory = name(&path.ptr);
    EXPECT_EQ(no_memory, (Result{INST_RC_NO_MEMORY, "E:Error as failed to allocate memory;"}));
    EXPECT_EQ(hooks::lines(), Lines{"Unable to allocate memory for swprofile path"});
    hooks::fail(hooks::STRNCPY_S);
    EXPECT_EQ(name(&path.ptr), (Result{INST_RC_INVALID_ARG, "E:Error as failed to allocate memory;"}));
    EXPECT_NE(path.ptr, nullptr); // the caller's to free

    Text cut;
    ASSERT_EQ(inst_get_sdr_swprofile_file(std::string(5000, 'k').c_str(), &cut.ptr, 1, 1, 3, nullptr), 0U);
    EXPECT_EQ(cut.str().size(), 4095U);
}

TEST_F(LocationTest, TextTwins)
{
    const auto twin_of = [](const char *path) {
        Text twin;
        const Result result =
            result_of([&](char **err) { return inst_get_sdr_swprofile_txt_file(path, &twin.ptr, err); });
        return result.rc == 0 ? twin.str() : result.text;
    };
    g_inst_common_debug_verbosity_level = 4;
    testing::internal::CaptureStderr();
    EXPECT_EQ(twin_of("/a/b.bin"), "/a/b.txt");
    EXPECT_TRUE(testing::internal::GetCapturedStderr().ends_with(" : SwProfile txt file: /a/b.txt\n"));
    g_inst_common_debug_verbosity_level = 0;
    EXPECT_EQ(twin_of("/a.b/c.d.e"), "/a.b/c.d.txt"); // a longer text than it was
    EXPECT_EQ(twin_of("x."), "x.txt");
    EXPECT_EQ(twin_of("/a/b"), "E:Invalid software profile txt filename;");
    EXPECT_EQ(hooks::lines(), Lines{});
    EXPECT_EQ(twin_of(nullptr), NULL_POINTER_TXT);
    EXPECT_EQ(result_of([](char **err) { return inst_get_sdr_swprofile_txt_file("x.bin", nullptr, err); }),
              (Result{INST_RC_INVALID_ARG, NULL_POINTER_TXT}));
    hooks::fail(hooks::STRNCPY_S);
    EXPECT_EQ(twin_of("/a/b.bin"), "E:Failed to allocate memory;");
    EXPECT_EQ(hooks::lines(), (Lines{"Error! swprofile_file is NULL", "Error! swprofile_txt_file_p is NULL",
                                     "Error! Can't allocate swprofile txt file"}));
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
    EXPECT_EQ(inst_get_boot_active_swp_flag("s", nullptr, 0, 3), INST_RC_INVALID_ARG);
    hooks::fail(hooks::ALLOCATION);
    EXPECT_EQ(flag_of("s", 0, 3), "refused");
    EXPECT_EQ(hooks::lines().back(), "Error! Can't allocate file name");

    hooks::reset();
    g_inst_common_debug_verbosity_level = 1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(flag_of("s", 1, 3), "/install_repo/local/sdr/s/qx_boot_active");
    const std::string debug = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(debug.ends_with(" : Local BOOT_ACTIVE stub file: /install_repo/local/sdr/s/qx_boot_active\n")) << debug;
    ASSERT_EQ(hooks::messages.size(), 2U);
    EXPECT_EQ(hooks::messages[0].text, "inst_get_boot_active_swp_flag :VM Type is 3\n");
    EXPECT_EQ(hooks::messages[1].text, "Stub file name for sdr s is /install_repo/local/sdr/s/qx_boot_active");
}

TEST_F(LocationTest, Existence)
{
    uint8_t exists = 7;
    const auto check = [&](const char *key, int32_t state) {
        hooks::messages.clear();
        exists = 7;
        return result_of(
            [&](char **err) { return inst_ldpath_check_swprofile_exists(key, 0, state, VERD_VM_QX, &exists, err); });
    };
    const std::string path_line = said(3, "global", "default-sdr", active_bin);
    EXPECT_EQ(check("default-sdr", 2), (Result{0, ""}));
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(hooks::lines(), Lines{path_line});
    write_file(active_bin, "");
    EXPECT_EQ(check("default-sdr", 2), (Result{0, ""}));
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(hooks::lines(), (Lines{path_line, "ERROR, empty SWP file " + active_bin + ", consider it gone"}));
    write_file(active_bin, "x");
    EXPECT_EQ(check("default-sdr", 2), (Result{0, ""}));
    EXPECT_EQ(exists, 1);

    hooks::fail(hooks::STAT, 1, EACCES); // told through messages only
    EXPECT_EQ(check("default-sdr", 2), (Result{0, "E:Failed to stat() file " + active_bin + " (Permission denied);"}));
    EXPECT_EQ(exists, 0);
    EXPECT_EQ(hooks::lines().back(), "ERROR, could not stat " + active_bin + " rc=13 (Permission denied)");

    EXPECT_EQ(check("s", 0), (Result{INSTMGR_RC_INVALID_DATA,
                                     std::string(INVALID_STATE) + "E:Failed to get QX software profile file;"}));
    EXPECT_EQ(hooks::lines().back(), "Error! inst_get_sdr_swprofile_file failed, 4010127aca100907");
    EXPECT_EQ(check(nullptr, 2), (Result{INST_RC_INVALID_ARG, ""}));
    EXPECT_EQ(hooks::lines(), Lines{"Error! sdr_key is NULL"});
    EXPECT_EQ(inst_ldpath_check_swprofile_exists("s", 0, 2, 3, nullptr, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines().back(), "Error! exists is NULL");
    EXPECT_EQ(exists, 7);
}

} // namespace
