// Every allocation and every call of a C or platform function fails in every operation, once and with all later calls;
// with SWP_ALL_ERRORS, each with 14 errors. Afterwards the operation has failed and the disk is unchanged, or it has
// succeeded completely, or its outcome is one that docs/contract.md lists for a store. The sanitizers check for leaks.
#include "support/bodies.h"

#include <memory>
#include <regex>
#include <set>

namespace
{

struct Outcome : Answer {
    Fetched profile;
    Text error;
};

struct Operation {
    const char *name;
    // Adds store what could be added, and log what could not; Copies have flat copies.
    enum Kind { Fetches, Names, Stores, Adds, Copies, Edits, Asks } kind;
    uint64_t (*run)(Outcome &);
    bool from_nothing = false; // starts from an empty profile
};

constexpr uint32_t NO_HOST_SMUS = 1;
const std::vector<const char *> PATHS = {"/a/x-1-1.noarch.rpm", "y"}, HOST = {"alpha-2.0-r1"};

Fetched changed;                   // the profile that is stored, or edited in memory
swprofile_create_request *request; // the profile that is created
inst_node_loc node;                // for which something is added
uint8_t ignored_flag;              // 1 even if the operation fails
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

#define OPERATION(name, kind, call)                                                                                    \
    {                                                                                                                  \
        name, Operation::kind, [](Outcome &o [[maybe_unused]]) -> uint64_t { return call; }                            \
    }
#define ON_NOTHING(name, kind, call)                                                                                   \
    {                                                                                                                  \
        name, Operation::kind, [](Outcome &o [[maybe_unused]]) -> uint64_t { return call; }, true                      \
    }

const Operation OPERATIONS[] = {
    OPERATION("get QX", Fetches, inst_ldpath_get_sdr_swprofile("default-sdr", VERD_SWP_ACTIVE, &o.profile.ptr)),
    OPERATION("get", Fetches, inst_ldpath_get_swprofile(ACTIVE_QX, &o.profile.ptr, &o.error.ptr)),
    OPERATION("get if exists", Fetches, inst_ldpath_get_sw_profile_if_exists(ACTIVE_QX, &o.profile.ptr)),
    OPERATION("get LC QX", Fetches, inst_ldpath_get_sdr_swprofile_lcp("asked", VERD_SWP_ACTIVE, &o.profile.ptr)),
    OPERATION("get UVF", Fetches, inst_ldpath_get_sdr_swprofile_uvf("asked", VERD_SWP_ACTIVE, &o.profile.ptr)),
    OPERATION("get local QX", Fetches, inst_ldpath_get_sdr_local_swprofile("asked", VERD_SWP_ACTIVE, &o.profile.ptr)),
    OPERATION("get locally", Fetches,
              inst_ldpath_get_local_swprofile("asked", VERD_SWP_ACTIVE, VERD_VM_UVF, &o.profile.ptr, &o.error.ptr)),
    OPERATION("name file", Names, inst_get_sdr_swprofile_file("s", &o.text, 0, 2, VERD_VM_QX, &o.error.ptr)),
    OPERATION("name twin", Names, inst_get_sdr_swprofile_txt_file("/a/b.bin", &o.text, &o.error.ptr)),
    OPERATION("name flag", Names, inst_get_boot_active_swp_flag("s", &o.text, 0, VERD_VM_QX)),
    OPERATION("store", Stores, inst_ldpath_store_sdr_swprofile(changed.ptr, 0, 2, nullptr, VERD_VM_QX, &o.error.ptr)),
    OPERATION("store locally", Copies,
              inst_ldpath_store_sdr_swprofile(changed.ptr, 1, 2, nullptr, VERD_VM_QX, &o.error.ptr)),
    OPERATION("create", Stores, inst_ldpath_create_sdr_swprofile(request)),
    OPERATION("add in memory", Edits, add_to_body(&o.error.ptr)),
    ON_NOTHING("add the first service packs", Edits, add_to_body(&o.error.ptr)),
    OPERATION("remove", Edits, inst_ldpath_remove_pkg_in_swp(&changed.body(), "alpha-1.0-r1", &o.error.ptr)),
    OPERATION("remove a base RPM", Edits, inst_ldpath_remove_pkg_in_swp(&changed.body(), "base.rpm", &o.error.ptr)),
    OPERATION("promote", Edits, inst_ldpath_swp_move_prep_to_act("default-sdr", 1, VERD_VM_QX, &o.error.ptr)),
    OPERATION("copy", Edits, inst_ldpath_swp_copy("default-sdr", 1, VERD_VM_QX, 2, 1, &o.error.ptr)),
    OPERATION("delete", Edits, inst_ldpath_delete_swprofile("default-sdr", 1, VERD_VM_QX)),
    OPERATION("delete a file", Edits,
              inst_ldpath_delete_swprofile_file("/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin")),
    OPERATION("write", Stores, inst_write_sdr_swprofile_to_file2(ACTIVE_QX, changed.ptr, &o.error.ptr)),
    OPERATION("start", Edits, verd_inst_ldpath_lib_init(0, nullptr)),
    OPERATION("copy nodes", Edits, copy_nodes()),
    OPERATION("remove RPMs of service packs", Edits, remove_rpms(const_cast<char **>(PATHS.data()), 2)),
    OPERATION("convert details", Edits, // returns 0 with an incomplete set
              instmgr_convert_sp_det_to_serv_pack(&o.packs, changed.body().sp_details, 1)),
    OPERATION("ask for the image", Asks, inst_ldpath_get_swprofile_image(changed.ptr, &o.text)),
    OPERATION("ask for the file list", Asks,
              inst_ldpath_get_swprofile_filelist(changed.ptr, &o.list, &o.count, &o.error.ptr)),
    OPERATION("ask for packages", Asks,
              inst_ldpath_get_swprofile_img_pkgs(changed.ptr, &o.text, &o.list, &o.count, NO_HOST_SMUS, 0, &o.packs)),
    OPERATION("ask for all names", Asks, inst_ldpath_get_swprofile_pkgs(changed.ptr, &o.list, &o.count)),
    OPERATION("ask for service packs", Asks,
              inst_ldpath_get_swprofile_sps(changed.ptr, &o.list, &o.count, &o.packs, &o.error.ptr)),
    OPERATION("ask for all service packs", Asks, inst_ldpath_get_all_swprofile_sps("asked", 1, &o.list, &o.count)),
    OPERATION("ask for package information", Asks,
              inst_ldpath_get_local_swprofile_pkgs_info("asked", 2, VERD_VM_UVF, &o.list, &o.count, &o.error.ptr)),
    OPERATION("ask for active data", Asks,
              inst_swp_get_show_install_active_data("default-sdr", 0, VERD_VM_QX, &o.list, &o.count)),
    OPERATION("ask for a package", Asks, inst_swp_is_pkg_present(ACTIVE_QX, "beta-2.0-r1", &o.flag)),
    OPERATION("ask for RPMs", Asks,
              inst_swp_get_package_rpms(ACTIVE_QX, "alpha-1.0-r1", nullptr, &o.list, &o.count, &o.error.ptr)),
    OPERATION("ask for the active image", Asks, // returns 0 without memory
              inst_get_image_name("default-sdr", &o.text) | (o.text == nullptr ? INST_RC_NO_MEMORY : 0)),
    OPERATION("ask for a match", Asks,
              inst_ldpath_check_swp_mismatch_wrapper("asked", 0, VERD_VM_QX, 1, 2, 0, 1, &ignored_flag)),
    OPERATION("ask for the version of a node", Asks, instmgr_cmp_sw_version(0, 0, 0, "1.4.0", &ignored_flag)),
    OPERATION("ask for a node", Asks, instmgr_check_node_in_loc_mswp(0, 0, 0, &o.flag)),
    OPERATION("ask whether it exists", Asks, inst_ldpath_check_swprofile_exists(ACTIVE_QX, &o.flag, &o.error.ptr)),
    OPERATION("ask whether states are equal", Asks, inst_ldpath_is_sdr_master_act_comm_swp_equal("asked", &o.flag)),
    OPERATION("copy service packs", Edits, instcomm_duplicate_sp_list(&o.packs, sp_list, "sweep")),
    OPERATION("check for locations", Asks, (inst_ldpath_chk_loc_profile_exists(ACTIVE_QX), 0)),
    OPERATION("add a bundle for all nodes", Stores, add("alpha-2.0-r1", VERD_PKG_HOST_SMU, 0)),
    OPERATION("add to locations", Adds, add("gamma-1.0-r1", 0, 1)),
    OPERATION("add nodes of a package", Adds, add("beta-2.0-r1", 0, 1)),
    ON_NOTHING("add a first location", Stores, add("beta-2.0-r1", 0, 1)),
    OPERATION("tag", Edits, inst_ldpath_tag_sp_pkg_in_swp(&changed.body(), sp_list, &o.flag)),
    OPERATION("untag", Edits, inst_ldpath_untag_sp_pkg_in_swp(&changed.body(), sp_list)),
    OPERATION("add to the stored", Stores,
              inst_ldpath_add_swprofile_pkgs(ACTIVE_QX, "alpha-2.0-r1", const_cast<char *const *>(PATHS.data()), 2, 5,
                                             VERD_PKG_HOST_SMU, sp_source, &o.error.ptr)),
    OPERATION("remove from the stored", Stores,
              inst_ldpath_remove_swprofile_pkgs(ACTIVE_QX, "alpha-1.0-r1", removed_list, &o.error.ptr)),
    OPERATION("remove a stored base RPM", Stores,
              inst_ldpath_remove_swprofile_pkgs(ACTIVE_QX, "base.rpm", nullptr, &o.error.ptr)),
    OPERATION("add service packs to the stored", Stores, inst_ldpath_add_swprofile_sps(ACTIVE_QX, sp_source)),
    // Stored with its tags if untagging fails.
    OPERATION("remove service packs from the stored", Adds, inst_ldpath_remove_swprofile_sps(ACTIVE_QX, removed_list)),
    OPERATION("add host packages", Asks, // to another profile
              instcomm_add_host_pkgs_to_swp(3, nullptr, 0, 1, const_cast<char *const *>(HOST.data()), 0)),
    ON_NOTHING("add a first image", Stores, inst_ldpath_add_image_location(ACTIVE_QX, &node, 1, "image", "2")),
    OPERATION("add nodes of an image", Stores, inst_ldpath_add_image_location(ACTIVE_QX, &node, 1, "image", "2")),
};

// The .bin of the active profile, and its text twin without the head, which has the time.
struct Disk {
    std::string bin;
    std::string twin;
};

class FaultSweepTest : public RepositoryTest
{
protected:
    std::set<std::string> known_texts = {""};
    std::string line; // of the transcript, to which more texts may be appended
    Disk before, after;
    std::string unedited, edited; // `changed`, encoded

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

