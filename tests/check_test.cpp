// What the command finds in a repository.
#include "support/command_test.h"

namespace
{

constexpr char LOCAL[] = "/install_repo/local/sdr/default-sdr/qx-swprofile-";

TEST_F(CommandTest, CheckFindsWhatIsWrong)
{
    const std::string global = "/install_repo/gl/instdb/";
    run(create + "--local");
    run(create + "--vm uvf");
    const Fetched profile = {new_full_profile()}; // whose lists of service packs disagree
    store_as("other", 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile);
    const nlohmann::json package = json_of("show --sdr other --json")["packages"][0];
    EXPECT_EQ(package["marker"], true);
    EXPECT_EQ(package["extra_list"][0], "extra"); // what is carried along is shown
    fs::remove("/install_repo/local/qx-swprofile-active.txt");
    fs::create_directory(LOCAL + std::string("committed.bin"));
    for (const auto &[file, content] :
         {std::pair{"/install_repo/local/qx-swprofile-active.bin", "junk"},
          {"/install_repo/local/sdr/default-sdr/qx-swprofile-prepared.txt", ""},
          {"/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.txt", "\n\nVM\n"},
          {"/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", ""},
          {"/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-activ", ""},
          {"/install_repo/gl/instdb/kelo-master-swprofile-active.bin", "junk"},
          {"/install_repo/gl/instdb/sdr/x", ""}}) {
        write_file(file, content);
    }
    record_run("check");
    EXPECT_EQ(json_of("check --json")["findings"][2]["code"], "twin-differs");
    EXPECT_EQ(run("check --vm uvf").code, 1); // every profile that matches
    EXPECT_EQ(run("check --sdr other").code, 1);
    EXPECT_EQ(run("check --vm uvf --local").code, 3);
    record_run("repair --dry-run");
    record_run("repair"); // not the rest
    EXPECT_EQ(json_of("check --json")["findings"].size(), 8U);
    EXPECT_EQ(run("repair --local --state prepared").out, "nothing to repair\n");
}

// Stores two profiles and has a promotion or a copy fail. Did it?
bool is_broken(bool is_promotion, hooks::Function function, int nth, uint64_t &rc)
{
    hooks::reset();
    hooks::fail(function, nth);
    rc = is_promotion ? inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, nullptr)
                      : inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, VERD_SWP_PREPARED, VERD_SWP_ACTIVE, nullptr);
    hooks::disarm();
    return hooks::orders[function].fired;
}

// Every call into the system of a promotion and of a copy fails once, as if the process had been killed before it. What
// is left is found by the check, and mended as docs/contract.md says.
TEST_F(CommandTest, WhatBrokenTransitionsLeaveIsFoundAndMended)
{
    const std::string active = LOCAL + std::string("active.bin"), prepared = LOCAL + std::string("prepared.bin");
    Lines broken;
    for (const bool is_promotion : {true, false}) {
        for (const hooks::Function function : {hooks::UNLINK, hooks::RENAME, hooks::SYSTEM, hooks::RUNCMD}) {
            uint64_t rc = 0;
            for (int nth = 1;; ++nth) {
                fs::remove_all("/install_repo/local");
                run("create --image new.iso --local --state prepared");
                run("create --image old.iso --local");
                const std::string source = read_file(prepared);
                if (!is_broken(is_promotion, function, nth, rc)) {
                    break;
                }
                const std::string step =
                    (is_promotion ? "promote, " : "copy, ") + std::string(hooks::NAMES[function]) + std::to_string(nth);
                EXPECT_EQ(rc == 0, function == hooks::UNLINK) << step; // what can't be removed is written over
                EXPECT_EQ(run("check").code, rc == 0 ? 0 : 1) << step;
                if (rc == 0) {
                    continue;
                }
                const std::string found = read_file(active);
                broken.push_back(step + (found == source ? ": new" : found.empty() ? ": none" : ": old"));
                if (fs::exists(prepared)) {
                    run("repair --local --state prepared"); // its twin may be gone
                    EXPECT_EQ(run(is_promotion ? "promote --local" : "copy --local --from 3 --to 2").code, 0) << step;
                } else {
                    Fetched profile;
                    EXPECT_EQ(inst_ldpath_get_swprofile("default-sdr", 1, 2, 3, &profile.ptr, nullptr), 0U) << step;
                    EXPECT_EQ(inst_ldpath_store_sdr_swprofile(profile.ptr, 1, 2, nullptr, 3, nullptr), 0U) << step;
                    run("repair --local"); // what is left of the prepared one, if anything is
                }
                EXPECT_EQ(run("check").code, 0) << step;
            }
        }
    }
    EXPECT_EQ(broken, (Lines{"promote, rename1: none", "promote, system1: new", "promote, command1: new",
                             "promote, command2: new", "copy, system1: none", "copy, system2: new",
                             "copy, command1: new", "copy, command2: new"}));
}

TEST_F(CommandTest, ListTellsEveryProfilesHealth)
{
    EXPECT_EQ(run("list").out, "no profiles\n");
    for (const char *const which : {"--sdr b", "--sdr a --state committed", "--vm admin", "--vm lc-qx --local"}) {
        EXPECT_EQ(run(create + which).code, 0) << which;
    }
    write_file("/install_repo/gl/instdb/sdr/a/uvf-swprofile-active.bin", "junk");
    write_file("/install_repo/gl/instdb/sdr/b/qx-swprofile-prepared.bin", "");
    write_file("/install_repo/gl/instdb/sdr/-rf/qx-swprofile-prepared.bin", "");
    record_run("list");
    const nlohmann::json json = json_of("list --json");
    EXPECT_EQ(json["profiles"][2]["health"], "damaged");
    EXPECT_FALSE(json["profiles"][0].contains("sdr"));
}

} // namespace
