// In every operation, each allocation and each call of a C or platform function fails: first alone, then together with
// all later calls of that function. With SWP_ALL_ERRORS, each fails with 14 errors. Afterwards the operation has failed
// and the disk is unchanged, or it has succeeded completely, or its outcome is one that docs/contract.md lists for a
// store. The sanitizers check for leaks. The transcript lists, for each operation, the functions that failed and the
// results of the operation when they failed with ENOMEM. It ends with a checksum of the texts. The results with other
// errors are checked, but not listed.
#include "support/bodies.h"

#include <memory>
#include <set>

namespace
{

// Adds: operations that store what could be added and log what could not. Copies: stores of a profile that has flat
// copies. Edits: change `changed` completely or not at all, and leave the global active profile as it is. Asks: leave
// both as they are, and return an answer only if they succeed.
enum Kind { Fetches, Names, Stores, Adds, Copies, Edits, Asks };

struct SweptOperation {
    Kind kind;
    const char *title;
    uint64_t (*run)(Answer &, char **);
    bool from_nothing = false; // starts from an empty profile
};
constexpr bool FROM_NOTHING = true;

char path[] = "/a/x-1-1.noarch.rpm", name[] = "y", host_name[] = "alpha-2.0-r1";
char *paths[] = {path, name}, *const host_paths[] = {host_name};

Fetched changed;                   // the profile that is stored, or edited in memory
swprofile_create_request *request; // the profile that is created
inst_node_loc node;                // for which something is added
uint8_t ignored_flag;              // not checked: set to 1 even if the operation fails
serv_packs *sp_list, *removed_list;
uint64_t sp_source;
std::unique_ptr<Addition> addition; // of a package in memory

uint64_t add_to_body(char **error)
{
    return addition->add_to(changed.body(), 5, VERD_PKG_HOST_SMU, sp_source, error);
}

uint64_t add(const char *package, uint32_t type, uint32_t nodes)
{
    return inst_ldpath_add_pkg_location(ACTIVE_QX, &node, nodes, package, 0, type, sp_source);
}

uint64_t remove_rpms(char **rpms, uint32_t count)
{
    char **left = nullptr;
    uint32_t left_count = 0;
    const uint64_t rc = inst_remove_rpms_part_of_active_sp(&changed.body(), rpms, count, &left, &left_count);
    // Without memory it must fail. If it ignored service packs that could not be copied, its caller would unmark
    // packages that these still deliver.
    EXPECT_EQ(left != nullptr, rc == 0);
    std::free(left);
    return rc;
}

uint64_t copy_nodes()
{
    inst_node_loc *copy = nullptr;
    const uint64_t rc = verd_inst_dup_node_loc_list(1, &node, &copy);
    EXPECT_EQ(copy != nullptr, rc == 0);
    std::free(copy);
    return rc;
}

// The call is also the title.
#define CALL(call) #call, []([[maybe_unused]] Answer & a, [[maybe_unused]] char **err) -> uint64_t { return call; }

const SweptOperation OPERATIONS[] = {
    {Fetches, CALL(inst_ldpath_get_sdr_swprofile("default-sdr", VERD_SWP_ACTIVE, &a.profile))},
    {Fetches, CALL(inst_ldpath_get_swprofile(ACTIVE_QX, &a.profile, err))},
    {Fetches, CALL(inst_ldpath_get_sw_profile_if_exists(ACTIVE_QX, &a.profile))},
    {Fetches, CALL(inst_ldpath_get_sdr_swprofile_lcp("asked", VERD_SWP_ACTIVE, &a.profile))},
    {Fetches, CALL(inst_ldpath_get_sdr_swprofile_uvf("asked", VERD_SWP_ACTIVE, &a.profile))},
    {Fetches, CALL(inst_ldpath_get_sdr_local_swprofile("asked", VERD_SWP_ACTIVE, &a.profile))},
    {Fetches, CALL(inst_ldpath_get_local_swprofile("asked", VERD_SWP_ACTIVE, VERD_VM_UVF, &a.profile, err))},
    {Names, CALL(inst_get_sdr_swprofile_file("s", &a.text, 0, 2, VERD_VM_QX, err))},
    {Names, CALL(inst_get_sdr_swprofile_txt_file("/a/b.bin", &a.text, err))},
    {Names, CALL(inst_get_boot_active_swp_flag("s", &a.text, 0, VERD_VM_QX))},
    {Stores, CALL(inst_ldpath_store_sdr_swprofile(changed.ptr, 0, 2, nullptr, VERD_VM_QX, err))},
    {Copies, CALL(inst_ldpath_store_sdr_swprofile(changed.ptr, 1, 2, nullptr, VERD_VM_QX, err))},
    {Stores, CALL(inst_ldpath_create_sdr_swprofile(request))},
    {Edits, CALL(add_to_body(err))},
    {Edits, CALL(add_to_body(err)), FROM_NOTHING},
    {Edits, CALL(inst_ldpath_remove_pkg_in_swp(&changed.body(), "alpha-1.0-r1", err))},
    {Edits, CALL(inst_ldpath_remove_pkg_in_swp(&changed.body(), "base.rpm", err))},
    {Edits, CALL(inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, err))},
    {Edits, CALL(inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, 2, 1, err))},
    {Edits, CALL(inst_ldpath_delete_swprofile("default-sdr", 1, VERD_VM_QX))},
    {Edits, CALL(inst_ldpath_delete_swprofile_file("/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin"))},
    {Stores, CALL(inst_write_sdr_swprofile_to_file2(ACTIVE_QX, changed.ptr, err))},
    {Edits, CALL(verd_inst_ldpath_lib_init(0, nullptr))},
    {Edits, CALL(copy_nodes())},
    {Edits, CALL(remove_rpms(paths, 2))},
    // If a detail cannot be copied, returns 0 and a set without it.
    {Edits, CALL(instmgr_convert_sp_det_to_serv_pack(&a.packs, changed.body().sp_details, 1))},
    {Asks, CALL(inst_ldpath_get_swprofile_image(changed.ptr, &a.text))},
    {Asks, CALL(inst_ldpath_get_swprofile_filelist(changed.ptr, &a.list, &a.count, err))},
    {Asks, CALL(inst_ldpath_get_swprofile_img_pkgs(changed.ptr, &a.text, &a.list, &a.count, VERD_FILTER_NO_HOST_SMUS, 0,
                                                   &a.packs))},
    {Asks, CALL(inst_ldpath_get_swprofile_pkgs(changed.ptr, &a.list, &a.count))},
    {Asks, CALL(inst_ldpath_get_swprofile_sps(changed.ptr, &a.list, &a.count, &a.packs, err))},
    {Asks, CALL(inst_ldpath_get_all_swprofile_sps("asked", 1, &a.list, &a.count))},
    {Asks, CALL(inst_ldpath_get_local_swprofile_pkgs_info("asked", 2, VERD_VM_UVF, &a.list, &a.count, err))},
    {Asks, CALL(inst_swp_get_show_install_active_data("default-sdr", 0, VERD_VM_QX, &a.list, &a.count))},
    {Asks, CALL(inst_swp_is_pkg_present(ACTIVE_QX, "beta-2.0-r1", &a.flag))},
    {Asks, CALL(inst_swp_get_package_rpms(ACTIVE_QX, "alpha-1.0-r1", nullptr, &a.list, &a.count, err))},
    {Asks, CALL(inst_get_image_name("default-sdr", &a.text))},
    {Asks, CALL(inst_ldpath_check_swp_mismatch_wrapper("asked", 0, VERD_VM_QX, 1, 2, 0, 1, &ignored_flag))},
    {Asks, CALL(instmgr_cmp_sw_version(0, 0, 0, "1.4.0", &ignored_flag))},
    {Asks, CALL(instmgr_check_node_in_loc_mswp(0, 0, 0, &a.flag))},
    {Asks, CALL(inst_ldpath_check_swprofile_exists(ACTIVE_QX, &a.flag, err))},
    {Asks, CALL(inst_ldpath_is_sdr_master_act_comm_swp_equal("asked", &a.flag))},
    {Edits, CALL(instcomm_duplicate_sp_list(&a.packs, sp_list, "sweep"))},
    {Asks, CALL((inst_ldpath_chk_loc_profile_exists(ACTIVE_QX), 0))},
    {Stores, CALL(add("alpha-2.0-r1", VERD_PKG_HOST_SMU, 0))},
    {Adds, CALL(add("gamma-1.0-r1", 0, 1))},
    {Adds, CALL(add("beta-2.0-r1", 0, 1))},
    {Stores, CALL(add("beta-2.0-r1", 0, 1)), FROM_NOTHING},
    {Edits, CALL(inst_ldpath_tag_sp_pkg_in_swp(&changed.body(), sp_list, &a.flag))},
    {Edits, CALL(inst_ldpath_untag_sp_pkg_in_swp(&changed.body(), sp_list))},
    {Stores,
     CALL(inst_ldpath_add_swprofile_pkgs(ACTIVE_QX, "alpha-2.0-r1", paths, 2, 5, VERD_PKG_HOST_SMU, sp_source, err))},
    {Stores, CALL(inst_ldpath_remove_swprofile_pkgs(ACTIVE_QX, "alpha-1.0-r1", removed_list, err))},
    {Stores, CALL(inst_ldpath_remove_swprofile_pkgs(ACTIVE_QX, "base.rpm", nullptr, err))},
    {Stores, CALL(inst_ldpath_add_swprofile_sps(ACTIVE_QX, sp_source))},
    // If unmarking fails, the profile is stored with its packages still marked.
    {Adds, CALL(inst_ldpath_remove_swprofile_sps(ACTIVE_QX, removed_list))},
    {Asks, CALL(instcomm_add_host_pkgs_to_swp(3, nullptr, 0, 1, host_paths, 0))}, // changes another profile
    {Stores, CALL(inst_ldpath_add_image_location(ACTIVE_QX, &node, 1, "image", "2")), FROM_NOTHING},
    {Stores, CALL(inst_ldpath_add_image_location(ACTIVE_QX, &node, 1, "image", "2"))},
};

