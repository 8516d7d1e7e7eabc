// Writing profiles to disk, verified, and reading them back.
#include "support/repository_test.h"

#include <fnmatch.h>

namespace
{

constexpr char BIN_FAILED[] = "E:Failed to write SDR software profile to .bin file;";

class PersistTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        profile = new_full_profile();
        length = std::to_string(encoding_of(*profile).size());
        fs::create_directories(fs::path(active_bin).parent_path());
    }
    void TearDown() override
    {
        inst_ldpath_free_swprofile_ext(&profile);
        RepositoryTest::TearDown();
    }

    Result stored()
    {
        return result_of([this](char **err) { return store(profile, err); });
    }

    // The lines of the binary writer only, but for its first.
    static Lines writer_lines()
    {
        Lines found = hooks::lines();
        std::erase_if(found, [](const std::string &line) {
            return !line.starts_with("inst_write_sdr_swprofile_to_file:") && !line.starts_with("un") &&
                   !line.starts_with("Unable");
        });
        return found;
    }

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
    fs::remove_all("/install_repo/gl"); // directories are made
    EXPECT_EQ(stored(), (Result{0, ""}));
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
    EXPECT_EQ(hooks::lines(), (Lines{"Software profile path for VM 3 (global), sdr default-sdr is " + active_bin,
                                     "Writing SW profile to " + active_bin + ", len=" + length}));
    EXPECT_EQ(hooks::events, (Lines{"sync", "shell sync", "sync", "sync"}));
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_EQ(encoding_of(*fetched.ptr), encoding_of(*profile));
    hooks::fail(hooks::CLOCK, hooks::ALWAYS);
    EXPECT_EQ(store(profile), 0U);
    EXPECT_EQ(read_file(active_txt).find("# Updated on <Unknown Time>       : .000 \n"), 20U);
}

TEST_F(PersistTest, AShortWriteEndsAfterOneAttempt)
{
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, 1, EBUSY);
    EXPECT_EQ(stored(), (Result{INSTMGR_RC_ERRNO(ENOSPC),
                                std::string("E:Hit an unexpected NULL pointer while writing QX software profile to "
                                            "file;") +
                                    BIN_FAILED}));
    EXPECT_FALSE(fs::exists(active_bin));
    EXPECT_FALSE(fs::exists(active_txt));
    const std::string written = std::to_string(std::stoi(length) - 1);
    EXPECT_EQ(writer_lines(), (Lines{error_line("writing", written, ENOSPC, "4000127aca10001c"),
                                     "inst_write_sdr_swprofile_to_file: Error! swprofile buffer is NULL"}));
    EXPECT_EQ(hooks::events, (Lines{"unlink " + active_bin, "sleep 4", "unlink " + active_bin, "sleep 4"}));

    hooks::reset();
    hooks::fail(hooks::FWRITE, 1, ENOSPC);
    hooks::fail(hooks::UNLINK, hooks::ALWAYS, EBUSY);
    EXPECT_EQ(stored().rc, INSTMGR_RC_ERRNO(ENOSPC));
    EXPECT_EQ(hooks::orders[hooks::UNLINK].calls, 5);
    EXPECT_EQ(hooks::orders[hooks::SLEEP].calls, 4 + 1);
    EXPECT_EQ(writer_lines()[0], "unlink " + active_bin + " fails");
}

TEST_F(PersistTest, AFileThatNeverMatchesIsTriedFiveTimes)
{
    const std::string attempts = "E:Failed to create software profile even after multiple attempts;";
    hooks::corrupts_reads = true;
    EXPECT_EQ(stored(), (Result{0, "E:Failed to fread() the file " + active_bin + " (Success);" + attempts}));
    EXPECT_FALSE(fs::exists(active_bin));
    EXPECT_TRUE(fs::exists(active_txt));
    const Lines lines = writer_lines();
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(lines[4], error_line("reading back", length, 0, "0"));
    EXPECT_EQ(lines[5], "Unable to create SW Profile successfully even after 4 trials");
    EXPECT_EQ(hooks::orders[hooks::SYNC].calls, 5 + 2);

    hooks::reset();
    hooks::corrupts_reads = true;
    hooks::fail(hooks::FWRITE, 5, EDQUOT); // the last attempt
    EXPECT_EQ(stored(), (Result{INSTMGR_RC_ERRNO(EDQUOT), "E:Failed to fwrite() to file " + active_bin +
                                                              " (Disk quota exceeded);" + attempts + BIN_FAILED}));
}

