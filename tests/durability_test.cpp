// What the library does to get profiles onto the disk, and what it leaves there if the disk is full.
#include "support/repository_test.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{

constexpr char LOCAL_QX[] = "/install_repo/local/sdr/default-sdr/qx-swprofile-";

class DurabilityTest : public RepositoryTest
{
protected:
    const Fetched profile = {new_full_profile()};
    const Fetched longer = {new_profile_of_size(9000)};

    uint64_t store_local(int32_t state, const Fetched &stored, char **err = nullptr) const
    {
        return inst_write_sdr_swprofile_to_file2("default-sdr", 1, state, VERD_VM_QX, stored.ptr, err);
    }

    // The syncs and moves of a call, in their order.
    static std::string durable_steps_of(const std::function<uint64_t()> &call)
    {
        hooks::events.clear();
        EXPECT_EQ(call(), 0U);
        std::string steps;
        for (const std::string &event : hooks::events) {
            for (const char *const step : {"> sync", "> shell sync", "> fsync", "> fdatasync", "> rename",
                                           "> system mv", "> system cp", "> run mv", "> run cp"}) {
                steps += event.starts_with(step) ? (steps.empty() ? "" : ", ") + std::string(step + 2) : "";
            }
        }
        return steps;
    }
};

// Fills the file system, then makes room for so many pages.
void leave_free(uint64_t pages)
{
    constexpr std::size_t PAGE = 4096;
    const char page[PAGE] = {};
    const int filler = open("/install_repo/filler", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    off_t size = 0;
    for (ssize_t written; (written = write(filler, page, PAGE)) > 0;) {
        size += written;
    }
    EXPECT_EQ(ftruncate(filler, size - static_cast<off_t>(pages * PAGE)), 0);
    close(filler);
}

TEST_F(DurabilityTest, SyncsAndMoves)
{
    const struct {
        const char *name;
        std::function<uint64_t()> call;
        const char *steps;
    } cases[] = {
        {"store", [&] { return store(profile.ptr); }, "sync, shell sync, sync, sync"},
        {"store with flat copies", [&] { return store_local(VERD_SWP_ACTIVE, profile); },
         "sync, shell sync, sync, run cp, run cp, sync"},
        {"copy",
         [] { return inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_PREPARED, nullptr); },
         "system cp, system cp, sync"},
        {"copy with flat copies",
         [] { return inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_PREPARED, nullptr); },
         "system cp, system cp, sync, run cp, run cp, sync"},
        {"promote", [] { return inst_ldpath_swp_move_prep_to_act("default-sdr", 0, VERD_VM_QX, nullptr); },
         "rename, system mv, sync"},
        {"promote with flat copies",
         [] { return inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, nullptr); },
         "rename, system mv, sync, run mv, run mv, sync"},
        {"delete", [&] { return inst_ldpath_delete_swprofile_file(active_bin.c_str()); }, "sync"},
        {"delete all states", [] { return inst_ldpath_delete_swprofile("default-sdr", 1, VERD_VM_QX); },
         "sync, sync, sync"},
    };
    for (const auto &[name, call, steps] : cases) {
        EXPECT_EQ(durable_steps_of(call), steps) << name;
    }
}

// Runs in a small file system, in which each number of pages is left free.
TEST_F(DurabilityTest, InLittleSpace)
{
    struct statvfs system = {};
    statvfs("/install_repo", &system);
    if (system.f_blocks >= 1000) {
        GTEST_SKIP() << "/install_repo is no small file system: SWP_REPOSITORY_SIZE=1200000 has no effect here";
    }
    const std::string old = encoding_of(*profile.ptr);
    const std::string added = encoding_of(*longer.ptr);
    const struct {
        const char *name;
        std::function<uint64_t(char **)> call;
        bool copies; // by `cp`, which leaves a part of the file
    } cases[] = {
        {"store", [&](char **err) { return store_local(VERD_SWP_ACTIVE, longer, err); }, false},
        {"copy",
         [](char **err) {
             return inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, VERD_SWP_PREPARED, VERD_SWP_ACTIVE, err);
         },
         true},
        {"promote", [](char **err) { return inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, err); },
         false},
    };
    const std::string bin = std::string(LOCAL_QX) + "active.bin";
    int failures = 0;
    for (const auto &[name, call, copies] : cases) {
        bool is_done = false;
        for (uint64_t pages = 0; !is_done; ++pages) {
            fs::remove_all("/install_repo/local");
            ASSERT_EQ(store_local(VERD_SWP_ACTIVE, profile) | store_local(VERD_SWP_PREPARED, longer), 0U);
            leave_free(pages);
            Text error;
            const uint64_t rc = call(&error.ptr);
            const std::string found = read_file(bin);
            const std::string flat_copy = read_file("/install_repo/local/qx-swprofile-active.bin");
            fs::remove("/install_repo/filler");
            const std::string when = std::string(name) + ", " + std::to_string(pages) + " pages";
            EXPECT_TRUE(found == added || rc != 0 || error.ptr != nullptr) << when << " failed without a word";
            EXPECT_TRUE(found == old || found == added || found.empty() || (copies && added.starts_with(found)))
                << when;
            EXPECT_TRUE(flat_copy == added || rc != 0) << when;
            Fetched fetched;
            EXPECT_EQ(inst_ldpath_get_swprofile("default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX, &fetched.ptr, nullptr) ==
                          0,
                      found == old || found == added)
                << when;
            is_done = rc == 0 && found == added && flat_copy == added;
            failures += is_done ? 0 : 1;
        }
    }
    std::printf("%d operations without enough space\n", failures);
    EXPECT_GT(failures, 3);
}

} // namespace