// The .bin of the active profile, and its text twin without the head, which has the time.
struct Disk {
    std::string bin;
    std::string twin;
};

class FaultSweepTest : public RepositoryTest
{
protected:
    std::set<std::string> texts; // of errors and messages
    Disk before, after;
    std::string unedited, edited; // `changed`, encoded
    int failures = 0;

    // Profiles that operations only read.
    static void store_others()
    {
        const Fetched profile = {new_full_profile()};
        profile.body().sp_names[1] = strdup("SP2");
        for (const int32_t state : {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE}) {
            profile.ptr->ext_value = static_cast<uint64_t>(state);
            store_as(nullptr, 0, state, VERD_VM_ADMIN, profile);
            for (const uint32_t vm_type : {VERD_VM_QX, VERD_VM_LC_QX, VERD_VM_UVF}) {
                store_as("asked", 0, state, vm_type, profile);
                store_as("asked", 1, state, vm_type, profile);
            }
        }
    }

    Disk disk() const
    {
        const std::string twin = read_file(active_txt);
        return {read_file(active_bin), twin.substr(std::min(twin.find("\n\n"), twin.size()))};
    }

    // Runs an operation while `failing` fails with this errno, as hooks::fail() has ordered; or without a failure.
    uint64_t run(const SweptOperation &operation, hooks::Function failing, int err)
    {
        Answer outcome;
        Text error;
        outcome.flag = 0;
        const uint64_t rc = operation.run(outcome, &error.ptr);
        hooks::disarm();
        if (err == ENOMEM) { // the texts of other errors name other reasons
            const Lines messages = hooks::lines();
            texts.insert(messages.begin(), messages.end());
            texts.insert(error.str());
        }
        EXPECT_STRNE(verd_result_name(rc), "unknown");
        const bool has_answer = outcome.text != nullptr || outcome.list != nullptr || outcome.packs != nullptr ||
                                outcome.flag != 0 || outcome.count != 0;
        EXPECT_TRUE(operation.kind != Asks || !has_answer || rc == 0);
        const bool is_lost = failing >= hooks::LOSE_PATH && hooks::orders[failing].fired;
        EXPECT_EQ(outcome.profile != nullptr, operation.kind == Fetches && rc == 0 && !is_lost);
        EXPECT_TRUE(outcome.text != nullptr || operation.kind != Names || rc != 0 || is_lost);
        return rc;
    }

