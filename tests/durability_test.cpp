// What the library does to get profiles onto the disk.
#include "support/repository_test.h"

namespace
{

using DurabilityTest = RepositoryTest;

// The syncs and moves of a call, in their order.
std::string durable_steps_of(const std::function<uint64_t()> &call)
{
    hooks::events.clear();
    EXPECT_EQ(call(), 0U);
    std::string steps;
    for (const std::string &event : hooks::events) {
        for (const char *const step : {"> sync", "> shell sync", "> fsync", "> fdatasync", "> rename", "> system mv",
                                       "> system cp", "> run mv", "> run cp"}) {
            steps += event.starts_with(step) ? (steps.empty() ? "" : ", ") + std::string(step + 2) : "";
        }
    }
    return steps;
}

TEST_F(DurabilityTest, SyncsAndMoves)
{
    const Fetched profile = {new_full_profile()};
    const struct {
        const char *name;
        std::function<uint64_t()> call;
        const char *steps;
    } cases[] = {
        {"store", [&] { return store(profile.ptr); }, "sync, shell sync, sync, sync"},
        {"store with flat copies", [&] { return store_as("default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX, profile); },
         "sync, shell sync, sync, run cp, run cp, sync"},
        {"copy with flat copies",
         [] { return inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_PREPARED, nullptr); },
         "system cp, system cp, sync, run cp, run cp, sync"},
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

} // namespace
