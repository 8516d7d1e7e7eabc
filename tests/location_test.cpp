// Paths of profiles and flag files, and whether a profile exists.
#include "support/repository_test.h"

namespace
{

using LocationTest = RepositoryTest;

TEST_F(LocationTest, ProfileFiles)
{
    const struct {
        const char *key;
        uint8_t is_local;
        int32_t state;
        uint32_t vm_type;
        const char *path;
    } cases[] = {
        {"default-sdr", 0, 1, 3, "gl/instdb/sdr/default-sdr/qx-swprofile-committed.bin"},
        {"s", 0, 1, 4, "gl/instdb/sdr/s/qx-swprofile-committed.bin"},
        {"s", 0, 2, 6, "gl/instdb/sdr/s/uvf-swprofile-active.bin"},
        {"s", 9, 3, 3, "local/sdr/s/qx-swprofile-prepared.bin"},
        {"s", 1, 1, 4, "local/sdr/s/qx-lcp-swprofile-committed.bin"},
        {"s", 1, 2, 6, "local/sdr/s/uvf-swprofile-active.bin"},
        {nullptr, 1, 2, 3, "local/sdr/(null)/qx-swprofile-active.bin"},
        {nullptr, 0, 2, 2, "gl/instdb//kelo-master-swprofile-active.bin"},
        {"s", 1, 2, 2, "local//kelo-swprofile-active.bin"},
    };
    for (const auto &at : cases) {
        Text path;
        EXPECT_EQ(inst_get_sdr_swprofile_file(at.key, &path.ptr, at.is_local, at.state, at.vm_type, nullptr), 0U);
        EXPECT_EQ(path.str(), std::string("/install_repo/") + at.path);
        EXPECT_EQ(hooks::lines().back(), "Software profile path for VM " + std::to_string(at.vm_type) +
                                             (at.is_local != 0 ? " (local), sdr " : " (global), sdr ") +
                                             (at.key == nullptr ? "(null)" : at.key) + " is " + path.str());
    }
    Text cut;
    ASSERT_EQ(inst_get_sdr_swprofile_file(std::string(5000, 'k').c_str(), &cut.ptr, 1, 1, 3, nullptr), 0U);
    EXPECT_EQ(cut.str().size(), 4095U);
}

TEST_F(LocationTest, ProfilesWithoutPath)
{
    const auto name = [this](const std::string &title, const char *key, uint8_t is_local, int32_t state,
                             uint32_t vm_type) {
        RECORD(title, inst_get_sdr_swprofile_file(key, &a.text, is_local, state, vm_type, err));
    };
    RECORD("no out-parameter", inst_get_sdr_swprofile_file("s", nullptr, 0, 1, 3, err));
    for (const uint32_t vm_type : {3U, 4U, 6U}) {
        name("no key, VM type " + std::to_string(vm_type), nullptr, 0, 9, vm_type);
    }
    name("state 4", "s", 0, 4, 1);
    name("state 0", "s", 0, 0, 3);
    for (const uint32_t vm_type : {1U, 5U, 7U}) {
        name("VM type " + std::to_string(vm_type), "s", 1, 1, vm_type);
    }
    write_file("/tmp/err_msg_UT_stub_invalid_partition_type.txt", "");
    name("a test file orders the failure", "s", 0, 1, 3);
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_invalid_partition_type.txt"));
    hooks::fail(hooks::STRNCPY_S);
    name("strncpy_s fails", "s", 0, 1, 3);
}

TEST_F(LocationTest, TextTwins)
{
    for (const char *const path : {"/a/b.bin", "/a.b/c.d.e", "x.", "/a/b", static_cast<const char *>(nullptr)}) {
        RECORD(path == nullptr ? "null" : path, inst_get_sdr_swprofile_txt_file(path, &a.text, err));
    }
    RECORD("no out-parameter", inst_get_sdr_swprofile_txt_file("x.bin", nullptr, err));
}

TEST_F(LocationTest, BootActiveFlag)
{
    const auto name = [this](const std::string &title, const char *key, uint8_t is_local, uint32_t vm_type) {
        RECORD(title, inst_get_boot_active_swp_flag(key, &a.text, is_local, vm_type));
    };
    name("Admin", nullptr, 0, 2);
    name("global UVF, no key", nullptr, 0, 6);
    name("local UVF, no key", nullptr, 1, 6);
    name("global, VM type 1", "s", 0, 1);
    name("local QX", "s", 1, 3);
    EXPECT_EQ(hooks::messages.back().text.back(), 'e'); // the one message without a newline
}

TEST_F(LocationTest, Existence)
{
    const auto check = [this](const std::string &title, int32_t state = 2) {
        RECORD(title, inst_ldpath_check_swprofile_exists("default-sdr", 0, state, VERD_VM_QX, &a.flag, err));
    };
    check("no file");
    write_file(active_bin, "");
    check("an empty file");
    write_file(active_bin, "x");
    check("a file");
    hooks::fail(hooks::STAT, 1, EACCES);
    check("stat fails");
    check("state 0", 0);
}

} // namespace