    // Returns whether no text has been like this one, apart from numbers, paths and names of functions.
    bool is_new(const std::string &text)
    {
        static const std::regex changing("/[^ ]+|inst[a-z]*_\\w+|[0-9a-f]*[0-9][0-9a-f]*");
        return known_texts.insert(std::regex_replace(text, changing, "")).second;
    }

    // Records the error text and the messages of a failure that are new. Successive ones of the same failure share a
    // line.
    void record_new_texts(const std::string &title, uint64_t rc, const Outcome &outcome)
    {
        std::string texts;
        std::istringstream parts(outcome.error.str());
        for (std::string part; std::getline(parts, part, ';');) {
            texts = is_new(part) ? " " + abbreviated(outcome.error.str()) : texts;
        }
        for (const std::string &message : hooks::lines()) {
            const std::string text = message.substr(0, message.find_last_not_of("\n ") + 1);
            texts += is_new(message) ? " | " + abbreviated(text) : "";
        }
        if (title.empty() || texts.empty()) {
            return;
        }
        std::ostringstream head;
        head << title << ": " << std::hex << rc;
        if (line.starts_with(head.str() + " ") && line.size() + texts.size() < 240) {
            line += " or" + texts;
        } else {
            transcript += line + (line.empty() ? "" : "\n");
            line = head.str() + texts;
        }
    }

