// Where profiles and flag files are, and whether a profile exists.
#include "support/repository_test.h"

namespace
{

class LocationTest : public RepositoryTest
{
protected:
    // Prints a call that returns a path.
    void tell_path(const std::string &title, const std::function<uint64_t(char **path_p, char **err)> &name)
    {
        Text path;
        tell(title, [&](char **err) {
            const uint64_t rc = name(&path.ptr, err);
            answer = path.ptr == nullptr ? "no path" : path.str();
            return rc;
        });
    }
};

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

TEST_F(LocationTest, NamingFailures)
{
    const auto name = [this](const std::string &title, const char *key, uint8_t is_local, int32_t state,
                             uint32_t vm_type) {
        tell_path(title, [&](char **path_p, char **err) {
            return inst_get_sdr_swprofile_file(key, path_p, is_local, state, vm_type, err);
        });
    };
    TELL("no out-parameter", inst_get_sdr_swprofile_file("s", nullptr, 0, 1, 3, err));
    for (const uint32_t vm_type : {3U, 4U, 6U}) {
        name("no key", nullptr, 0, 9, vm_type);
    }
    name("state 4", "s", 0, 4, 1);
    name("state 0", "s", 0, 0, 3);
    for (const uint32_t vm_type : {1U, 5U, 7U}) {
        name("no such VM type", "s", 1, 1, vm_type);
    }
    write_file("/tmp/err_msg_UT_stub_invalid_partition_type.txt", "");
    name("the file of a test", "s", 0, 1, 3);
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_invalid_partition_type.txt"));
    failing(hooks::STRNCPY_S);
    name("a refused copy", "s", 0, 1, 3);
}

TEST_F(LocationTest, TextTwins)
{
    for (const char *const path : {"/a/b.bin", "/a.b/c.d.e", "x.", "/a/b", static_cast<const char *>(nullptr)}) {
        tell_path(path == nullptr ? "null" : path,
                  [&](char **path_p, char **err) { return inst_get_sdr_swprofile_txt_file(path, path_p, err); });
    }
    TELL("no out-parameter", inst_get_sdr_swprofile_txt_file("x.bin", nullptr, err));
}

TEST_F(LocationTest, BootActiveFlag)
{
    const auto name = [this](const char *key, uint8_t is_local, uint32_t vm_type) {
        tell_path(
            std::string(is_local != 0 ? "local" : "global") + (key == nullptr ? ", no key" : ""),
            [&](char **path_p, char **) { return inst_get_boot_active_swp_flag(key, path_p, is_local, vm_type); });
    };
    name(nullptr, 0, 2);
    name("s", 1, 3);
    name("s", 0, 1);
    name(nullptr, 0, 6);
    name(nullptr, 1, 6);
    TELL("no out-parameter", inst_get_boot_active_swp_flag("s", nullptr, 0, 3));
    Text path;
    EXPECT_EQ(inst_get_boot_active_swp_flag("s", &path.ptr, 1, 3), 0U);
    EXPECT_EQ(hooks::messages.back().text.back(), 'e'); // the one message without a newline
}

TEST_F(LocationTest, Existence)
{
    const auto check = [this](const std::string &title, const char *key = "default-sdr", int32_t state = 2) {
        uint8_t exists = 7;
        tell(title, [&](char **err) {
            const uint64_t rc = inst_ldpath_check_swprofile_exists(key, 0, state, VERD_VM_QX, &exists, err);
            answer = std::to_string(exists);
            return rc;
        });
    };
    check("no file");
    write_file(active_bin, "");
    check("an empty file");
    write_file(active_bin, "x");
    check("a file");
    hooks::fail(hooks::STAT, 1, EACCES);
    check("a file that can't be examined");
    check("state 0", "default-sdr", 0);
    check("no key", nullptr);
    TELL("no out-parameter", inst_ldpath_check_swprofile_exists("s", 0, 2, 3, nullptr, err));
}

} // namespace
