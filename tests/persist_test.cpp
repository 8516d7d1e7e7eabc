// Writing profiles to disk, verified, and reading them back.
#include "support/repository_test.h"

#include <cstring>
#include <fnmatch.h>

namespace
{

class PersistTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        profile = new_full_profile();
        fs::create_directories(fs::path(active_bin).parent_path());
    }
    void TearDown() override
    {
        inst_ldpath_free_swprofile_ext(&profile);
        RepositoryTest::TearDown();
    }

    uint64_t tell_store(const std::string &title)
    {
        return tell(title, [this](char **err) { return store(profile, err); });
    }

    inst_sw_profile_sdr_ext *profile = nullptr;
};

TEST_F(PersistTest, AStoredProfileIsTheEncodingAndATwin)
{
    fs::remove_all("/install_repo/gl"); // directories are made
    tell_store("an ordinary profile");
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
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, 1, EBUSY);
    tell_store("a short write; removing succeeds the second time");
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, hooks::ALWAYS, EBUSY);
    tell_store("a short write; removing never succeeds");
    fs::remove(active_bin);

    fs::create_directories(active_bin);
    tell_store("a directory in the place of the .bin");
    fs::remove(active_bin);
    fs::create_directories(active_txt);
    tell_store("a directory in the place of the .txt");
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));

    fs::remove_all("/install_repo/gl");
    hooks::fail(hooks::MAKE_DIRECTORIES, 1, EROFS);
    tell_store("directories that can't be made");
    write_file("/install_repo/gl/instdb", "in the way");
    tell_store("a file in the place of a directory");
    fs::remove_all("/install_repo/gl");
    fs::create_directories(fs::path(active_bin).parent_path());
    fs::create_symlink("/install_repo/elsewhere/x", active_bin);
    tell_store("a symbolic link to a place in a missing directory");
    fs::create_directories("/install_repo/elsewhere");
    tell_store("a symbolic link to a missing file");
    EXPECT_EQ(read_file("/install_repo/elsewhere/x"), encoding_of(*profile));
}

TEST_F(PersistTest, FilesThatCantBeVerified)
{
    hooks::corrupts_reads = true;
    tell_store("other bytes are read back every time");
    hooks::corrupts_reads = true;
    hooks::fail(hooks::FWRITE, 5, EDQUOT);
    tell_store("the same four times, then a short write");
    hooks::fail(hooks::FOPEN, 2, EACCES);
    tell_store("can't be opened for reading once");
    int nth = 0;
    do { // until it is the memory for reading back that isn't there
        hooks::reset();
        hooks::fail(hooks::ALLOCATION, ++nth, ENOMEM);
    } while (store(profile) != 0 || fs::exists(active_bin));
    tell("no memory for reading back", [&](char **err) {
        g_inst_common_debug_verbosity_level = 0; // DEBUG lines allocate, too
        hooks::fail(hooks::ALLOCATION, nth, ENOMEM);
        return store(profile, err);
    });
}

TEST_F(PersistTest, TheEncodeBufferGrowsOnce)
{
    for (const uint32_t size : {102400U, 102401U, 500000U}) {
        inst_sw_profile_sdr_ext *large = new_profile_of_size(size);
        tell(std::to_string(size) + " bytes", [&](char **err) { return store(large, err); });
        EXPECT_EQ(read_file(active_bin), encoding_of(*large));
        inst_ldpath_free_swprofile_ext(&large);
    }
    hooks::fail(hooks::ENCODE, hooks::ALWAYS);
    tell_store("never fits");
    hooks::fail(hooks::ENCODE, 1, 0);
    tell_store("encodes to nothing");
}

TEST_F(PersistTest, FlatCopiesOfTheDefaultSdr)
{
    const auto write = [this](const std::string &title, const char *key, uint8_t is_local, uint32_t vm_type) {
        tell(title,
             [&](char **err) { return inst_write_sdr_swprofile_to_file2(key, is_local, 2, vm_type, profile, err); });
    };
    write("a global profile", "default-sdr", 0, VERD_VM_QX);
    write("another SDR", "other", 1, VERD_VM_QX);
    write("another VM type", "default-sdr", 1, VERD_VM_UVF);
    hooks::fail(hooks::RUNCMD, 1, EAGAIN);
    write("the first copy fails", "default-sdr", 1, VERD_VM_LC_QX);
    hooks::fail(hooks::RUNCMD, 2, EAGAIN);
    write("the second copy fails", "default-sdr", 1, VERD_VM_LC_QX);
    write("both copies", "default-sdr", 1, VERD_VM_LC_QX);
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.bin"), encoding_of(*profile));
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.txt"),
              read_file("/install_repo/local/sdr/default-sdr/qx-lcp-swprofile-active.txt"));
}

TEST_F(PersistTest, StoringUsesTheKeyOfTheRecord)
{
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    char *const former = sdr.sw_profile.lv_name;
    char name[] = "part2";
    const auto store_as = [&](const std::string &title, inst_sw_profile_sdr_ext *which, uint8_t is_local, int32_t state,
                              uint32_t vm_type) {
        tell(title,
             [&](char **err) { return inst_ldpath_store_sdr_swprofile(which, is_local, state, name, vm_type, err); });
    };
    store_as("with a key", profile, 0, VERD_SWP_ACTIVE, VERD_VM_QX);
    EXPECT_EQ(std::exchange(sdr.sw_profile.lv_name, former), name); // the caller's own text
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_STREQ(fetched.body().lv_name, "part2");

    std::free(sdr.sdr_key);
    inst_sw_profile_sdr_clear_sdr_key(&sdr);
    store_as("without a key, Admin", profile, 1, VERD_SWP_COMMITTED, VERD_VM_ADMIN);
    EXPECT_EQ(sdr.sw_profile.lv_name, former);
    store_as("without a key, QX", profile, 0, VERD_SWP_ACTIVE, VERD_VM_QX);
    store_as("no profile", nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_QX);
    tell("no profile, to be written", [](char **err) { return store(nullptr, err); });
}

TEST_F(PersistTest, FilesThatCantBeRead)
{
    const auto tell_fetch = [this](const std::string &title) {
        Fetched fetched;
        tell(title, [&](char **err) { return fetch(fetched, err); });
        EXPECT_EQ(fetched.ptr, nullptr);
    };
    tell_fetch("no file");
    write_file(active_bin, "");
    errno = EBUSY; // somebody else's
    tell_fetch("an empty file");
    write_file(active_bin, "not a profile");
    tell_fetch("not a profile");
    hooks::before_read = [this] { std::ofstream(active_bin, std::ios::app) << "more"; };
    tell_fetch("a file that grows");
    hooks::fail(hooks::FSEEK, 1, EIO);
    tell_fetch("a file whose end can't be found");
    hooks::fail(hooks::FSEEK, 2, EIO);
    tell_fetch("a file whose start can't be found again");
    hooks::fail(hooks::FREAD);
    tell_fetch("a file that can't be read");
    hooks::fail(hooks::FTELL);
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
