// Writing profiles to disk, verifying them, and reading them.
#include "support/repository_test.h"

#include <regex>

namespace
{

class PersistTest : public RepositoryTest
{
protected:
    uint64_t record_store(const std::string &title) { return RECORD(title, store(profile, err)); }

    const Fetched full = {new_full_profile()};
    inst_sw_profile_sdr_ext *const profile = full.ptr;
};

TEST_F(PersistTest, AStoredProfileIsTheEncodingAndATwin)
{
    ASSERT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));
    const std::string twin = read_file(active_txt);
    const std::regex head("# Software Profile \n# Updated on [A-Z][a-z]{2} \\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \n"
                          "# Updated by swprofile_tests \\(pid " +
                          std::to_string(getpid()) + "\\) \n");
    const std::size_t head_end = twin.find("\n\n") + 1;
    EXPECT_TRUE(std::regex_match(twin.substr(0, head_end), head)) << twin;
    Text body;
    ASSERT_EQ(instcomm_get_swprofile_sdr_str(profile, &body.ptr, 1, nullptr), 0U);
    EXPECT_EQ(twin.substr(head_end + 1), body.str() + "\n");
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile));
    hooks::fail(hooks::CLOCK, 1, EIO, hooks::ALWAYS);
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_txt).find("# Updated on <Unknown Time>       : .000 \n"), 20U);
}

TEST_F(PersistTest, FailedWritesAndVerification)
{
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, 1, EBUSY);
    record_store("a short write; the second unlink succeeds");
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, 1, EBUSY, hooks::ALWAYS);
    record_store("a short write; every unlink fails");
    hooks::corrupts_reads = true;
    record_store("every attempt reads other bytes");
    hooks::corrupts_reads = true;
    hooks::fail(hooks::FWRITE, 5, EDQUOT);
    record_store("four attempts read other bytes, the fifth cannot write");
    hooks::fail(hooks::FOPEN, 2, EACCES);
    record_store("the first attempt cannot read");
}

TEST_F(PersistTest, UnusualDirectories)
{
    write_file("/install_repo/gl/instdb", "in the way");
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOTDIR));
    fs::remove_all("/install_repo/gl");
    fs::create_symlink("/install_repo/elsewhere", "/install_repo/gl"); // so that no directory can be created
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOENT));
    fs::remove("/install_repo/gl");
    fs::create_directories(fs::path(active_bin).parent_path());
    fs::create_symlink("/install_repo/elsewhere/x", active_bin);
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOENT));
    fs::create_directories("/install_repo/elsewhere");
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file("/install_repo/elsewhere/x"), encoding_of(*profile));
}

TEST_F(PersistTest, TheEncodeBufferGrowsOnce)
{
    for (const uint32_t size : {102400U, 102401U, 500000U}) {
        const Fetched large = {new_profile_of_size(size)};
        RECORD(std::to_string(size) + " bytes", store(large.ptr, err));
        EXPECT_EQ(read_file(active_bin), encoding_of(*large.ptr));
    }
    hooks::fail(hooks::ENCODE, 1, EIO, hooks::ALWAYS); // each time, it needs one byte more than it gets
    record_store("no buffer is large enough");
    hooks::fail(hooks::ENCODE, 1, 0); // it returns 0
    record_store("an encoding of 0 bytes");
}

TEST_F(PersistTest, FlatCopiesOfTheDefaultSdr)
{
    const std::pair<const char *, uint32_t> cases[] = {
        {"other", VERD_VM_QX}, {"default-sdr", VERD_VM_UVF}, {"default-sdr", VERD_VM_LC_QX}};
    for (const auto &[key, vm_type] : cases) {
        EXPECT_FALSE(fs::exists("/install_repo/local/qx-lcp-swprofile-active.bin"));
        EXPECT_EQ(store_as(key, 1, VERD_SWP_ACTIVE, vm_type, full), 0U);
    }
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.bin"), encoding_of(*profile));
    const auto entries = fs::directory_iterator("/install_repo/local");
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 3); // the twin and the directory of the SDRs, too
}

TEST_F(PersistTest, StoringUsesTheKeyOfTheRecord)
{
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    char *const former = sdr.sw_profile.lv_name;
    char name[] = "part2";
    const auto store_record = [&](const std::string &title, inst_sw_profile_sdr_ext *record_p, uint8_t is_local,
                                  uint32_t vm_type) {
        RECORD(title, inst_ldpath_store_sdr_swprofile(record_p, is_local, VERD_SWP_ACTIVE, name, vm_type, err));
    };
    store_record("with a key", profile, 0, VERD_VM_QX);
    EXPECT_EQ(std::exchange(sdr.sw_profile.lv_name, former), name); // the caller's own text
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_STREQ(fetched.body().lv_name, "part2");

    std::free(sdr.sdr_key);
    inst_sw_profile_sdr_clear_sdr_key(&sdr);
    store_record("no key, Admin", profile, 1, VERD_VM_ADMIN);
    EXPECT_EQ(sdr.sw_profile.lv_name, former);
    store_record("no key, QX", profile, 0, VERD_VM_QX);
    store_record("no record", nullptr, 0, VERD_VM_QX);
    RECORD("no record to write", store(nullptr, err));
}

TEST_F(PersistTest, FailedReads)
{
    const auto record_fetch = [this](const std::string &title) {
        Fetched fetched;
        RECORD(title, fetch(fetched, err));
        EXPECT_EQ(fetched.ptr, nullptr);
    };
    write_file(active_bin, "");
    errno = EBUSY; // of an earlier call
    record_fetch("an empty file");
    write_file(active_bin, "not a profile");
    record_fetch("not a profile");
    hooks::before_read = [this] { std::ofstream(active_bin, std::ios::app) << "more"; };
    record_fetch("a file that grows");
    hooks::fail(hooks::FTELL);
    record_fetch("ftell fails");
    fs::resize_file(active_bin, INT32_MAX); // sparse
    record_fetch("a file larger than any profile");
    fs::resize_file(active_bin, (1ULL << 32) + 9);
    record_fetch("a file whose size has more than 32 bits");
    fs::remove(active_bin);
    fs::create_directory(active_bin);
    Fetched fetched;
    EXPECT_NE(fetch(fetched), 0U); // the size of a directory depends on the file system
    EXPECT_EQ(fetched.ptr, nullptr);
}

} // namespace