    // Creates everything again that an operation changes.
    void prepare(const SweptOperation &operation) const
    {
        write_file(active_bin, before.bin);
        write_file(active_txt, before.twin);
        write_file("/install_repo/gl/instdb/kelo-master-swprofile-prepared.bin", before.bin);
        for (const char *const file : {"prepared.bin", "prepared.txt", "active.bin", "active.txt"}) {
            write_file(std::string(LOCAL_QX) + file, file);
            write_file(std::string(FLAT_QX) + file, file);
        }
        inst_ldpath_free_swprofile_ext(&changed.ptr);
        changed.ptr = operation.from_nothing ? new_profile() : new_full_profile();
        changed.ptr->ext_value = 77;
        if (operation.kind == Asks) {
            changed.body().sp_names_count = 1; // the second is null
        } else if (operation.kind == Edits && !operation.from_nothing) {
            inst_swp_package member = new_package("gamma-1-1");
            inst_swp_package_set_is_sp_pkg(&member, 1);
            put_package(changed.body(), member);
        }
        addition = std::make_unique<Addition>("alpha-2.0-r1", std::vector<const char *>{path, name});
    }

    void check_store(Kind kind, hooks::Function function, bool fails_always, uint64_t rc) const
    {
        const Disk found = disk();
        const bool exists = fs::exists(active_bin);
        const bool is_success = rc == 0 && kind == Stores;
        const bool is_unchanged = found.bin == before.bin;
        EXPECT_TRUE(!exists || is_unchanged || found.bin == after.bin);
        // After a short write, the file is deleted and the operation fails. If the file cannot be read back as a whole,
        // it is deleted and the operation returns 0, unless a later step fails because memory has run out for good.
        const bool is_unverified = function == hooks::ALLOCATION || (function == hooks::FREAD && fails_always);
        const bool has_other_error = function == hooks::ALLOCATION && fails_always;
        EXPECT_TRUE(exists || function == hooks::FWRITE || is_unverified);
        EXPECT_TRUE(exists || kind == Adds || is_unverified == (rc == 0) || has_other_error);
        EXPECT_TRUE(!is_success || !exists || found.bin == after.bin);
        const Lines lines = hooks::lines();
        const bool is_logged = std::any_of(lines.begin(), lines.end(), [](const std::string &text) {
            return text.starts_with("Error") || text.find("Failed to ") != text.npos;
        });
        EXPECT_TRUE(rc != 0 || !is_unchanged || is_logged);
        if (is_unchanged) {
            EXPECT_EQ(found.twin, before.twin);
        } else if (is_success && function == hooks::ALLOCATION) { // the twin may be cut
            EXPECT_TRUE(after.twin.starts_with(found.twin)) << found.twin;
        } else if (is_success) {
            EXPECT_EQ(found.twin, after.twin);
        }
    }

