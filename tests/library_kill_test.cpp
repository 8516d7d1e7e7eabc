// The library itself has no journal. When it is killed or out of space, each profile is the old one, the new one,
// missing, or rejected, and check reports every mixture of old and new files. If a promotion or a copy was killed,
// `swprofile repair`, followed by the same change by the command, ends the mixture.
#include "support/safety_test.h"

#include <csignal>

namespace
{

using LibrarySafetyTest = SafetyTest;

#define LOCAL_ACTIVE_QX "default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX
#define KILLED_CALL(function, ...) "", [] { return function(__VA_ARGS__); }

// Each kind of change, on profiles that have flat copies. "create", "replace" and "copy" write several pages.
std::vector<Operation> library_operations()
{
    const std::string active = "create --local --image a.iso --version 1 --package alpha-1.0-r1 ";
    const std::string prepared = "copy --local --from active --to prepared";
    const std::string longer = active + "--replace $(printf ' --package p%d-1-r1' $(seq 300))";
    static CreateRequest local;
    static std::vector<inst_swp_package> packages(300, local.packages[0]);
    local.request.packages = packages.data();
    local.request.packages_count = 300;
    local.request.is_local = 1;
    local.rpms[0] = local.names[0]; // a service pack delivers alpha-1.0-r1
    static inst_node_loc node = {};
    inst_node_loc_set_loc_id_1(&node, 0);
    const auto add_service_packs = [] {
        g_inst_pkg_fmt_info.is_new_format = 1;
        return inst_ldpath_add_swprofile_sps(LOCAL_ACTIVE_QX, reinterpret_cast<uint64_t>(&local.set));
    };
    return {
        {"create", {}, KILLED_CALL(inst_ldpath_create_sdr_swprofile, &local.request)},
        {"replace", {active}, KILLED_CALL(inst_ldpath_create_sdr_swprofile, &local.request)},
        {"add",
         {active},
         KILLED_CALL(inst_ldpath_add_swprofile_pkgs, LOCAL_ACTIVE_QX, "n-1-r1", nullptr, 0, 0, VERD_PKG_BASE, 0,
                     nullptr)},
        {"remove",
         {active},
         KILLED_CALL(inst_ldpath_remove_swprofile_pkgs, LOCAL_ACTIVE_QX, "alpha-1.0-r1", nullptr, nullptr)},
        {"add for nodes",
         {active},
         KILLED_CALL(inst_ldpath_add_pkg_location, LOCAL_ACTIVE_QX, &node, 1, "n-1-r1", 0, VERD_PKG_BASE, 0)},
        {"add service packs", {active}, "", add_service_packs},
        {"remove service packs",
         {active + "--sp-package tp-q-1-r1 --service-pack SP1=tp-q-1-r1"},
         KILLED_CALL(inst_ldpath_remove_swprofile_sps, LOCAL_ACTIVE_QX, &local.set)},
        {"promote",
         {active, prepared, longer},
         "promote --local",
         [] { return inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, nullptr); }},
        {"copy",
         {active, prepared, longer},
         prepared,
         [] { return inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, 2, 3, nullptr); }},
        {"delete",
         {active},
         KILLED_CALL(inst_ldpath_delete_swprofile_file, "/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin")},
    };
}

TEST_F(SafetyTest, LibraryKilledAtAnySystemCall)
{
    int mixtures = 0, repetitions = 0;
    at_system_calls(library_operations(), 5, [&](int at) {
        run_operation(at_number(at, {SIGKILL}));
        if (expect_old_new_or_reported() != MIXTURE) {
            return;
        }
        ++mixtures;
        if (!operation.arguments.empty()) {
            run("repair --local");
            repetitions += run(operation.arguments).code == 0 ? 1 : 0; // fails if the prepared profile has been moved
            EXPECT_EQ(expect_old_new_or_reported(), NEW);
        }
    });
    EXPECT_TRUE(mixtures > repetitions && repetitions > 0);
}

// Without a failure, every profile is the new one; only its text twin may be truncated.
TEST_F(LibrarySafetyTest, InLittleSpace)
{
    int failures = 0;
    in_little_space(library_operations(), [&](int status) {
        const Outcome outcome = expect_old_new_or_reported();
        for (const auto &[path, content] : after.files) {
            EXPECT_TRUE(status != 0 || !path.ends_with(".bin") || read_file(path) == content) << path;
        }
        failures += status != 0 ? 1 : 0;
        return status == 0 && outcome == NEW;
    });
    EXPECT_TRUE(failures > 0 || IsSkipped());
}

} // namespace
