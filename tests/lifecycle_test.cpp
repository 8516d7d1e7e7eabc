// Deleting profiles, promoting them and copying them between states.
#include "support/repository_test.h"

namespace
{

// The files of a state of the local QX profile of default-sdr. They may have any content: these operations do not
// decode them.
std::vector<fs::path> files_of(const std::string &state)
{
    const std::string file = LOCAL_QX + state, copy = FLAT_QX + state;
    return {file + ".bin", file + ".txt", copy + ".bin", copy + ".txt"};
}

void write_states(const Lines &states)
{
    for (const std::string &state : states) {
        for (const fs::path &file : files_of(state)) {
            write_file(file, state + file.extension().string());
        }
    }
}

// Expects that the files of a state have been moved or copied from another state, the origin.
void expect_origin(const std::string &state, const std::string &origin)
{
    for (const fs::path &file : files_of(state)) {
        EXPECT_EQ(read_file(file), origin + file.extension().string());
    }
}

using LifecycleTest = RepositoryTest;

TEST_F(LifecycleTest, Deleting)
{
    write_states({"active", "prepared"});
    RECORD("a file", inst_ldpath_delete_swprofile_file("/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin"));
    RECORD("all states", inst_ldpath_delete_swprofile("default-sdr", 1, VERD_VM_QX));
    RECORD("Host has no profile", inst_ldpath_delete_swprofile("s", 0, VERD_VM_HOST));
    write_file("/install_repo/x", "");
    RECORD("a file without extension", inst_ldpath_delete_swprofile_file("/install_repo/x"));
}

TEST_F(LifecycleTest, Promoting)
{
    const auto promote = [this](const std::string &title, uint8_t is_local) {
        RECORD(title, inst_ldpath_swp_move_prep_to_act("default-sdr", is_local, VERD_VM_QX, err));
    };
    write_states({"active", "prepared"});
    promote("over an active profile", 1);
    expect_origin("active", "prepared");
    fs::remove_all("/install_repo/local");
    write_file(LOCAL_QX + std::string("prepared.bin"), "new");
    write_file(LOCAL_QX + std::string("active.txt"), "old");
    promote("without text twin and flat copies", 1);
    write_file(GLOBAL_QX + std::string("prepared.bin"), "new");
    write_file(FLAT_QX + std::string("prepared.bin"), "new");
    promote("a global profile has no flat copies", 0);
}

TEST_F(LifecycleTest, Copying)
{
    const auto copy = [this](const std::string &title, int32_t from = VERD_SWP_ACTIVE, int32_t to = VERD_SWP_COMMITTED,
                             const char *key = "default-sdr", uint32_t vm_type = VERD_VM_QX) {
        RECORD(title, inst_ldpath_swp_copy(key, 1, vm_type, from, to, err));
    };
    write_states({"active", "committed"});
    copy("over a committed profile");
    expect_origin("committed", "active");
    copy("the same state", VERD_SWP_ACTIVE, VERD_SWP_ACTIVE);
    copy("no prepared profile", VERD_SWP_PREPARED);
    copy("from state 9", 9);
    copy("to state 9", VERD_SWP_ACTIVE, 9);
    write_file("/install_repo/local/sdr/s/uvf-swprofile-active.bin", "new");
    write_file("/install_repo/local/sdr/s/uvf-swprofile-committed.txt", "old");
    copy("without text twin; UVF has no flat copies", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, "s", VERD_VM_UVF);
    const std::string key(100, 'k'); // the shell command is cut, and creates a file of another name
    write_file("/install_repo/local/sdr/" + key + "/qx-swprofile-active.bin", "new");
    copy("a command that is too long", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, key.c_str());
}

} // namespace
