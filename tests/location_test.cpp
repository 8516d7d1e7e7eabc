// Where profiles and flag files are, and whether a profile exists.
#include "support/repository_test.h"

namespace
{

class LocationTest : public RepositoryTest
{
protected:
    using Name = std::function<uint64_t(char **path_p, char **err)>;

    // Tells of a call that hands out a path.
    void tell_path(const std::string &title, const Name &name)
    {
        Text path;
        tell(title, [&](char **err) { return name(&path.ptr, err); });
        tell_line(path.ptr == nullptr ? "no path" : "path: " + path.str());
    }
};

std::string title_of(const char *key, uint8_t is_local, int32_t state, uint32_t vm_type)
{
    return std::string(key == nullptr ? "null" : key) + ", " + (is_local != 0 ? "local" : "global") + ", state " +
           std::to_string(state) + ", VM type " + std::to_string(vm_type);
}

TEST_F(LocationTest, ProfileFiles)
{
    const struct {
        const char *key;
        uint8_t is_local;
        int32_t state;
        uint32_t vm_type;
    } cases[] = {
        {"default-sdr", 0, 1, 3}, {"default-sdr", 0, 1, 4}, {"default-sdr", 0, 2, 6}, {"s", 9, 3, 3},
        {"s", 1, 1, 4},           {"s", 1, 2, 6},           {nullptr, 1, 2, 3},       {nullptr, 0, 2, 2},
        {"s", 1, 2, 2},           {nullptr, 0, 9, 3},       {nullptr, 0, 1, 4},       {nullptr, 0, 1, 6},
        {"s", 0, 4, 1},           {"s", 0, 0, 3},           {"s", 0, 1, 1},           {"s", 1, 1, 5},
        {"s", 1, 1, 7},
    };
    for (const auto &at : cases) {
        tell_path(title_of(at.key, at.is_local, at.state, at.vm_type), [&](char **path_p, char **err) {
            return inst_get_sdr_swprofile_file(at.key, path_p, at.is_local, at.state, at.vm_type, err);
        });
    }
}

TEST_F(LocationTest, NamingFailures)
{
    const Name name = [](char **path_p, char **err) { return inst_get_sdr_swprofile_file("s", path_p, 0, 1, 3, err); };
    tell("no out-parameter", [&](char **err) { return name(nullptr, err); });
    write_file("/tmp/err_msg_UT_stub_invalid_partition_type.txt", "");
    tell_path("the file of a test", name);
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_invalid_partition_type.txt"));
    tell_path("no memory", [&](char **path_p, char **err) {
        hooks::fail(hooks::ALLOCATION);
        return name(path_p, err);
    });
    hooks::fail(hooks::STRNCPY_S);
    tell_path("a refused copy", name);
    Text cut;
    ASSERT_EQ(inst_get_sdr_swprofile_file(std::string(5000, 'k').c_str(), &cut.ptr, 1, 1, 3, nullptr), 0U);
    EXPECT_EQ(cut.str().size(), 4095U);
}

TEST_F(LocationTest, TextTwins)
{
    for (const char *const path : {"/a/b.bin", "/a.b/c.d.e", "x.", "/a/b"}) {
        tell_path(path, [&](char **path_p, char **err) { return inst_get_sdr_swprofile_txt_file(path, path_p, err); });
    }
    tell_path("null", [](char **path_p, char **err) { return inst_get_sdr_swprofile_txt_file(nullptr, path_p, err); });
    tell("no out-parameter", [](char **err) { return inst_get_sdr_swprofile_txt_file("x.bin", nullptr, err); });
    hooks::fail(hooks::STRNCPY_S);
    tell_path("a refused copy",
              [](char **path_p, char **err) { return inst_get_sdr_swprofile_txt_file("x.bin", path_p, err); });
}

TEST_F(LocationTest, BootActiveFlag)
{
    const struct {
        const char *key;
        uint8_t is_local;
        uint32_t vm_type;
    } cases[] = {{nullptr, 0, 2}, {"s", 1, 3}, {"s", 0, 3}, {"s", 0, 1}, {nullptr, 0, 6}, {nullptr, 1, 6}};
    for (const auto &at : cases) {
        tell_path(title_of(at.key, at.is_local, 0, at.vm_type), [&](char **path_p, char **) {
            return inst_get_boot_active_swp_flag(at.key, path_p, at.is_local, at.vm_type);
        });
    }
    tell("no out-parameter", [](char **) { return inst_get_boot_active_swp_flag("s", nullptr, 0, 3); });
    tell_path("no memory", [](char **path_p, char **) {
        hooks::fail(hooks::ALLOCATION);
        return inst_get_boot_active_swp_flag("s", path_p, 0, 3);
    });
    Text path;
    EXPECT_EQ(inst_get_boot_active_swp_flag("s", &path.ptr, 1, 3), 0U);
    EXPECT_EQ(hooks::messages.back().text.back(), 'e'); // the one message without a newline
}

TEST_F(LocationTest, Existence)
{
    const auto check = [this](const std::string &title, const char *key = "default-sdr", int32_t state = 2) {
        uint8_t exists = 7;
        tell(title,
             [&](char **err) { return inst_ldpath_check_swprofile_exists(key, 0, state, VERD_VM_QX, &exists, err); });
        tell_line("exists: " + std::to_string(exists));
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
    tell("no out-parameter", [](char **err) { return inst_ldpath_check_swprofile_exists("s", 0, 2, 3, nullptr, err); });
}

} // namespace
