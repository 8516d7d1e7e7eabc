// The stand-ins for the platform's libraries, where the store's users can tell.
#include "support/repository_test.h"

#include <cstring>

namespace
{

using PlatformTest = RepositoryTest;

TEST_F(PlatformTest, Rendering)
{
    Fetched profile;
    profile.ptr = new_full_profile();
    std::free(profile.body().version);
    profile.body().version = strdup("1\n.4\x1b[1m\\\xc2\x9b");
    std::string rendered;
    for (int nth = 1; rendered.empty(); ++nth) { // nothing at all until memory suffices
        Text text;
        hooks::fail(hooks::ALLOCATION, nth);
        const uint64_t rc = instcomm_get_swprofile_sdr_str(profile.ptr, &text.ptr, 1, nullptr);
        hooks::disarm();
        EXPECT_EQ(rc, hooks::orders[hooks::ALLOCATION].fired ? INSTCOMM_RC_NO_MEMORY : 0);
        rendered = text.str();
    }
    EXPECT_TRUE(rendered.starts_with("Software profile:\n  VM type: 3 (QX)\n  SDR: default-sdr\n  Software:\n"));
    EXPECT_TRUE(rendered.ends_with("\nExtension value: 5\nEncoded bytes at creation: 99\n"));
    for (const char *const part : {
             "    Version: 1\\x0a.4\\x1b[1m\\x5c\\xc2\\x9b\n",
             "      Nodes: 2\n        4294967295/0/64\n        0/0/0\n",
             "         No  Type  SP  Name\n          1     5  SP  alpha-1.0-r1\n",
             "RPMs: 3\n                          alpha-1.0-r1.rpm\n                          (null)\n",
             "          2     1   -  beta-2.0-r1\n",
         }) {
        EXPECT_NE(rendered.find(part), std::string::npos) << part << rendered;
    }
}

TEST_F(PlatformTest, Commands)
{
    char out[5] = "";
    EXPECT_EQ(inst_runcmd(out, sizeof out, "echo %s; exit %d", "abcdefgh", 0), 0U);
    EXPECT_STREQ(out, "abcd");
    EXPECT_EQ(inst_runcmd(out, sizeof out, "exit 3"), INSTCOMM_RC_FAILED);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(wsystem("exit 1"), 256);
    EXPECT_EQ(instcomm_create_filepath_dirs("/install_repo/a/b//c/file"), 0);
    EXPECT_TRUE(fs::is_directory("/install_repo/a/b/c"));
    write_file("/install_repo/f", "");
    EXPECT_NE(instcomm_create_filepath_dirs("/install_repo/f/g/h"), 0);
    EXPECT_EQ(errno, ENOTDIR);
}

TEST_F(PlatformTest, CopiesOfStringLists)
{
    char a[] = "a", bc[] = "bc";
    char *list[] = {bc, nullptr, a};
    char **copy = list;
    for (const int nth : {1, 2, 3}) {
        hooks::fail(hooks::ALLOCATION, nth);
        EXPECT_EQ(inst_dup_string_list(3, list, &copy, nullptr), INSTCOMM_RC_NO_MEMORY);
        EXPECT_EQ(copy, list);
    }
    ASSERT_EQ(inst_dup_string_list(3, list, &copy, nullptr), 0U);
    EXPECT_EQ(copy[1], nullptr);
    char printed[64];
    inst_print_list(printed, sizeof printed, copy, 3);
    EXPECT_STREQ(printed, "bc, (null), a");
    inst_print_list(printed, 6, copy, 3);
    EXPECT_STREQ(printed, "bc, (");
    inst_free_string_list(3, copy);
}

} // namespace
