// Writing profiles to disk, verified, and reading them back.
#include "support/repository_test.h"

#include <cstring>
#include <fnmatch.h>

namespace
{

class PersistTest : public RepositoryTest
{
protected:
    uint64_t tell_store(const std::string &title) { return TELL(title, store(profile, err)); }

    const Fetched full = {new_full_profile()};
    inst_sw_profile_sdr_ext *const profile = full.ptr;
};

// The steps that all operations share, which other stories tell in a line.
TEST_F(PersistTest, SharedSteps)
{
    const auto store_it = [this](char **err) {
        return inst_ldpath_store_sdr_swprofile(profile, 0, VERD_SWP_ACTIVE, nullptr, VERD_VM_QX, err);
    };
    Fetched fetched;
    const auto fetch_it = [&](char **err) { return fetch(fetched, err); };
    tell("store", store_it, true); // into directories that are made
    tell("fetch", fetch_it, true);
    tell("store again", store_it);
    fs::remove(active_bin);
    tell("fetch, no file", fetch_it, true);
    tell("fetch again, no file", fetch_it);
}

TEST_F(PersistTest, AStoredProfileIsTheEncodingAndATwin)
{
    ASSERT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));
    const std::string twin = read_file(active_txt);
    const std::string head = "# Software Profile \n# Updated on [A-Z][a-z][a-z] [0-9][0-9] "
                             "[0-9][0-9]:[0-9][0-9]:[0-9][0-9].[0-9][0-9][0-9] \n# Updated by swprofile_tests (pid " +
                             std::to_string(getpid()) + ") \n";
    const std::size_t head_end = twin.find("\n\n") + 1;
    EXPECT_EQ(fnmatch(head.c_str(), twin.substr(0, head_end).c_str(), 0), 0) << twin;
    Text body;
    ASSERT_EQ(instcomm_get_swprofile_sdr_str(profile, &body.ptr, 1, nullptr), 0U);
    EXPECT_EQ(twin.substr(head_end + 1), body.str() + "\n");
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile));
    hooks::fail(hooks::CLOCK, hooks::ALWAYS);
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_txt).find("# Updated on <Unknown Time>       : .000 \n"), 20U);
}

TEST_F(PersistTest, FilesThatCantBeWritten)
{
    failing(hooks::FWRITE, 1, ENOSPC);
    failing(hooks::UNLINK, 1, EBUSY);
    tell_store("a short write; removing succeeds the second time");
    failing(hooks::FWRITE, 1, ENOSPC);
    failing(hooks::UNLINK, hooks::ALWAYS, EBUSY);
    tell_store("a short write; removing never succeeds");
    fs::remove(active_bin);

    fs::create_directories(active_bin);
    tell_store("a directory in the place of the .bin");
    fs::remove(active_bin);
    fs::create_directories(active_txt);
    tell_store("a directory in the place of the .txt");
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));

    fs::remove_all("/install_repo/gl");
    write_file("/install_repo/gl/instdb", "in the way");
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOTDIR));
    fs::remove_all("/install_repo/gl");
    hooks::fail(hooks::MAKE_DIRECTORIES, 1, EROFS);
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOENT));
    fs::create_directories(fs::path(active_bin).parent_path());
    fs::create_symlink("/install_repo/elsewhere/x", active_bin);
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOENT));
    fs::create_directories("/install_repo/elsewhere");
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file("/install_repo/elsewhere/x"), encoding_of(*profile));
}

TEST_F(PersistTest, FilesThatCantBeVerified)
{
    hooks::corrupts_reads = true;
    tell_store("other bytes are read back every time");
    hooks::corrupts_reads = true;
    failing(hooks::FWRITE, 5, EDQUOT); // after four times the same
    tell_store("and cannot be written at last");
    failing(hooks::FOPEN, 2, EACCES);
    tell_store("can't be opened for reading once");
}

TEST_F(PersistTest, TheEncodeBufferGrowsOnce)
{
    for (const uint32_t size : {102400U, 102401U, 500000U}) {
        const Fetched large = {new_profile_of_size(size)};
        TELL(std::to_string(size) + " bytes", store(large.ptr, err));
        EXPECT_EQ(read_file(active_bin), encoding_of(*large.ptr));
    }
    hooks::fail(hooks::ENCODE, hooks::ALWAYS);
    tell_store("never fits");
    hooks::fail(hooks::ENCODE, 1, 0);
    tell_store("encodes to nothing");
}

TEST_F(PersistTest, FlatCopiesOfTheDefaultSdr)
{
    const auto write = [this](const std::string &title, const char *key, uint32_t vm_type) {
        TELL(title, inst_write_sdr_swprofile_to_file2(key, 1, 2, vm_type, profile, err));
    };
    write("another SDR", "other", VERD_VM_QX);
    write("another VM type", "default-sdr", VERD_VM_UVF);
    failing(hooks::RUNCMD, 2, EAGAIN);
    write("the second copy fails", "default-sdr", VERD_VM_LC_QX);
    write("both copies", "default-sdr", VERD_VM_LC_QX);
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.bin"), encoding_of(*profile));
}

TEST_F(PersistTest, StoringUsesTheKeyOfTheRecord)
{
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    char *const former = sdr.sw_profile.lv_name;
    char name[] = "part2";
    TELL("with a key", inst_ldpath_store_sdr_swprofile(profile, 0, VERD_SWP_ACTIVE, name, VERD_VM_QX, err));
    EXPECT_EQ(std::exchange(sdr.sw_profile.lv_name, former), name); // the caller's own text
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_STREQ(fetched.body().lv_name, "part2");

    std::free(sdr.sdr_key);
    inst_sw_profile_sdr_clear_sdr_key(&sdr);
    TELL("no key, Admin", inst_ldpath_store_sdr_swprofile(profile, 1, VERD_SWP_COMMITTED, name, VERD_VM_ADMIN, err));
    EXPECT_EQ(sdr.sw_profile.lv_name, former);
    TELL("no key, QX", inst_ldpath_store_sdr_swprofile(profile, 0, VERD_SWP_ACTIVE, name, VERD_VM_QX, err));
    TELL("no profile", inst_ldpath_store_sdr_swprofile(nullptr, 0, VERD_SWP_ACTIVE, name, VERD_VM_QX, err));
    TELL("no profile, to be written", store(nullptr, err));
}

TEST_F(PersistTest, FilesThatCantBeRead)
{
    const auto tell_fetch = [this](const std::string &title) {
        Fetched fetched;
        TELL(title, fetch(fetched, err));
        EXPECT_EQ(fetched.ptr, nullptr);
    };
    write_file(active_bin, "");
    errno = EBUSY; // somebody else's
    tell_fetch("an empty file");
    write_file(active_bin, "not a profile");
    tell_fetch("not a profile");
    hooks::before_read = [this] { std::ofstream(active_bin, std::ios::app) << "more"; };
    tell_fetch("a file that grows");
    failing(hooks::FTELL);
    tell_fetch("a file without a position");
    fs::resize_file(active_bin, INT32_MAX); // sparse
    tell_fetch("a file that no profile can fill");
    fs::resize_file(active_bin, (1ULL << 32) + 9);
    tell_fetch("a file whose size has more than 32 bits");
    fs::remove(active_bin);
    fs::create_directory(active_bin);
    Fetched fetched;
    EXPECT_NE(fetch(fetched), 0U); // what a directory's size is depends on the file system
    EXPECT_EQ(fetched.ptr, nullptr);
}

} // namespace
