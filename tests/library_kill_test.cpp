// The library itself has no journal. When it is killed, each profile is the old one, the new one, missing, or rejected,
// and check reports every mixture of old and new files. After a promotion or a copy, repair and the command's promotion
// or copy mend the mixture.
#include "support/safety_test.h"

namespace
{

#define LOCAL_ACTIVE_QX "default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX

// Without directories, since a new one may be left.
Files profiles_of(const State &state)
{
    Files files = state.files;
    std::erase_if(files, [](const auto &file) { return file.second == "directory"; });
    return files;
}

TEST_F(SafetyTest, LibraryKilledAtAnySystemCall)
{
    const std::string active = "create --local --image a.iso --version 1 --package p-1-r1 ";
    const std::string prepared = "copy --local --from active --to prepared";
    const std::string change = "add c-1-r1 --local";
    char name[] = "SP", rpm[] = "p-1-r1.noarch", *rpms[] = {rpm};
    serv_packs packs = {};
    service_pack pack = {};
    sp_detail_set_sp_name(&pack, name);
    sp_detail_set_sp_rpms(&pack, rpms, 1);
    serv_packs_set_service_packs(&packs, &pack, 1);
    inst_node_loc node = {};
    inst_node_loc_set_loc_id_1(&node, 0);
    CreateRequest local;
    local.request.is_local = 1;
    const auto add_service_pack = [&] {
        g_inst_pkg_fmt_info.is_new_format = 1;
        return inst_ldpath_add_swprofile_sps(LOCAL_ACTIVE_QX, reinterpret_cast<uint64_t>(&packs));
    };
#define CALL(function, ...) "", [&] { return function(__VA_ARGS__); }
    const std::vector<Operation> operations = {
        {"create", {}, CALL(inst_ldpath_create_sdr_swprofile, &local.request)},
        {"replace", {active}, CALL(inst_ldpath_create_sdr_swprofile, &local.request)},
        {"add",
         {active},
         CALL(inst_ldpath_add_swprofile_pkgs, LOCAL_ACTIVE_QX, "n-1-r1", nullptr, 0, 0, VERD_PKG_BASE, 0, nullptr)},
        {"remove", {active}, CALL(inst_ldpath_remove_swprofile_pkgs, LOCAL_ACTIVE_QX, "p-1-r1", nullptr, nullptr)},
        {"add for nodes",
         {active},
         CALL(inst_ldpath_add_pkg_location, LOCAL_ACTIVE_QX, &node, 1, "n-1-r1", 0, VERD_PKG_BASE, 0)},
        {"add service pack", {active}, "", add_service_pack},
        {"remove service pack",
         {active + "--sp-package tp-q-1-r1 --service-pack SP=tp-q-1-r1"},
         CALL(inst_ldpath_remove_swprofile_sps, LOCAL_ACTIVE_QX, &packs)},
        {"promote",
         {active, prepared, change},
         "promote --local",
         [] { return inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, nullptr); }},
        {"copy",
         {active, prepared, change},
         prepared,
         [] { return inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, 2, 3, nullptr); }},
        {"delete",
         {active},
         CALL(inst_ldpath_delete_swprofile_file, "/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin")},
    };
    int mixtures = 0, repetitions = 0;
    at_system_calls(operations, 5, [&](int at) {
        intervene(at_number(at, {Intervention::KILL}));
        const State found = state();
        const Files old_files = profiles_of(before), new_files = profiles_of(after), files = profiles_of(found);
        for (const auto &file : files) {
            const auto is_in = [&](const Files &known) { return std::count(known.begin(), known.end(), file) == 1; };
            EXPECT_TRUE(is_in(old_files) || is_in(new_files) || has(found.checked, file.first + ": ")) << file.first;
        }
        if (files == old_files || files == new_files) {
            EXPECT_EQ(found.checked, files == new_files ? after.checked : before.checked);
            return;
        }
        ++mixtures;
        EXPECT_FALSE(has(found.checked, "nothing found")) << testing::PrintToString(files);
        if (!operation.arguments.empty()) {
            run("repair --local");
            repetitions += run(operation.arguments).code == 0 ? 1 : 0; // unless the prepared profile has been moved
            EXPECT_EQ(state().checked, after.checked);
            EXPECT_EQ(profiles_of(state()), new_files);
        }
    });
    EXPECT_TRUE(mixtures > repetitions && repetitions > 0);
}

} // namespace