TEST_F(PersistTest, AFileThatCantBeVerifiedIsReportedAsStored)
{
    hooks::fail(hooks::FOPEN, 2, EACCES);
    EXPECT_EQ(stored(), (Result{0, ""})); // the second attempt was verified
    EXPECT_EQ(writer_lines(), Lines{error_line("opening", length, EACCES, "0")});
    EXPECT_EQ(hooks::orders[hooks::SLEEP].calls, 0);

    Result result = {1, ""};
    for (int nth = 1; result != Result{0, "E:Failed to allocate memory;"}; ++nth) { // until it is that of reading back
        hooks::reset();
        hooks::fail(hooks::ALLOCATION, nth, ENOMEM);
        result = stored();
        ASSERT_TRUE(hooks::orders[hooks::ALLOCATION].fired);
    }
    EXPECT_FALSE(fs::exists(active_bin));
    EXPECT_EQ(writer_lines(), Lines{error_line("malloc for", length, ENOMEM, "0")});
}

TEST_F(PersistTest, FilesThatCantBeOpened)
{
    fs::create_directories(active_bin);
    EXPECT_EQ(stored(), (Result{INSTMGR_RC_ERRNO(EISDIR),
                                "E:Failed to fopen() file " + active_bin + " (Is a directory);" + BIN_FAILED}));
    EXPECT_EQ(writer_lines(), Lines{"inst_write_sdr_swprofile_to_file: Error! Can't open file " + active_bin +
                                    ", 21 (Is a directory), rc=4000127aca100015"});
    fs::remove(active_bin);

    fs::create_directories(active_txt); // the new .bin stays
    EXPECT_EQ(stored(), (Result{INSTMGR_RC_ERRNO(EISDIR),
                                "E:Failed to fopen() the file " + active_txt +
                                    " (Is a directory);E:Failed to write SDR software profile to .txt file;"}));
    EXPECT_EQ(read_file(active_bin), encoding_of(*profile));

    fs::remove_all("/install_repo/gl");
    hooks::fail(hooks::MAKE_DIRECTORIES, 1, EROFS); // the errno is that of the file's opening
    EXPECT_EQ(stored().rc, INSTMGR_RC_ERRNO(ENOENT));
    write_file("/install_repo/gl/instdb", "in the way");
    EXPECT_EQ(stored().rc, INSTMGR_RC_ERRNO(ENOTDIR));

    fs::remove_all("/install_repo/gl");
    fs::create_directories(fs::path(active_bin).parent_path());
    fs::create_symlink("/install_repo/elsewhere/x", active_bin); // dangling
    EXPECT_EQ(stored().rc, INSTMGR_RC_ERRNO(ENOENT));
    fs::create_directories("/install_repo/elsewhere");
    EXPECT_EQ(stored().rc, 0U);
    EXPECT_EQ(read_file("/install_repo/elsewhere/x"), encoding_of(*profile));
}

TEST_F(PersistTest, TheEncodeBufferGrowsOnce)
{
    for (const uint32_t size : {102399U, 102400U, 102401U, 500000U}) {
        inst_sw_profile_sdr_ext *large = new_profile_of_size(size);
        hooks::reset();
        EXPECT_EQ(store(large), 0U);
        EXPECT_EQ(hooks::orders[hooks::ENCODE].calls, size > 102400 ? 2 : 1);
        EXPECT_EQ(hooks::lines()[0] == "Default buffer size too small, retrying " + std::to_string(size) + ", 102400",
                  size > 102400);
        EXPECT_EQ(fs::file_size(active_bin), size);
        inst_ldpath_free_swprofile_ext(&large);
    }
    hooks::fail(hooks::ENCODE, hooks::ALWAYS);
    EXPECT_EQ(stored(), (Result{INSTMGR_RC_INVALID_DATA,
                                "E:An internal error occurred while encoding the SDR software profile;"}));
    EXPECT_EQ(hooks::lines().back(), "Error! buffer size is not sufficient, 102402, 102401");

    hooks::fail(hooks::ENCODE, 1, 0); // nothing was encoded
    EXPECT_EQ(stored().rc, INSTMGR_RC_EMPTY_SWPROFILE);
    EXPECT_EQ(hooks::lines()[hooks::lines().size() - 2], "error: being asked to create SW Profile of 0 bytes");
}

