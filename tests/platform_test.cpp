// The stand-ins for the platform's libraries, where the store's users can tell.
#include "support/repository_test.h"

#include <cstring>

namespace
{

using PlatformTest = RepositoryTest;

TEST_F(PlatformTest, RenderingShowsEveryField)
{
    inst_sw_profile_sdr_ext *profile = new_full_profile();
    inst_sw_profile_info &body = profile->sdr_sw_profile.sw_profile;
    std::free(body.version);
    body.version = strdup("7\n.3\x1b[1m\\");
    std::string rendered;
    for (int nth = 1; rendered.empty(); ++nth) { // nothing at all until memory suffices
        Text text;
        hooks::fail(hooks::ALLOCATION, nth);
        const uint64_t rc = instcomm_get_swprofile_sdr_str(profile, &text.ptr, 1, nullptr);
        hooks::disarm();
        EXPECT_EQ(rc, hooks::orders[hooks::ALLOCATION].fired ? INSTCOMM_RC_NO_MEMORY : 0);
        rendered = text.str();
    }
    inst_ldpath_free_swprofile_ext(&profile);
    const char *const first_half = R"(Software profile:
  VM type: 3 (QX)
  SDR: default-sdr
  Software:
    Logical volume: lv0
    Image:
      Name: image.iso
      RPMs: 1
        base.rpm
      Type: 0
    Packages: 2
         No  Type  SP  Name
          1     5  SP  alpha-1.0-r1
                        RPMs: 3
                          alpha-1.0-r1.rpm
                          (null)
                          
                        Second name: second
                        Value: 18446744073709551615
                        Marker: 1
                        Extra list: 1
                          extra
                        Second extra list: 0
                        Extra value: 1
          2     1   -  beta-2.0-r1
    Version: 7\x0a.3\x1b[1m\x5c
    Service packs: 2
      [1]
        Name: SP1
        RPMs: 2
          alpha-1.0-r1
          gamma-1.0-r1
      [2]
    Service pack names: 2
      SP1
      (null)
    Single initrd: 1
  Location profiles: 1
    [1]
      Nodes: 2
        4294967295/0/64
        0/0/0
      Software:
        Logical volume: lv0
)";
    EXPECT_EQ(rendered.substr(0, std::strlen(first_half)), first_half);
    EXPECT_TRUE(rendered.ends_with("Extension value: 5\nEncoded bytes at creation: 99\n"));
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

TEST_F(PlatformTest, StringsAndLists)
{
    char to[4] = "xyz";
    EXPECT_EQ(strncpy_s(to, sizeof to, "abcdef", 3), 0);
    EXPECT_STREQ(to, "abc");
    EXPECT_NE(strncpy_s(to, sizeof to, "abcd", 4), 0);
    EXPECT_STREQ(to, "");
    EXPECT_NE(strncpy_s(to, 0, "a", 1), 0);
    EXPECT_NE(strncpy_s(to, sizeof to, nullptr, 1), 0);

    char a[] = "a", bc[] = "bc";
    char *list[] = {bc, nullptr, a};
    char **copy = list;
    ASSERT_EQ(inst_dup_string_list(3, list, &copy, nullptr), 0U);
    EXPECT_STREQ(copy[0], "bc");
    EXPECT_EQ(copy[1], nullptr);
    inst_free_string_list(3, copy);
    EXPECT_EQ(inst_dup_string_list(0, list, &copy, nullptr), 0U);
    EXPECT_EQ(copy, nullptr);
    for (const int nth : {1, 2, 3}) {
        copy = list;
        hooks::fail(hooks::ALLOCATION, nth);
        EXPECT_EQ(inst_dup_string_list(3, list, &copy, nullptr), INSTCOMM_RC_NO_MEMORY);
        EXPECT_EQ(copy, list);
    }
    char printed[64];
    inst_print_list(printed, sizeof printed, list, 3);
    EXPECT_STREQ(printed, "bc, (null), a");
    inst_print_list(printed, 6, list, 3);
    EXPECT_STREQ(printed, "bc, (");
    inst_print_list(printed, sizeof printed, nullptr, 3);
    EXPECT_STREQ(printed, "");
    std::qsort(list, 3, sizeof *list, package_comp);
    EXPECT_EQ(list[0], nullptr);
    EXPECT_EQ(list[1], a);
}

} // namespace
