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
    static void given(const Lines &files)
    {
        fs::remove_all(LOCAL);
        for (const std::string &file : files) {
            write_file(file, file);
        }
        hooks::reset();
    }

    static Lines files_of(const std::initializer_list<std::string> &states)
    {
        Lines files;
        for (const std::string &state : states) {
            for (const std::string extension : {".bin", ".txt"}) {
                files.push_back(LOCAL_QX + state + extension);
                files.push_back(LOCAL + ("qx-swprofile-" + state) + extension);
            }
        }
        return files;
    }

    uint64_t promote(const std::string &title, const char *key = "default-sdr", uint8_t is_local = 1)
    {
        return TELL("promote: " + title, inst_ldpath_swp_move_prep_to_act(key, is_local, VERD_VM_QX, err));
    }

    uint64_t copy(const std::string &title, int32_t from = VERD_SWP_ACTIVE, int32_t to = VERD_SWP_COMMITTED,
                  const char *key = "default-sdr", uint32_t vm_type = VERD_VM_QX)
    {
        return TELL("copy: " + title, inst_ldpath_swp_copy(key, 1, vm_type, from, to, err));
    }
};

TEST_F(LifecycleTest, Deleting)
{
    given(files_of({"active", "prepared"}));
    const auto delete_all = [this](const std::string &title, const char *key, uint8_t is_local, uint32_t vm_type) {
        TELL(title, inst_ldpath_delete_swprofile(key, is_local, vm_type));
    };
    TELL("delete a file", inst_ldpath_delete_swprofile_file((std::string(LOCAL_QX) + "active.bin").c_str()));
    delete_all("delete all states", "default-sdr", 1, VERD_VM_QX);
    delete_all("delete what isn't there", nullptr, 0, VERD_VM_ADMIN);
    delete_all("delete without a key", nullptr, 1, VERD_VM_QX);
    delete_all("delete a Host's", "s", 0, VERD_VM_HOST);
    TELL("delete nothing", inst_ldpath_delete_swprofile_file(nullptr));
    write_file("/install_repo/x", "");
    TELL("delete another file", inst_ldpath_delete_swprofile_file("/install_repo/x"));
}

TEST_F(LifecycleTest, Promoting)
{
    given(files_of({"active", "prepared"}));
    EXPECT_EQ(promote("everything is there"), 0U);
    EXPECT_EQ(read_file(std::string(LOCAL_QX) + "active.txt"), std::string(LOCAL_QX) + "prepared.txt");
    promote("nothing is prepared");
    given(files_of({"active"}));
    write_file(std::string(LOCAL_QX) + "prepared.bin", "");
    promote("an empty file is prepared");
    given({std::string(LOCAL_QX) + "prepared.bin", std::string(LOCAL_QX) + "active.txt"});
    promote("no twin is prepared");
    given({"/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-prepared.bin",
           LOCAL + std::string("qx-swprofile-prepared.bin")});
    promote("a global profile leaves the flat copies alone", "default-sdr", 0);
    promote("no key", nullptr, 0);
    given(files_of({"prepared"}));
    failing(hooks::RUNCMD, 2, EROFS);
    promote("a flat copy can't be moved");
}

TEST_F(LifecycleTest, Copying)
{
    given(files_of({"active", "committed"}));
    EXPECT_EQ(copy("everything is there"), 0U);
    for (const std::string &file : files_of({"committed"})) {
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
    given(files_of({"active"}));
    failing(hooks::SYSTEM, 2, EROFS);
    copy("the twin can't be copied");
    given(files_of({"active"}));
    failing(hooks::RUNCMD, 2, EROFS);
    copy("a flat copy can't be copied");
}

} // namespace