    // Runs an operation without a failure, with the DEBUG lines of each verbosity.
    void measure(const SweptOperation &operation, const Disk &disk_before)
    {
        before = disk_before;
        for (const char *const level : {"v", "vv", "vvv", "vvvv"}) {
            prepare(operation);
            unedited = encoding_of(*changed.ptr);
            hooks::reset();
            g_inst_common_debug_verbosity_level = static_cast<uint16_t>(std::string(level).size());
            testing::internal::CaptureStderr();
            EXPECT_EQ(run(operation, hooks::ALLOCATION, ENOMEM), 0U) << operation.title;
            g_inst_common_debug_verbosity_level = 0;
            texts.insert(level + testing::internal::GetCapturedStderr());
        }
        edited = encoding_of(*changed.ptr);
        after = disk();
    }

    // Lets each call of a function fail in turn, alone or with all later calls. Returns the results.
    Lines sweep(const SweptOperation &operation, hooks::Function failing, int err, int times)
    {
        Lines results;
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(std::string(operation.title) + ", " + hooks::NAMES[failing] + " " + std::to_string(nth) +
                         (times == 1 ? ": " : " and all later ones: ") + strerrorname_np(err));
            prepare(operation);
            hooks::reset();
            hooks::fail(failing, nth, err, times);
            const uint64_t rc = run(operation, failing, err);
            if (!hooks::orders[failing].fired) {
                EXPECT_EQ(rc, 0U);
                return results;
            }
            ++failures;
            check_outcome(operation, failing, times == hooks::ALWAYS, rc);
            const int reason = verd_result_errno(rc);
            results.push_back(reason == 0 ? verd_result_name(rc) : strerrorname_np(reason));
        }
    }

    void record_results(const SweptOperation &operation, const std::vector<int> &errors)
    {
        std::string line = operation.title + std::string(operation.from_nothing ? ", from nothing" : "");
        for (int i = 0; i < hooks::FUNCTION_COUNT; ++i) {
            std::set<std::string> results;
            for (const int err : errors) {
                for (const int times : {1, hooks::ALWAYS}) {
                    const Lines found = sweep(operation, static_cast<hooks::Function>(i), err, times);
                    if (err == ENOMEM) {
                        results.insert(found.begin(), found.end());
                    }
                }
            }
            line += results.empty() ? "" : std::string("; ") + hooks::NAMES[i] + ":";
            for (const std::string &result : results) {
                line += " " + result;
            }
        }
        record_line(line);
    }

    void check_outcome(const SweptOperation &operation, hooks::Function failing, bool fails_always, uint64_t rc) const
    {
        if (failing >= hooks::LOSE_PATH) {
            // Without the name of the twin, the .bin may have been changed.
            EXPECT_TRUE(rc == 0 || failing == hooks::LOSE_TWIN || disk().bin == before.bin);
            EXPECT_TRUE(rc == 0 || encoding_of(*changed.ptr) == unedited);
        } else if (operation.kind == Stores || operation.kind == Adds) {
            check_store(operation.kind, failing, fails_always, rc);
        } else if (operation.kind == Copies) {
            // If a file could not be verified, it was deleted.
            for (const char *const file : {"active.bin", "active.txt"}) {
                const std::string copy = read_file(std::string(FLAT_QX) + file);
                EXPECT_TRUE(rc != 0 || !fs::exists(std::string(LOCAL_QX) + "active.bin") ||
                            copy == read_file(std::string(LOCAL_QX) + file));
            }
        } else {
            EXPECT_EQ(disk().bin, before.bin);
            EXPECT_EQ(encoding_of(*changed.ptr), rc == 0 ? edited : unedited);
        }
    }
};

