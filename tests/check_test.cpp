// What the command finds in a repository.
#include "support/command_test.h"

namespace
{

TEST_F(CommandTest, CheckFindsWhatIsWrong)
{
    run(create + "--local");
    run(create + "--vm uvf");
    const std::string local = "/install_repo/local/sdr/default-sdr/qx-swprofile-";
    Fetched profile = {new_full_profile()}; // whose lists of service packs disagree
    inst_write_sdr_swprofile_to_file2("other", 0, VERD_SWP_ACTIVE, VERD_VM_QX, profile.ptr, nullptr);
    const nlohmann::json package = json_of("show --sdr other --json")["packages"][0];
    EXPECT_EQ(package["marker"], true);
    EXPECT_EQ(package["extra_list"][0], "extra"); // what is carried along is shown
    fs::remove("/install_repo/local/qx-swprofile-active.txt");
    write_file("/install_repo/local/qx-swprofile-active.bin", "junk");
    write_file(local + "prepared.txt", "");
    fs::create_directory(local + "committed.bin");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.txt", "\n\nVM type\n");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", "");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-activ", "");
    write_file("/install_repo/gl/instdb/kelo-master-swprofile-active.bin", "junk");
    write_file("/install_repo/gl/instdb/sdr/x", "");
    const Ran found = run("check");
    EXPECT_EQ(found.code, 1);
    const std::string global = "/install_repo/gl/instdb/";
    EXPECT_EQ(found.out,
              global + "sdr/x: not the directory of an SDR\n" + global +
                  "/kelo-master-swprofile-active.bin: damaged: truncated or corrupted\n" + global +
                  "sdr/default-sdr/uvf-swprofile-active.txt: the text twin differs from the profile\n" + global +
                  "sdr/default-sdr/uvf-swprofile-prepared.bin: empty, which counts as absent\n" + global +
                  "sdr/other/qx-swprofile-active.bin: names another SDR: default-sdr\n" + global +
                  "sdr/other/qx-swprofile-active.bin: the names of service packs do not agree with their details\n" +
                  global +
                  "sdr/other/qx-swprofile-active.bin: the names of service packs do not agree with their details, on "
                  "nodes 4294967295/0/64 0/0/0\n" +
                  local +
                  "committed.bin: not a regular file\n/install_repo/local/qx-swprofile-active.bin: the flat copy "
                  "differs from " +
                  local + "active.bin\n/install_repo/local/qx-swprofile-active.txt: the flat copy of " + local +
                  "active.txt is missing\n" + local + "prepared.txt: a text twin without its profile\n" + global +
                  "sdr/default-sdr/qx-swprofile-activ: belongs to no profile\n");
    EXPECT_EQ(json_of("check --json")["findings"].size(), 12U);
    EXPECT_EQ(json_of("check --json")["findings"][2]["code"], "twin-differs");
    EXPECT_EQ(run("check --vm uvf").code, 1); // every profile that matches
    EXPECT_EQ(run("check --sdr other").code, 1);
    EXPECT_EQ(run("check --vm uvf --local").code, 3);

    const std::string empty = global + "sdr/default-sdr/uvf-swprofile-prepared.bin";
    EXPECT_EQ(run("repair --dry-run").out,
              "would repair " + global +
                  "sdr/default-sdr/uvf-swprofile-active.txt: the text twin differs from the "
                  "profile\nwould repair /install_repo/local/qx-swprofile-active.bin: the flat "
                  "copy differs from " +
                  local +
                  "active.bin\nwould repair "
                  "/install_repo/local/qx-swprofile-active.txt: the flat copy of " +
                  local + "active.txt is missing\nwould remove " + local +
                  "prepared.txt: a text twin without its profile\n");
    const Ran repaired = run("repair"); // not the rest
    EXPECT_EQ(repaired.code, 1);
    EXPECT_NE(repaired.err.find(empty + ": empty"), std::string::npos) << repaired.err;
    EXPECT_EQ(json_of("check --json")["findings"].size(), 8U);
    EXPECT_EQ(run("repair --local --state prepared").out, "nothing to repair\n");
}