TEST_F(PersistTest, FlatCopiesOfTheDefaultSdr)
{
    const auto write = [this](const char *key, uint8_t is_local, uint32_t vm_type, int failing_copy = 0) {
        hooks::reset();
        if (failing_copy != 0) {
            hooks::fail(hooks::RUNCMD, failing_copy, EAGAIN);
        }
        return result_of(
            [&](char **err) { return inst_write_sdr_swprofile_to_file2(key, is_local, 2, vm_type, profile, err); });
    };
    const std::string local = "/install_repo/local/sdr/default-sdr/qx-lcp-swprofile-active";
    EXPECT_EQ(write("default-sdr", 1, VERD_VM_LC_QX), (Result{0, ""}));
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.bin"), encoding_of(*profile));
    EXPECT_EQ(read_file("/install_repo/local/qx-lcp-swprofile-active.txt"), read_file(local + ".txt"));
    EXPECT_EQ(hooks::events,
              (Lines{"sync", "shell sync", "sync", "run cp -a " + local + ".bin /install_repo/local/ 2>&1",
                     "run cp -a " + local + ".txt /install_repo/local/ 2>&1", "sync"}));
    EXPECT_EQ(hooks::lines().back(), "Copied (file: " + local + ".txt)");
    for (const int nth : {1, 2}) {
        const std::string file = local + (nth == 1 ? ".bin" : ".txt");
        EXPECT_EQ(write("default-sdr", 1, VERD_VM_LC_QX, nth),
                  (Result{INSTCOMM_RC_FAILED,
                          "E:Failed to run the command 'cp -a " + file +
                              " /install_repo/local/' (Resource temporarily unavailable);" +
                              (nth == 1 ? "E:Failed to copy QX software profile file to install repository;" : "")}));
        EXPECT_EQ(hooks::lines().back(), "Error! failed to copy " + file + " to /install_repo/local/");
    }
    EXPECT_EQ(write("default-sdr", 0, VERD_VM_QX).rc, 0U);
    EXPECT_EQ(hooks::orders[hooks::RUNCMD].calls, 0);
    EXPECT_EQ(write("other", 1, VERD_VM_QX).rc, 0U);
    EXPECT_EQ(hooks::orders[hooks::RUNCMD].calls, 0);
    EXPECT_EQ(write("default-sdr", 1, VERD_VM_UVF).rc, 0U);
    EXPECT_EQ(hooks::orders[hooks::RUNCMD].calls, 0);
}

TEST_F(PersistTest, StoringUsesTheKeyOfTheRecord)
{
    inst_sw_profile_sdr &sdr = profile->sdr_sw_profile;
    char *const former = sdr.sw_profile.lv_name;
    char name[] = "part2";
    const auto store_as = [&](inst_sw_profile_sdr_ext *which, uint8_t is_local, int32_t state, uint32_t vm_type) {
        hooks::reset();
        return result_of(
            [&](char **err) { return inst_ldpath_store_sdr_swprofile(which, is_local, state, name, vm_type, err); });
    };
    EXPECT_EQ(store_as(profile, 0, VERD_SWP_ACTIVE, VERD_VM_QX), (Result{0, ""}));
    EXPECT_EQ(std::exchange(sdr.sw_profile.lv_name, former), name); // the caller's own text
    EXPECT_EQ(hooks::lines()[0], "Storing global active SW Profile for QX (key=default-sdr), part_short_name=part2");
    Fetched fetched;
    ASSERT_EQ(fetch(fetched), 0U);
    EXPECT_STREQ(fetched.body().lv_name, "part2");

    std::free(sdr.sdr_key);
    record::clear<&inst_sw_profile_sdr::sdr_key>(sdr);
    EXPECT_EQ(store_as(profile, 1, VERD_SWP_COMMITTED, VERD_VM_ADMIN), (Result{0, ""}));
    EXPECT_EQ(sdr.sw_profile.lv_name, former);
    EXPECT_EQ(hooks::lines()[0], "Storing local committed SW Profile for Admin (key=null), part_short_name=part2");
    EXPECT_TRUE(fs::exists("/install_repo/local/kelo-swprofile-committed.bin"));
    EXPECT_EQ(store_as(profile, 0, VERD_SWP_ACTIVE, VERD_VM_QX),
              (Result{INST_RC_INVALID_ARG, "E:Hit an unexpected NULL pointer while getting QX software profile file;"
                                           "E:Failed to get SDR software profile file;"
                                           "E:Failed to write software profile to file;"}));
    const Result refused = {INST_RC_INVALID_ARG, "E:Hit an unexpected NULL pointer while storing QX software profile;"};
    EXPECT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_QX), refused);
    EXPECT_EQ(hooks::lines(), Lines{"Error! Parameter is NULL, inst_ldpath_store_sdr_swprofile, 1933"});
    EXPECT_EQ(result_of([](char **err) { return store(nullptr, err); }), refused);
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

    hooks::before_read = [this] { std::ofstream(active_bin, std::ios::app) << "more"; };
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
