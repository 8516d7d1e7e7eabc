// Behaviour of the platform stand-ins that the library's users can observe.
#include "support/repository_test.h"

#include "vestra.h"

#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>

namespace
{

using PlatformTest = RepositoryTest;

// The platform's function, which the tests replace by their own.
#define REAL(function) reinterpret_cast<decltype(&(function))>(dlsym(RTLD_NEXT, #function))

TEST_F(PlatformTest, Rendering)
{
    const Fetched profile = {new_full_profile()};
    std::free(std::exchange(profile.body().version, strdup("1\n.4\x1b[1m\\\xc2\x9b")));
    Text text;
    ASSERT_EQ(instcomm_get_swprofile_sdr_str(profile.ptr, &text.ptr, 1, nullptr), 0U);
    const std::string rendered = text.str();
    EXPECT_TRUE(rendered.starts_with("Software profile:\n  VM type: 3\n  SDR: default-sdr\n  Software:\n"));
    EXPECT_TRUE(rendered.ends_with("\nExtension value: 5\nEncoded bytes at creation: 99\n"));
    for (const char *const part : {
             "    Version: 1\\x0a.4\\x1b[1m\\x5c\\xc2\\x9b\n",
             "      Nodes: 2\n        4294967295/0/64\n        0/0/0\n",
             "         No  Type  SP  Name\n          1     5  SP  alpha-1.0-r1\n",
             "RPMs: 3\n                          alpha-1.0-r1.rpm\n                          (null)\n",
             "          2     1   -  beta-2.0-r1\n",
             "    Logical volume: lv0\n    Image:\n      Name: image.iso\n",
             "Second name: second\n",
             "    Service packs: 2\n      [1]\n        Name: SP1\n        RPMs: 2\n          alpha-1.0-r1\n",
             "    Service pack names: 2\n      SP1\n",
             "    Single initrd: 1\n",
         }) {
        EXPECT_NE(rendered.find(part), std::string::npos) << part << rendered;
    }
}

TEST_F(PlatformTest, Log)
{
    const std::string path = "/install_repo/log/install.log";
    auto *const log = REAL(instcomm_log);
    write_file("/tmp/victim", "");
    fs::create_directories("/install_repo/log");
    fs::create_symlink("/tmp/victim", path);
    log("to no link\n");
    EXPECT_EQ(fs::file_size("/tmp/victim"), 0U);
    fs::remove(path);
    log("%s one\n", std::string(2700, 'x').c_str());
    EXPECT_TRUE(read_file(path).ends_with("xx one\n"));
    fs::resize_file(path, 16 << 20);
    const int reader = open(path.c_str(), O_RDONLY);
    flock(reader, LOCK_SH); // as any user can: no writer may wait for it
    log("two\n");
    EXPECT_TRUE(read_file(path).ends_with("] two\n"));
    EXPECT_FALSE(fs::exists(path + ".1"));
    close(reader);
    log("three\n"); // into the next log
    EXPECT_GT(fs::file_size(path + ".1"), 16U << 20);
    EXPECT_TRUE(read_file(path).ends_with("] three\n"));
    EXPECT_LT(fs::file_size(path), 100U);
}

TEST_F(PlatformTest, Trace)
{
    auto *const trace = REAL(vestra_internal);
    const std::string path = "/install_repo/log/ring.vestra";
    uint64_t handle = 0;
    ASSERT_EQ(REAL(vestra_open_internal)(&handle, "ring", 3, 384, "path", "id", 0), 0);
    for (const char *const text : {"one", "two", "three", "four"}) {
        trace(handle, 0, 4, 1, "s", "%s", text);
    }
    std::string ring = read_file(path);
    EXPECT_EQ(ring.size(), 4096U + 3 * 384);
    EXPECT_TRUE(ring.find("four") < ring.find("two") && ring.find("one") == ring.npos);
    fs::resize_file(path, 0);
    trace(handle, 0, 4, 1, "s", "%s", "five");
    ring = read_file(path);
    EXPECT_TRUE(ring.starts_with("VESTRA1\n") && ring.find("five") < 4096 + 384);

    int fd = 3; // the ring's
    while (!fs::equivalent(path, "/proc/self/fd/" + std::to_string(fd))) {
        ++fd;
    }
    const int other = open("/tmp/other", O_RDWR | O_CREAT, 0600);
    dup2(other, fd);
    close(other);
    trace(handle, 0, 4, 1, "s", "%s", "six");
    EXPECT_EQ(fs::file_size("/tmp/other"), 0U);
    close(fd);
}

TEST_F(PlatformTest, Commands)
{
    char out[5] = "";
    EXPECT_EQ(inst_runcmd(out, sizeof out, "echo %s; exit %d", "abcdefgh", 0), 0U);
    EXPECT_STREQ(out, "abcd");
    EXPECT_EQ(inst_runcmd(out, sizeof out, "exit 3"), INSTCOMM_RC_FAILED);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(wsystem("exit 1"), 256);
    Text all;
    uint32_t size = 0;
    EXPECT_EQ(inst_runcmd_outbuff(&all.ptr, &size, "seq %d", 5000), 0U);
    EXPECT_EQ(size, 23893U);
    for (int nth = 1; nth <= 20; ++nth) { // without memory, the output is whole or there is none
        Text whole;
        size = 0;
        hooks::fail(hooks::ALLOCATION, nth, ENOMEM);
        const uint64_t rc = inst_runcmd_outbuff(&whole.ptr, &size, "seq %d", 5000);
        hooks::disarm();
        EXPECT_EQ(size, rc == 0 ? 23893U : 0U) << nth;
        EXPECT_EQ(whole.ptr != nullptr, rc == 0) << nth;
    }
    EXPECT_EQ(inst_runcmd_outbuff(nullptr, nullptr, "echo not to be seen; exit 1"), INSTCOMM_RC_FAILED);
    EXPECT_EQ(inst_runcmd_outbuff(&all.ptr, nullptr, "true"), INSTCOMM_RC_INVALID_ARG);
    EXPECT_EQ(instcomm_create_filepath_dirs("/install_repo/a/b//c/file"), 0);
    EXPECT_TRUE(fs::is_directory("/install_repo/a/b/c"));
    write_file("/install_repo/f", "");
    EXPECT_NE(instcomm_create_filepath_dirs("/install_repo/f/g/h"), 0);
    EXPECT_EQ(errno, ENOTDIR);
}

// "base|version|release|arch", or the result code's number.
std::string split(const char *entry)
{
    Text base, version, release, arch;
    const uint64_t rc = instcomm_split_swp_pkg_entry(entry, &base.ptr, &version.ptr, &release.ptr, &arch.ptr);
    return rc != 0 ? std::to_string(rc & 0xfff)
                   : base.str() + "|" + version.str() + "|" + release.str() + "|" + arch.str();
}

TEST_F(PlatformTest, PackageNames)
{
    const std::string invalid = std::to_string(INSTCOMM_RC_INVALID_DATA & 0xfff);
    EXPECT_EQ(split("a-b-1.0-r1.x86_64.rpm"), "a-b|1.0|r1|x86_64");
    EXPECT_EQ(split("a-1-r.x86"), "a|1|r.x86|");
    EXPECT_EQ(split("a-1-noarch"), "a|1|noarch|");
    for (const char *const entry : {"", "-", "--", "---", "a-1", "-1-2", "a--2", "a-1-", "a-1-.noarch"}) {
        EXPECT_EQ(split(entry), invalid) << entry;
    }
    char names[][16] = {"a.aarch64", "a.noarch.rpm", "a.rpm", "noarch", ".arm", ""};
    Lines stripped;
    for (char *const name : names) {
        instcomm_strip_arch_from_package_name(name);
        stripped.emplace_back(name);
    }
    EXPECT_EQ(stripped, (Lines{"a", "a", "a.rpm", "noarch", "", ""}));
}

TEST_F(PlatformTest, KindsOfPackages)
{
    const std::pair<const char *, std::string> cases[] = {
        {"kelo-host-smu-1-1.x86_64.rpm", "host 0"},
        {"/a/host-1-1", "host 0"},
        {"kelo-hostos", "hostos 0"},
        {"hostos-1-1", "hostos 0"},
        {"/host-x/tp-1-1", "tp 0"},
        {"qx-tp", "tp 0"},
        {"ghostos-1-1", "0"},
        {"kernel-1-1", "1"},
        {"qx-kernel-modules-1-1", "2"},
        {"qx-kernel-rt-1-1", "3"},
        {nullptr, "7"},
    };
    for (const auto &[name, kinds] : cases) {
        int kernel_class = 7;
        instcomm_get_kernel_pkg_class(name, &kernel_class);
        EXPECT_EQ(std::string(instcomm_is_host_pkg(name) != 0 ? "host " : "") +
                      (instcomm_is_hostos_pkg(name) != 0 ? "hostos " : "") +
                      (instcomm_is_tp_pkg(name, 0) != 0 ? "tp " : "") + std::to_string(kernel_class),
                  kinds)
            << name;
    }
}

TEST_F(PlatformTest, StringLists)
{
    char a[] = "a", bc[] = "bc", empty[] = "", printed[64];
    char *list[] = {bc, nullptr, a, bc, empty, nullptr, a, empty}, *others[] = {a, nullptr};
    char **copy = list, **unmatched = nullptr;
    ASSERT_EQ(inst_dup_string_list(3, list, &copy, nullptr), 0U);
    inst_print_list(printed, sizeof printed, copy, 3);
    EXPECT_STREQ(printed, "bc, (null), a");
    inst_print_list(printed, 6, copy, 3);
    EXPECT_STREQ(printed, "bc, (");
    uint32_t count = 0;
    ASSERT_EQ(instcomm_match_lists(copy, 3, others, 2, &unmatched, &count), 0U);
    EXPECT_TRUE(count == 2 && unmatched[0] == copy[0] && unmatched[1] == nullptr); // null matches nothing
    std::free(unmatched);
    inst_free_string_list(3, copy);

    for (const int allocation : {99, 1}) { // with memory to sort, and without
        count = 0;
        copy = nullptr;
        EXPECT_EQ(instcomm_add_to_list(&copy, &count, list, 2), 0U);
        EXPECT_EQ(instcomm_add_to_list(&copy, &count, list, 8), 0U);
        EXPECT_EQ(instcomm_add_to_list(&copy, &count, nullptr, 8), 0U);
        EXPECT_EQ(count, 10U);
        hooks::fail(hooks::ALLOCATION, allocation);
        remove_duplicates_from_list(copy, &count);
        hooks::disarm();
        inst_print_list(printed, sizeof printed, copy, count);
        EXPECT_STREQ(printed, "bc, (null), a, ");
        EXPECT_EQ(copy[4], nullptr);
        inst_free_string_list(count, copy);
    }
}

// A comparison reports a change if it compares the whole profile or selects the part that was changed.
TEST_F(PlatformTest, ComparingProfiles)
{
#define CHANGE(what) [](auto &whole [[maybe_unused]], auto &body [[maybe_unused]], auto &at [[maybe_unused]]) { what; }
    const struct {
        void (*change)(inst_sw_profile_sdr_ext &, inst_sw_profile_info &, inst_sw_profile_loc &);
        uint32_t part; // 0: no selector selects it
        bool is_difference = true;
    } cases[] = {
        {CHANGE(body.image.name[0] = 'x'), 1},
        {CHANGE(body.packages[0].files[2] = strdup("x")), 2},
        {CHANGE(body.packages[1].presence[1] = 2), 2},
        {CHANGE(body.sp_names[1] = strdup("x")), 4},
        {CHANGE(body.sp_details[0].sp_rpms[0][0] = 'x'), 4},
        {CHANGE(at.node_locs[1].presence[0] = 1), 8},
        {CHANGE(at.sw_profile.version[0] = 'x'), 8},
        {CHANGE(whole.sdr_sw_profile.presence[0] &= 7), 8},
        {CHANGE(body.version[0] = 'x'), 16},
        {CHANGE(body.is_single_initrd_supported = 0), 0},
        {CHANGE(whole.sdr_sw_profile.vm_type = 4), 0},
        {CHANGE(whole.ext_value = 6), 0},
        {CHANGE(whole.sdr_sw_profile_len = 6), 0, false},
        {CHANGE(body.lv_name[0] = 'x'), 0, false},
        {CHANGE(at.sw_profile.lv_name[0] = 'x'), 8, false},
    };
    const Fetched original = {new_full_profile()};
    for (const auto &one : cases) {
        const Fetched changed = {new_full_profile()};
        // files[2] is null in both profiles, so that the case that sets it leaks no former text.
        std::free(std::exchange(changed.body().packages[0].files[2], nullptr));
        std::free(std::exchange(original.body().packages[0].files[2], nullptr));
        one.change(*changed.ptr, changed.body(), changed.ptr->sdr_sw_profile.loc_profiles[0]);
        uint8_t is_same = 7;
        EXPECT_EQ(instcomm_compare_swp_profiles(original.ptr, changed.ptr, &is_same, 2), 0U);
        EXPECT_EQ(is_same, one.is_difference ? 0 : 1) << &one - cases;
        for (const uint32_t selector : {0U, 1U, 2U, 4U, 8U, 16U, 32U, 5U}) {
            const bool is_whole = selector == 0 || selector == 32; // 32 is no part
            const bool is_seen = one.is_difference && (is_whole || (one.part & selector) != 0);
            uint8_t first = 1;
            EXPECT_EQ(instcomm_cmp_swprofile_ext(original.ptr, changed.ptr, selector, &first, 0, 1, &is_same), 0U);
            EXPECT_EQ(is_same, is_seen ? 0 : 1) << &one - cases << ", selector " << selector;
            EXPECT_EQ(first, is_same);
        }
        changed.ptr->sdr_sw_profile.presence[0] = 15; // so that location profiles that a case has hidden are freed, too
    }
}

TEST_F(PlatformTest, ComparingPackagesInAnotherOrder)
{
    const Fetched original = {new_full_profile()}, turned = {new_full_profile()};
    inst_sw_profile_info &location = turned.ptr->sdr_sw_profile.loc_profiles[0].sw_profile;
    std::swap(turned.body().packages[0], turned.body().packages[1]);
    std::swap(location.packages[0], location.packages[1]);
    uint8_t is_same = 7;
    const auto compare = [&](uint32_t selector, uint32_t option) {
        return instcomm_cmp_swprofile_ext(original.ptr, turned.ptr, selector, nullptr, 0, option, &is_same);
    };
    EXPECT_TRUE(compare(10, 1) == 0 && is_same == 1);
    EXPECT_TRUE(compare(10, 0) == 0 && is_same == 0);
    EXPECT_EQ(instcomm_compare_swp_profiles(original.ptr, nullptr, &is_same, 2), INSTCOMM_RC_INVALID_ARG);
}

} // namespace