// Every call into the system of a promotion and of a copy fails once, as if the process had been killed before it. What
// is left is found by the check, and mended as docs/contract.md says.
TEST_F(CommandTest, WhatBrokenTransitionsLeaveIsFoundAndMended)
{
    const std::string local = "/install_repo/local/sdr/default-sdr/qx-swprofile-";
    std::vector<std::string> broken;
    for (const bool is_promotion : {true, false}) {
        for (const auto &[function, name] : {std::pair{hooks::UNLINK, "unlink"},
                                             {hooks::RENAME, "rename"},
                                             {hooks::SYSTEM, "system"},
                                             {hooks::RUNCMD, "run"}}) {
            for (int nth = 1;; ++nth) {
                fs::remove_all("/install_repo/local");
                run("create --image new.iso --local --state prepared");
                run("create --image old.iso --local");
                const std::string source = read_file(local + "prepared.bin");
                hooks::reset();
                hooks::fail(function, nth);
                const uint64_t rc = is_promotion
                                        ? inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, nullptr)
                                        : inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, VERD_SWP_PREPARED,
                                                               VERD_SWP_ACTIVE, nullptr);
                hooks::disarm();
                if (!hooks::orders[function].fired) {
                    break;
                }
                const std::string step =
                    (is_promotion ? "promote, " : "copy, ") + std::string(name) + std::to_string(nth);
                const bool is_first_step =
                    function == hooks::RENAME || (function == hooks::SYSTEM && !is_promotion && nth == 1);
                EXPECT_EQ(rc == 0, function == hooks::UNLINK) << step; // what can't be removed is written over
                EXPECT_EQ(fs::exists(local + "active.bin"), rc == 0 || !is_first_step) << step;
                EXPECT_TRUE(is_first_step || read_file(local + "active.bin") == source) << step;
                EXPECT_EQ(run("check").code, rc == 0 ? 0 : 1) << step;
                if (rc == 0) {
                    continue;
                }
                broken.push_back(step);
                if (fs::exists(local + "prepared.bin")) {
                    run("repair --local --state prepared"); // its twin may be gone
                    EXPECT_EQ(run(is_promotion ? "promote --local" : "copy --local --from 3 --to 2").code, 0) << step;
                } else {
                    Fetched profile;
                    EXPECT_EQ(inst_ldpath_get_swprofile("default-sdr", 1, 2, 3, &profile.ptr, nullptr), 0U) << step;
                    EXPECT_EQ(inst_ldpath_store_sdr_swprofile(profile.ptr, 1, 2, nullptr, 3, nullptr), 0U) << step;
                    run("repair --local"); // what is left of the prepared one, if anything is
                }
                const Ran checked = run("check");
                EXPECT_EQ(checked.code, 0) << step << "\n" << checked.out;
            }
        }
    }
    EXPECT_EQ(broken, (Lines{"promote, rename1", "promote, system1", "promote, run1", "promote, run2", "copy, system1",
                             "copy, system2", "copy, run1", "copy, run2"}));
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
    const Ran listed = run("list");
    EXPECT_EQ(listed.code, 0);
    EXPECT_NE(listed.err.find("not the directory of an SDR: /install_repo/gl/instdb/sdr/-rf"), std::string::npos);
    std::vector<std::string> rows;
    const nlohmann::json json = json_of("list --json");
    for (const auto &profile : json["profiles"]) {
        rows.push_back(profile["scope"].get<std::string>() + " " +
                       (profile.contains("sdr") ? profile["sdr"].dump() : "") + " " +
                       profile["vm_type"].get<std::string>() + " " + profile["state"].get<std::string>() + " " +
                       profile["health"].get<std::string>());
    }
    EXPECT_EQ(rows, (Lines{"global  Admin active ok", "global \"a\" QX committed ok", "global \"a\" UVF active damaged",
                           "global \"b\" QX active ok", "global \"b\" QX prepared empty",
                           "local \"default-sdr\" LC QX active ok"}));
}

} // namespace
