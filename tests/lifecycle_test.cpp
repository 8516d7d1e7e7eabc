// Deleting profiles, promoting them and copying them between states.
#include "support/repository_test.h"

namespace
{

// Files that are no profiles: these operations do not read them. Each has its own path as its content.
void write_files(const Lines &paths)
{
    fs::remove_all("/install_repo/local");
    for (const std::string &path : paths) {
        write_file("/install_repo/" + path, path);
    }
}

// The four files of each state of the local QX profile of default-sdr.
void write_states(const Lines &states)
{
    Lines paths;
    for (const std::string &state : states) {
        for (const std::string folder : {"local/sdr/default-sdr", "local"}) {
            paths.push_back(folder + "/qx-swprofile-" + state + ".bin");
            paths.push_back(folder + "/qx-swprofile-" + state + ".txt");
        }
    }
    write_files(paths);
}

// The state from which the text twin and the flat copies of this state were moved or copied.
std::string origin_of(const std::string &state)
{
    std::string origins;
    for (const std::string &file : {"sdr/default-sdr/qx-swprofile-" + state + ".txt", "qx-swprofile-" + state + ".bin",
                                    "qx-swprofile-" + state + ".txt"}) {
        const std::string path = read_file("/install_repo/local/" + file);
        origins += path.substr(std::min(path.size(), path.rfind('-') + 1)) + " ";
    }
    return origins;
}

using LifecycleTest = RepositoryTest;

TEST_F(LifecycleTest, Deleting)
{
    write_states({"active", "prepared"});
    RECORD("a file", inst_ldpath_delete_swprofile_file("/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin"));
    RECORD("all states", inst_ldpath_delete_swprofile("default-sdr", 1, VERD_VM_QX));
    RECORD("no key", inst_ldpath_delete_swprofile(nullptr, 1, VERD_VM_QX));
    RECORD("Host has no profile", inst_ldpath_delete_swprofile("s", 0, VERD_VM_HOST));
    RECORD("no path", inst_ldpath_delete_swprofile_file(nullptr));
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
    EXPECT_EQ(origin_of("active"), "prepared.txt prepared.bin prepared.txt ");
    write_files({"local/sdr/default-sdr/qx-swprofile-prepared.bin", "local/sdr/default-sdr/qx-swprofile-active.txt"});
    promote("without text twin and flat copies", 1);
    write_files({"gl/instdb/sdr/default-sdr/qx-swprofile-prepared.bin", "local/qx-swprofile-prepared.bin"});
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
    EXPECT_EQ(origin_of("committed"), "active.txt active.bin active.txt ");
    copy("the same state", VERD_SWP_ACTIVE, VERD_SWP_ACTIVE);
    copy("no prepared profile", VERD_SWP_PREPARED);
    copy("from state 9", 9);
    copy("to state 9", VERD_SWP_ACTIVE, 9);
    write_files({"local/sdr/s/uvf-swprofile-active.bin", "local/sdr/s/uvf-swprofile-committed.txt"});
    copy("without text twin; UVF has no flat copies", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, "s", VERD_VM_UVF);
    const std::string key(100, 'k'); // the command is cut, and creates a file of another name
    write_files({"local/sdr/" + key + "/qx-swprofile-active.bin"});
    copy("a command that is too long", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, key.c_str());
}

} // namespace