TEST_F(FaultSweepTest, EveryCallFails)
{
    CreateRequest create;
    request = &create.request;
    store_others();
    const Fetched full_profile = {new_full_profile()}, empty_profile = {new_profile_of_size(60)};
    ASSERT_EQ(store(full_profile.ptr), 0U);
    const Disk full = disk();
    ASSERT_EQ(store(empty_profile.ptr), 0U);
    const Disk empty = disk();
    g_inst_pkg_fmt_info.is_new_format = 1;
    fs::create_directories("/install_repo/tmp");
    write_file("/install_repo/gl/verdalis/x-1-1.rpm", "x");
    ASSERT_EQ(std::system("cd /install_repo/gl/verdalis && tar -cf alpha-2.0-r1 x-1-1.rpm"), 0);
    const ServicePacks::Pack pack = {"SP2", {"alpha-2.0-r1.noarch", "beta-2.0-r1", "gamma-1-1-tp-1"}};
    const ServicePacks packs{{"SP1", {"alpha-2.0-r1"}}, pack}, removed{pack};
    sp_list = packs.set;
    sp_source = packs.source();
    removed_list = removed.set;
    write_file("/tmp/enable_sp_debugs", "");
    std::vector<int> errors = {ENOMEM};
    if (getenv("SWP_ALL_ERRORS") != nullptr) {
        errors.insert(errors.end(), {EIO, ENOSPC, EDQUOT, EROFS, EACCES, EPERM, EBUSY, EINTR, EMFILE, ENFILE, ENOTDIR,
                                     ELOOP, ESTALE});
    }
    for (const SweptOperation &operation : OPERATIONS) {
        measure(operation, operation.from_nothing ? empty : full);
        record_results(operation, errors);
    }
    std::printf("%d failures\n", failures);
    record_checksum(texts);
}

} // namespace
