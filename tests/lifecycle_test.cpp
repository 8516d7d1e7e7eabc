// Deleting profiles, promoting them and copying them between states.
#include "support/repository_test.h"

namespace
{

constexpr char LOCAL[] = "/install_repo/local/";
constexpr char LOCAL_QX[] = "/install_repo/local/sdr/default-sdr/qx-swprofile-";

class LifecycleTest : public RepositoryTest
{
protected:
    // Files that aren't profiles: nothing here looks into them.
    static void given(const std::vector<std::string> &files)
    {
        for (const fs::directory_entry &entry : fs::directory_iterator("/install_repo")) {
            fs::remove_all(entry);
        }
        for (const std::string &file : files) {
            write_file(file, file);
        }
        hooks::reset();
    }

    static std::vector<std::string> files_of(const std::string &state)
    {
        std::vector<std::string> files;
        for (const std::string extension : {".bin", ".txt"}) {
            files.push_back(LOCAL_QX + state + extension);
            files.push_back(LOCAL + ("qx-swprofile-" + state) + extension);
        }
        return files;
    }

    static std::vector<std::string> files_of(const std::string &a, const std::string &b)
    {
        std::vector<std::string> files = files_of(a);
        const std::vector<std::string> others = files_of(b);
        files.insert(files.end(), others.begin(), others.end());
        return files;
    }

    uint64_t promote(const std::string &title, const char *key = "default-sdr", uint8_t is_local = 1,
                     uint32_t vm_type = VERD_VM_QX)
    {
        return tell("promote: " + title, [&](char **err) {
            std::exchange(fault, [] {})();
            return inst_ldpath_swp_move_prep_to_act(key, is_local, vm_type, err);
        });
    }

    uint64_t copy(const std::string &title, int32_t from = VERD_SWP_ACTIVE, int32_t to = VERD_SWP_COMMITTED,
                  const char *key = "default-sdr", uint32_t vm_type = VERD_VM_QX)
    {
        return tell("copy: " + title, [&](char **err) {
            std::exchange(fault, [] {})();
            return inst_ldpath_swp_copy(key, 1, vm_type, from, to, err);
        });
    }

    std::function<void()> fault = [] {}; // of the next promotion or copy
};

TEST_F(LifecycleTest, Deleting)
{
    given(files_of("active", "prepared"));
    const auto delete_all = [this](const std::string &title, const char *key, uint8_t is_local, uint32_t vm_type) {
        tell(title, [&](char **) { return inst_ldpath_delete_swprofile(key, is_local, vm_type); });
    };
    const auto delete_file = [this](const char *path) {
        tell(std::string("delete ") + (path == nullptr ? "nothing" : path),
             [&](char **) { return inst_ldpath_delete_swprofile_file(path); });
    };
    delete_file((std::string(LOCAL_QX) + "active.bin").c_str());
    delete_all("delete all states", "default-sdr", 1, VERD_VM_QX);
    delete_all("delete what isn't there", nullptr, 0, VERD_VM_ADMIN);
    delete_all("delete without a key", nullptr, 1, VERD_VM_QX);
    delete_all("delete a Host's", "s", 0, VERD_VM_HOST);
    delete_file(nullptr);
    write_file("/install_repo/x", "");
    delete_file("/install_repo/x");
    given(files_of("active"));
    tell("delete with memory for one state", [](char **) {
        hooks::fail(hooks::ALLOCATION, 4); // path, twin and copy of the first one
        return inst_ldpath_delete_swprofile("default-sdr", 1, VERD_VM_QX);
    });
}

TEST_F(LifecycleTest, Promoting)
{
    given(files_of("active", "prepared"));
    EXPECT_EQ(promote("everything is there"), 0U);
    EXPECT_EQ(read_file(std::string(LOCAL_QX) + "active.txt"), std::string(LOCAL_QX) + "prepared.txt");
    promote("nothing is prepared");
    given(files_of("active"));
    write_file(std::string(LOCAL_QX) + "prepared.bin", "");
    promote("an empty file is prepared");
    given({std::string(LOCAL_QX) + "prepared.bin", std::string(LOCAL_QX) + "active.txt"});
    promote("no twin is prepared");
    given({"/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-prepared.bin",
           LOCAL + std::string("qx-swprofile-prepared.bin")});
    promote("a global profile leaves the flat copies alone", "default-sdr", 0);
    promote("no key", nullptr, 0);
}

TEST_F(LifecycleTest, PromotingFailsAtEachStep)
{
    const struct {
        const char *title;
        hooks::Function function;
        int nth;
    } steps[] = {{"rename", hooks::RENAME, 1},
                 {"moving the twin", hooks::SYSTEM, 1},
                 {"the first flat copy", hooks::RUNCMD, 1},
                 {"the second flat copy", hooks::RUNCMD, 2},
                 {"naming the active file", hooks::ALLOCATION, 3}};
    for (const auto &step : steps) {
        given(files_of("active", "prepared"));
        fault = [&] { hooks::fail(step.function, step.nth, EROFS); };
        EXPECT_NE(promote(step.title), 0U);
    }
}

TEST_F(LifecycleTest, Copying)
{
    given(files_of("active", "committed"));
    EXPECT_EQ(copy("everything is there"), 0U);
    for (const std::string &file : files_of("committed")) {
        EXPECT_NE(read_file(file).find("active"), std::string::npos) << file;
    }
    copy("the same state", VERD_SWP_ACTIVE, VERD_SWP_ACTIVE);
    copy("nothing to copy", VERD_SWP_PREPARED);
    copy("no such state", 9);
    copy("to no such state", VERD_SWP_ACTIVE, 9);
    given({std::string(LOCAL) + "sdr/s/uvf-swprofile-active.bin",
           std::string(LOCAL) + "sdr/s/uvf-swprofile-committed.txt"});
    copy("no twin, no flat copies", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, "s", VERD_VM_UVF);
    const std::string key(100, 'k'); // the command is cut, and makes a file of another name
    given({LOCAL + ("sdr/" + key) + "/qx-swprofile-active.bin"});
    copy("a command that is cut", VERD_SWP_ACTIVE, VERD_SWP_COMMITTED, key.c_str());
    given(files_of("active"));
    fault = [] { hooks::fail(hooks::SYSTEM, 2, EROFS); };
    copy("the twin can't be copied");
    given(files_of("active"));
    fault = [] { hooks::fail(hooks::RUNCMD, 2, EROFS); };
    copy("a flat copy can't be copied");
}

} // namespace