    // `title` is null if the texts are not recorded.
    uint64_t run(const Operation &operation, hooks::Function failing, const std::string *title)
    {
        Outcome outcome;
        outcome.flag = 0;
        const uint64_t rc = operation.run(outcome);
        hooks::disarm();
        if (title != nullptr) {
            record_new_texts(*title, rc, outcome);
        }
        const bool has_answer = outcome.text != nullptr || outcome.list != nullptr || outcome.packs != nullptr ||
                                outcome.flag != 0 || outcome.count != 0;
        EXPECT_TRUE(operation.kind != Operation::Asks || !has_answer || rc == 0);
        const bool is_lost = failing >= hooks::LOSE_PATH && hooks::orders[failing].fired;
        EXPECT_EQ(outcome.profile.ptr != nullptr, operation.kind == Operation::Fetches && rc == 0 && !is_lost);
        EXPECT_TRUE(outcome.text != nullptr || operation.kind != Operation::Names || rc != 0 || is_lost);
        return rc;
    }

    // Creates everything again that an operation changes.
    void prepare(const Operation &operation) const
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
        if (operation.kind == Operation::Asks) {
            changed.body().sp_names_count = 1; // the second is null
        } else if (operation.kind == Operation::Edits && !operation.from_nothing) {
            inst_swp_package member = new_package("gamma-1-1");
            inst_swp_package_set_is_sp_pkg(&member, 1);
            put_package(changed.body(), member);
        }
        addition = std::make_unique<Addition>("alpha-2.0-r1", PATHS);
    }

    // After a success, the flat copies equal the files, except if these could not be verified and were deleted.
    static void check_copies(uint64_t rc)
    {
        if (rc == 0 && fs::exists(std::string(LOCAL_QX) + "active.bin")) {
            for (const char *const file : {"active.bin", "active.txt"}) {
                EXPECT_EQ(read_file(std::string(FLAT_QX) + file), read_file(std::string(LOCAL_QX) + file));
            }
        }
    }

