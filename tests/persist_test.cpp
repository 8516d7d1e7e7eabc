// Writing profiles to disk, verified, and reading them back.
#include "support/repository_test.h"

#include <csignal>
#include <fnmatch.h>
#include <sys/resource.h>

namespace
{

constexpr char NULL_POINTER[] = "Hit an unexpected NULL pointer while writing QX software profile to file;";
constexpr char BIN_FAILED[] = "E:Failed to write SDR software profile to .bin file;";

class PersistTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        profile = new_full_profile();
        length = std::to_string(encoding_of(*profile).size());
    }
    void TearDown() override
    {
        inst_ldpath_free_swprofile_ext(&profile);
        RepositoryTest::TearDown();
    }

    // The lines of the binary writer only.
    Lines writer_lines() const
    {
        Lines found;
        for (const std::string &line : hooks::lines()) {
            if (line.starts_with("inst_write_sdr_swprofile_to_file:") || line.starts_with("unlink") ||
                line.starts_with("Unable to create SW")) {
                found.push_back(line);
            }
        }
        return found;
    }

    // "inst_write_sdr_swprofile_to_file: Error when ... "
    std::string error_line(const std::string &what, const std::string &done, int err, const std::string &rc) const
    {
        return "inst_write_sdr_swprofile_to_file: Error when " + what + " SW Profile " + done + ", " + length + ", " +
               std::to_string(err) + " (" + strerror(err) + ") to file " + active_bin + ", rc=" + rc;
    }

    inst_sw_profile_sdr_ext *profile = nullptr;
    std::string length;
};

TEST_F(PersistTest, AStoredProfileIsTheEncodingAndATwin)
{
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));
    char *body = nullptr;
    ASSERT_EQ(instcomm_get_swprofile_sdr_str(profile, &body, 1, nullptr), 0U);
    const std::string twin = read_file(active_txt);
    const std::string head = "# Software Profile \n# Updated on [A-Z][a-z][a-z] [0-9][0-9] "
                             "[0-9][0-9]:[0-9][0-9]:[0-9][0-9].[0-9][0-9][0-9] \n# Updated by swprofile_tests (pid " +
                             std::to_string(getpid()) + ") \n";
    const std::size_t head_end = twin.find("\n\n") + 1;
    EXPECT_EQ(fnmatch(head.c_str(), twin.substr(0, head_end).c_str(), 0), 0) << twin;
    EXPECT_EQ(twin.substr(head_end + 1), std::string(body) + "\n");
    std::free(body);
    EXPECT_EQ(hooks::lines(), (Lines{"Software profile path for VM 3 (global), sdr default-sdr is " + active_bin,
                                     "Writing SW profile to " + active_bin + ", len=" + length}));
    EXPECT_EQ(hooks::events(), (Lines{"sync", "shell sync", "sync", "sync"}));

    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile));
    hooks::fail(hooks::CLOCK, 0);
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_txt).find("# Updated on <Unknown Time>       : .000 \n"), 20U);
}

TEST_F(PersistTest, AShortWriteEndsAfterOneAttempt)
{
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    Text error;
    EXPECT_EQ(store(profile, &error.ptr), INSTMGR_RC_ERRNO(ENOSPC));
    EXPECT_FALSE(fs::exists(active_bin));
    EXPECT_FALSE(fs::exists(active_txt));
    const std::string written = std::to_string(std::stoi(length) - 1);
    EXPECT_EQ(writer_lines(), (Lines{error_line("writing", written, ENOSPC, "4000127aca10001c"),
                                     "inst_write_sdr_swprofile_to_file: Error! swprofile buffer is NULL"}));
    EXPECT_EQ(hooks::events(), (Lines{"unlink " + active_bin, "sleep 4"}));
    EXPECT_EQ(error.str(), std::string("E:") + NULL_POINTER + BIN_FAILED);
}

