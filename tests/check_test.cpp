// The profiles and inconsistencies that the command finds in a repository.
#include "support/command_test.h"

namespace
{

TEST_F(CommandTest, ListCheckAndRepair)
{
    run(create + "--local");
    run(create + "--vm uvf");
    const Fetched profile = {new_full_profile()}; // whose lists of service packs disagree
    store_as("other", 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile);
    const nlohmann::json package = json_of("show --sdr other --json")["packages"][0];
    EXPECT_EQ(package["marker"], true);
    EXPECT_EQ(package["extra_list"][0], "extra"); // also fields that no option of create sets
    fs::remove("/install_repo/local/qx-swprofile-active.txt");
    fs::create_directory("/install_repo/local/sdr/default-sdr/qx-swprofile-committed.bin");
    const std::string uvf_twin = "/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.txt";
    for (const auto &[file, content] :
         {std::pair<std::string, std::string>{"/install_repo/local/qx-swprofile-active.bin", "junk"},
          {"/install_repo/local/sdr/default-sdr/qx-swprofile-prepared.txt", ""},
          {uvf_twin, "another head: " + read_file(uvf_twin)},
          {"/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", ""},
          {"/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-activ", ""},
          {"/install_repo/gl/instdb/kelo-master-swprofile-active.bin", "junk"},
          {"/install_repo/gl/instdb/sdr/-x/qx-swprofile-active.bin", ""}}) {
        write_file(file, content);
    }
    record_run("list");
    EXPECT_EQ(json_of("list --json")["profiles"][0],
              nlohmann::json::parse(R"({"vm_type": "Admin", "state": "active", "scope": "global", "health": "damaged",
                  "path": "/install_repo/gl/instdb//kelo-master-swprofile-active.bin"})"));
    record_run("check");
    EXPECT_EQ(json_of("check --json")["findings"][2]["code"], "twin-differs");
    expect({{"check --vm uvf", 1, ""}, {"check --sdr other", 1, ""}, {"check --vm uvf --local", 3, ""}});
    expect({{"repair --dry-run", 1,
             "would remove /install_repo/local/sdr/default-sdr/qx-swprofile-prepared.txt: a text"}});
    record_run("repair");
    EXPECT_EQ(json_of("check --json")["findings"].size(), 8U);
    expect({{"repair --local --state prepared", 0, "nothing to repair\n"}});
    fs::remove_all("/install_repo/local");
    fs::create_directory_symlink("gl/instdb", "/install_repo/local");
    expect({{"delete --vm uvf --state active --yes", 1,
             "are in one directory"}}); // the command would wait for its own lock
}

} // namespace