    // Without the name of the twin, the .bin may have been changed.
    static void check_lost_result(Operation::Kind kind, hooks::Function function, uint64_t rc)
    {
        const uint64_t expected = function == hooks::LOSE_PATH ? INST_RC_INVALID_ARG : INST_RC_FAILED;
        const bool is_fallback_missing = rc == INSTMGR_RC_ERRNO(ENOENT);
        EXPECT_TRUE(rc == 0 || rc == expected || is_fallback_missing || function == hooks::LOSE_PROFILE);
        EXPECT_TRUE(rc != 0 || function != hooks::LOSE_TWIN || kind == Operation::Adds || kind == Operation::Names);
    }

    void check_store(Operation::Kind kind, hooks::Function function, bool fails_always, uint64_t rc) const
    {
        const Disk found = disk();
        const bool exists = fs::exists(active_bin);
        const bool is_success = rc == 0 && kind == Operation::Stores;
        const bool is_unchanged = found.bin == before.bin;
        EXPECT_TRUE(!exists || is_unchanged || found.bin == after.bin);
        // A file that cannot be written is deleted, with an error; one that cannot be verified, with result 0.
        const bool is_unverified = function == hooks::ALLOCATION || (function == hooks::FREAD && fails_always);
        const bool has_other_error = function == hooks::ALLOCATION && fails_always;
        EXPECT_TRUE(exists || function == hooks::FWRITE || is_unverified);
        EXPECT_TRUE(exists || kind == Operation::Adds || is_unverified == (rc == 0) || has_other_error);
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

    // Runs an operation without a failure.
    void measure(const Operation &operation, const Disk &disk_before)
    {
        before = disk_before;
        prepare(operation);
        unedited = encoding_of(*changed.ptr);
        const std::string untitled; // its texts are only known from now on
        EXPECT_EQ(run(operation, hooks::ALLOCATION, &untitled), 0U) << operation.name;
        edited = encoding_of(*changed.ptr);
        after = disk();
    }

    // Lets each call of a function fail in turn, alone or with all later calls. Returns how often that was.
    int sweep(const Operation &operation, hooks::Function failing, int err, int times)
    {
        const std::string title = std::string(operation.name) + ", " + hooks::NAMES[failing];
        const std::string *const recorded = times == 1 && err == ENOMEM ? &title : nullptr;
        for (int nth = 1;; ++nth) {
            SCOPED_TRACE(title + " " + std::to_string(nth) + (times == 1 ? ": " : " and all later ones: ") +
                         strerrorname_np(err));
            prepare(operation);
            hooks::reset();
            hooks::fail(failing, nth, err, times);
            const uint64_t rc = run(operation, failing, recorded);
            if (!hooks::orders[failing].fired) {
                EXPECT_EQ(rc, 0U);
                return nth - 1;
            }
            check_outcome(operation, failing, times == hooks::ALWAYS, rc);
        }
    }

    void check_outcome(const Operation &operation, hooks::Function failing, bool fails_always, uint64_t rc) const
    {
        if (failing >= hooks::LOSE_PATH) {
            check_lost_result(operation.kind, failing, rc);
            EXPECT_TRUE(rc == 0 || failing == hooks::LOSE_TWIN || disk().bin == before.bin);
            EXPECT_TRUE(rc == 0 || encoding_of(*changed.ptr) == unedited);
        } else if (operation.kind == Operation::Stores || operation.kind == Operation::Adds) {
            check_store(operation.kind, failing, fails_always, rc);
        } else if (operation.kind == Operation::Copies) {
            check_copies(rc);
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
    store_active_profile();
    const Disk full = disk();
    const Fetched empty = {new_profile_of_size(60)};
    ASSERT_EQ(store(empty.ptr), 0U);
    const Disk bare = disk();
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
    int injections = 0;
    std::vector<int> errors = {ENOMEM};
    if (getenv("SWP_ALL_ERRORS") != nullptr) {
        errors.insert(errors.end(), {EIO, ENOSPC, EDQUOT, EROFS, EACCES, EPERM, EBUSY, EINTR, EMFILE, ENFILE, ENOTDIR,
                                     ELOOP, ESTALE});
    }
    for (const Operation &operation : OPERATIONS) {
        measure(operation, operation.from_nothing ? bare : full);
        for (int function = 0; function < hooks::FUNCTION_COUNT; ++function) {
            for (const int err : errors) {
                injections += sweep(operation, static_cast<hooks::Function>(function), err, 1);
                injections += sweep(operation, static_cast<hooks::Function>(function), err, hooks::ALWAYS);
            }
        }
    }
    std::printf("%d failures\n", injections);
    record_line(line);
    inst_ldpath_free_swprofile_ext(&changed.ptr);
    addition.reset();
}

} // namespace