TEST_F(PersistTest, AFileThatNeverMatchesIsTriedFiveTimes)
{
    hooks::corrupt_reads();
    Text error;
    EXPECT_EQ(store(profile, &error.ptr), 0U); // told through the error text only
    EXPECT_FALSE(fs::exists(active_bin));
    EXPECT_TRUE(fs::exists(active_txt));
    EXPECT_EQ(error.str(), "E:Failed to fread() the file " + active_bin +
                               " (Success);E:Failed to create software profile even after multiple attempts;");
    const Lines lines = writer_lines();
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[4], error_line("reading back", length, 0, "0"));
    EXPECT_EQ(lines[5], "Unable to create SW Profile successfully even after 4 trials");
    EXPECT_EQ(hooks::calls(hooks::SYNC), 5 + 2);

    // A short write in the fifth attempt is the last one.
    hooks::reset();
    hooks::corrupt_reads();
    hooks::fail(hooks::FWRITE, 5, EDQUOT);
    Text last;
    EXPECT_EQ(store(profile, &last.ptr), INSTMGR_RC_ERRNO(EDQUOT));
    EXPECT_EQ(last.str(), "E:Failed to fwrite() to file " + active_bin +
                              " (Disk quota exceeded);E:Failed to create software profile even after multiple "
                              "attempts;" +
                              BIN_FAILED);
}

TEST_F(PersistTest, AFileThatCantBeVerifiedIsReportedAsStored)
{
    fs::create_directories(fs::path(active_bin).parent_path());
    hooks::fail(hooks::FOPEN, 2, EACCES);
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(writer_lines(), Lines{error_line("opening", length, EACCES, "0")});
    EXPECT_EQ(hooks::calls(hooks::SLEEP), 0);

    // No memory for reading back: the third allocation of the writer's, behind two streams. Whichever fails, nothing
    // but this is reported as success without a file.
    bool was_seen = false;
    for (int nth = 1; !was_seen; ++nth) {
        hooks::reset();
        hooks::fail(hooks::ALLOCATION, nth, ENOMEM);
        Text error;
        const uint64_t rc = store(profile, &error.ptr);
        ASSERT_TRUE(hooks::fired(hooks::ALLOCATION));
        was_seen = error.str() == "E:Failed to allocate memory;" && rc == 0;
    }
    EXPECT_FALSE(fs::exists(active_bin));
    EXPECT_EQ(writer_lines(), Lines{error_line("malloc for", length, ENOMEM, "0")});
}

TEST_F(PersistTest, RemovingIsTriedFiveTimes)
{
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, 0, EBUSY);
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOSPC));
    EXPECT_EQ(hooks::calls(hooks::UNLINK), 5);
    EXPECT_EQ(hooks::calls(hooks::SLEEP), 4 + 1);
    EXPECT_EQ(writer_lines()[0], "unlink " + active_bin + " fails");
}

TEST_F(PersistTest, FilesThatCantBeOpened)
{
    fs::create_directories(active_bin);
    Text error;
    EXPECT_EQ(store(profile, &error.ptr), INSTMGR_RC_ERRNO(EISDIR));
    EXPECT_EQ(error.str(), "E:Failed to fopen() file " + active_bin + " (Is a directory);" + BIN_FAILED);
    EXPECT_EQ(writer_lines(), Lines{"inst_write_sdr_swprofile_to_file: Error! Can't open file " + active_bin +
                                    ", 21 (Is a directory), rc=4000127aca100015"});
    fs::remove(active_bin);

    fs::create_directories(active_txt); // the new .bin stays
    Text twin;
    EXPECT_EQ(store(profile, &twin.ptr), INSTMGR_RC_ERRNO(EISDIR));
    EXPECT_EQ(twin.str(), "E:Failed to fopen() the file " + active_txt +
                              " (Is a directory);E:Failed to write SDR software profile to .txt file;");
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));

    fs::remove_all("/install_repo/gl");
    hooks::fail(hooks::MAKE_DIRECTORIES, 1, EROFS); // the errno is that of the file's opening
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOENT));
    write_file("/install_repo/gl/instdb", "in the way");
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOTDIR));

    fs::remove_all("/install_repo/gl");
    fs::create_directories(fs::path(active_bin).parent_path());
    fs::create_symlink("/install_repo/elsewhere/x", active_bin); // dangling
    EXPECT_EQ(store(profile), INSTMGR_RC_ERRNO(ENOENT));
    fs::create_directories("/install_repo/elsewhere");
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file("/install_repo/elsewhere/x"), encoding_of(*profile));
}

