// The library itself has no journal. When it is killed, each profile is the old one, the new one, missing, or rejected,
// and check reports every mixture of old and new files.
#include "support/safety_test.h"

namespace
{

#define LOCAL_ACTIVE_QX "default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX

bool is_directory(const Files::value_type &file)
{
    return file.second == "directory";
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
         CALL(inst_ldpath_swp_move_prep_to_act, "default-sdr", 1, VERD_VM_QX, nullptr)},
        {"copy", {active, prepared, change}, CALL(inst_ldpath_swp_copy, "default-sdr", 1, VERD_VM_QX, 2, 3, nullptr)},
        {"delete",
         {active},
         CALL(inst_ldpath_delete_swprofile_file, "/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin")},
    };
    int mixtures = 0;
    at_system_calls(operations, 5, [&](int at) {
        intervene(at_number(at, {Intervention::KILL}));
        State found = state();
        for (Files *const files : {&before.files, &after.files, &found.files}) {
            std::erase_if(*files, is_directory); // a new one may be left
        }
        for (const auto &file : found.files) {
            const auto is_in = [&](const Files &files) {
                return std::find(files.begin(), files.end(), file) != files.end();
            };
            EXPECT_TRUE(is_in(before.files) || is_in(after.files) ||
                        found.checked.find(file.first + ": ") != std::string::npos)
                << file.first << "\n"
                << found.checked;
        }
        if (found.files == before.files || found.files == after.files) {
            EXPECT_EQ(found.checked, found.files == after.files ? after.checked : before.checked);
        } else {
            ++mixtures;
            EXPECT_EQ(found.checked.find("nothing found"), std::string::npos) << difference(before.files, found.files);
        }
    });
    EXPECT_GT(mixtures, 0);
}

} // namespace