TEST_F(PersistTest, AFullDiskLeavesNoProfileBehind)
{
    fs::create_directories(fs::path(active_bin).parent_path());
    rlimit before;
    getrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, SIG_IGN);
    const rlimit small = {8192, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    inst_sw_profile_sdr_ext *large = new_profile_of_size(50000);
    const uint64_t rc = store(large);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(rc, INSTMGR_RC_ERRNO(EFBIG));
    EXPECT_FALSE(fs::exists(active_bin));
    inst_ldpath_free_swprofile_ext(&large);
}

TEST_F(PersistTest, TheEncodeBufferGrowsOnce)
{
    for (const uint32_t size : {102399U, 102400U, 102401U, 500000U}) {
        inst_sw_profile_sdr_ext *large = new_profile_of_size(size);
        hooks::reset();
        EXPECT_EQ(store(large), 0U);
        EXPECT_EQ(hooks::calls(hooks::ENCODE), size > 102400 ? 2 : 1);
        EXPECT_EQ(hooks::lines()[0] == "Default buffer size too small, retrying " + std::to_string(size) + ", 102400",
                  size > 102400);
        EXPECT_EQ(fs::file_size(active_bin), size);
        inst_ldpath_free_swprofile_ext(&large);
    }
    hooks::fail(hooks::ENCODE, 0);
    Text error;
    EXPECT_EQ(store(profile, &error.ptr), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(hooks::lines().back(), "Error! buffer size is not sufficient, 102402, 102401");
    EXPECT_EQ(error.str(), "E:An internal error occurred while encoding the SDR software profile;");
}

TEST_F(PersistTest, FlatCopiesOfTheDefaultSdr)
{
    const auto write = [this](const char *key, uint8_t is_local, uint32_t vm_type, Text &error) {
        hooks::reset();
        return inst_write_sdr_swprofile_to_file2(key, is_local, 2, vm_type, profile, &error.ptr);
    };
    Text error;
    const std::string local = "/install_repo/local/sdr/default-sdr/qx-lcp-swprofile-active";
    EXPECT_EQ(write("default-sdr", 1, VERD_VM_LC_QX, error), 0U);
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.bin"), encoding_of(*profile));
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.txt"), read_file(local + ".txt"));
    EXPECT_EQ(hooks::events(),
              (Lines{"sync", "shell sync", "sync", "run cp -a " + local + ".bin /install_repo/local/ 2>&1",
                     "run cp -a " + local + ".txt /install_repo/local/ 2>&1", "sync"}));
    EXPECT_EQ(hooks::lines().back(), "Copied (file: " + local + ".txt)");
    for (const auto &[key, is_local, vm_type] : std::vector<std::tuple<const char *, uint8_t, uint32_t>>{
             {"default-sdr", 0, VERD_VM_QX}, {"other", 1, VERD_VM_QX}, {"default-sdr", 1, VERD_VM_UVF}}) {
        EXPECT_EQ(write(key, is_local, vm_type, error), 0U);
        EXPECT_EQ(hooks::calls(hooks::RUNCMD), 0);
    }
    EXPECT_EQ(error.str(), "");

    for (const int nth : {1, 2}) {
        Text failed;
        hooks::fail(hooks::RUNCMD, nth, EAGAIN);
        EXPECT_EQ(inst_write_sdr_swprofile_to_file2("default-sdr", 1, 2, VERD_VM_LC_QX, profile, &failed.ptr),
                  INSTCOMM_RC_FAILED);
        const std::string file = local + (nth == 1 ? ".bin" : ".txt");
        EXPECT_EQ(failed.str(),
                  "E:Failed to run the command 'cp -a " + file +
                      " /install_repo/local/' (Resource temporarily unavailable);" +
                      (nth == 1 ? "E:Failed to copy QX software profile file to install repository;" : ""));
        EXPECT_EQ(hooks::lines().back(), "Error! failed to copy " + file + " to /install_repo/local/");
    }
}

TEST_F(PersistTest, StoringUsesTheKeyOfTheRecord)
{
    inst_sw_profile_info &body = profile->sdr_sw_profile.sw_profile;
    char *const former = body.lv_name;
    char name[] = "part2";
    Text error;
    EXPECT_EQ(inst_ldpath_store_sdr_swprofile(profile, 0, 2, name, VERD_VM_QX, &error.ptr), 0U);
    EXPECT_EQ(body.lv_name, name);
    body.lv_name = former;
    EXPECT_EQ(hooks::lines()[0], "Storing global active SW Profile for QX (key=default-sdr), part_short_name=part2");
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_STREQ(fetched.body().lv_name, "part2");

    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    std::free(sdr.sdr_key);
    record::clear<&inst_sw_profile_sdr::sdr_key>(sdr);
    hooks::reset();
    EXPECT_EQ(inst_ldpath_store_sdr_swprofile(profile, 1, 1, name, VERD_VM_ADMIN, &error.ptr), 0U);
    EXPECT_EQ(body.lv_name, former);
    EXPECT_EQ(hooks::lines()[0], "Storing local committed SW Profile for Admin (key=null), part_short_name=part2");
    EXPECT_TRUE(fs::exists("/install_repo/local/kelo-swprofile-committed.bin"));

    EXPECT_EQ(inst_ldpath_store_sdr_swprofile(profile, 0, 2, nullptr, VERD_VM_QX, &error.ptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(error.str(),
              "E:Hit an unexpected NULL pointer while getting QX software profile file;E:Failed to get SDR "
              "software profile file;E:Failed to write software profile to file;");
    Text null;
    EXPECT_EQ(inst_ldpath_store_sdr_swprofile(nullptr, 0, 2, nullptr, VERD_VM_QX, &null.ptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(hooks::lines().back(), "Error! Parameter is NULL, inst_ldpath_store_sdr_swprofile, 1933");
    EXPECT_EQ(null.str(), "E:Hit an unexpected NULL pointer while storing QX software profile;");
    EXPECT_EQ(store(nullptr), INST_RC_INVALID_ARG);
}

TEST_F(PersistTest, FilesThatCantBeRead)
{
    const auto rc_of_fetch = [] {
        Fetched fetched;
        const uint64_t rc = fetch(fetched);
        EXPECT_EQ(fetched.ptr, nullptr);
        return rc;
    };
    const auto said = [](std::size_t from_end) { return hooks::lines()[hooks::lines().size() - from_end]; };
    EXPECT_EQ(rc_of_fetch(), INSTMGR_RC_ERRNO(ENOENT));
    EXPECT_EQ(said(2), "Error! Can't open file " + active_bin + ", 2 (No such file or directory)");
    EXPECT_EQ(said(1), "Error! inst_decode_sw_profile_ext failed, 4000127aca100002");

    write_file(active_bin, "");
    errno = EBUSY; // somebody else's
    EXPECT_EQ(rc_of_fetch(), INSTMGR_RC_ERRNO(0));
    EXPECT_EQ(said(2), "Error! Can't check file size for file " + active_bin);

    write_file(active_bin, "not a profile");
    EXPECT_EQ(rc_of_fetch(), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(said(2), "Error! Decoding sw_profile_ext failed, 2");

    hooks::before(hooks::FREAD, [this] { std::ofstream(active_bin, std::ios::app) << "more"; });
    EXPECT_EQ(rc_of_fetch(), INSTMGR_RC_INVALID_DATA);
    EXPECT_EQ(said(2), "Error! File " + active_bin + " is too large to read (over 14 bytes) ");

    for (const int nth : {1, 2}) {
        hooks::fail(hooks::FSEEK, nth, EIO);
        EXPECT_EQ(rc_of_fetch(), INSTMGR_RC_ERRNO(EIO));
        EXPECT_EQ(said(3), std::string("inst_get_file_size, ") + (nth == 1 ? "1756" : "1765") +
                               ": fseek failed, 5, Input/output error");
    }
    hooks::fail(hooks::FTELL); // -1
    EXPECT_EQ(rc_of_fetch(), INST_RC_NO_MEMORY);
    EXPECT_EQ(said(2), "Error! Can't allocate decode buffer");
    fs::resize_file(active_bin, INT32_MAX); // sparse
    EXPECT_EQ(rc_of_fetch(), INST_RC_NO_MEMORY);
    fs::resize_file(active_bin, (1ULL << 32) + 9);
    EXPECT_EQ(rc_of_fetch(), INSTMGR_RC_INVALID_DATA);

    fs::remove(active_bin);
    fs::create_directory(active_bin);
    EXPECT_NE(rc_of_fetch(), 0U);
}

} // namespace
