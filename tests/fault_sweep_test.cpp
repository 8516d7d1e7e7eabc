// Every allocation and every call into the system fails once in every operation. What may follow is an error with the
// disk as it was, success with everything done, or one of the outcomes that docs/contract.md lists for a store. That
// nothing leaks is the sanitizers' part.
#include "support/bodies.h"

#include <memory>

namespace
{

// What an operation handed out; all of it is the caller's.
struct Outcome {
    uint64_t rc = 0;
    inst_sw_profile_sdr_ext *profile = nullptr;
    char *path = nullptr;
    char *error = nullptr;
    char **list = nullptr;
    uint32_t count = 0;
    serv_packs *packs = nullptr;
    uint8_t flag = 0;
};

inst_sw_profile_sdr_ext *changed;  // what is stored, or edited in memory
swprofile_create_request *request; // what is created
inst_node_loc node;                // for which something is added
uint64_t sp_source;

uint64_t add_image()
{
    return inst_ldpath_add_image_location("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &node, 1, "image", "2");
}

struct Operation {
    const char *name;
    // Adds store what could be added, if need be nothing; Copies have flat copies.
    enum Kind { Fetches, Names, Stores, Adds, Copies, Edits, Asks } kind;
    void (*run)(Outcome &);
    bool from_nothing = false; // starts from an empty profile
};

constexpr uint32_t NO_HOST_SMUS = 1;

const std::vector<const char *> PATHS = {"/a/x-1-1.noarch.rpm", "y"};

// A package that is offered to a body; what the body doesn't take is freed.
struct Offer {
    char *name = strdup("alpha-2.0-r1");
    char **files = new_list(PATHS);
    char *superseded[8] = {};
    uint32_t count = 0;

    uint64_t add_to(inst_sw_profile_info &body)
    {
        const uint64_t rc = inst_ldpath_add_pkg_in_swp(&body, name, 2, files, 5, VERD_PKG_HOST_SMU, superseded, &count,
                                                       0, sp_source, nullptr);
        if (rc == 0) {
            name = nullptr;
            files = nullptr;
        }
        return rc;
    }
    ~Offer()
    {
        std::free(name);
        inst_free_string_list(2, files);
        for (char *const text : superseded) {
            std::free(text);
        }
    }
};
std::unique_ptr<Offer> offer;

uint64_t remove(const char *name)
{
    return inst_ldpath_remove_pkg_in_swp(&changed->sdr_sw_profile.sw_profile, name, nullptr);
}

uint64_t add(const char *package, uint32_t type, uint32_t nodes)
{
    return inst_ldpath_add_pkg_location("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &node, nodes, package, 0, type,
                                        sp_source);
}

serv_packs *sp_list()
{
    return reinterpret_cast<serv_packs *>(sp_source);
}

const Operation OPERATIONS[] = {
    {"get QX", Operation::Fetches,
     [](Outcome &o) { o.rc = inst_ldpath_get_sdr_swprofile("default-sdr", VERD_SWP_ACTIVE, &o.profile); }},
    {"get", Operation::Fetches,
     [](Outcome &o) {
         o.rc = inst_ldpath_get_swprofile("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.profile, &o.error);
     }},
    {"get if exists", Operation::Fetches,
     [](Outcome &o) {
         o.rc = inst_ldpath_get_sw_profile_if_exists("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.profile);
     }},
    {"name file", Operation::Names,
     [](Outcome &o) { o.rc = inst_get_sdr_swprofile_file("s", &o.path, 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.error); }},
    {"name twin", Operation::Names,
     [](Outcome &o) { o.rc = inst_get_sdr_swprofile_txt_file("/a/b.bin", &o.path, &o.error); }},
    {"name flag", Operation::Names,
     [](Outcome &o) { o.rc = inst_get_boot_active_swp_flag("s", &o.path, 0, VERD_VM_QX); }},
    {"store", Operation::Stores,
     [](Outcome &o) {
         o.rc = inst_ldpath_store_sdr_swprofile(changed, 0, VERD_SWP_ACTIVE, nullptr, VERD_VM_QX, &o.error);
     }},
    {"store locally", Operation::Copies,
     [](Outcome &o) {
         o.rc = inst_ldpath_store_sdr_swprofile(changed, 1, VERD_SWP_ACTIVE, nullptr, VERD_VM_QX, &o.error);
     }},
    {"create", Operation::Stores, [](Outcome &o) { o.rc = inst_ldpath_create_sdr_swprofile(request); }},
    {"add in memory", Operation::Edits, [](Outcome &o) { o.rc = offer->add_to(changed->sdr_sw_profile.sw_profile); }},
    {"add the first service packs", Operation::Edits,
     [](Outcome &o) { o.rc = offer->add_to(changed->sdr_sw_profile.sw_profile); }, true},
    {"remove", Operation::Edits, [](Outcome &o) { o.rc = remove("alpha-1.0-r1"); }},
    {"remove a base RPM", Operation::Edits, [](Outcome &o) { o.rc = remove("base.rpm"); }},
    {"promote", Operation::Edits,
     [](Outcome &o) { o.rc = inst_ldpath_swp_move_prep_to_act("other", 0, VERD_VM_QX, &o.error); }},
    {"copy", Operation::Edits,
     [](Outcome &o) {
         o.rc = inst_ldpath_swp_copy("other", 0, VERD_VM_QX, VERD_SWP_PREPARED, VERD_SWP_COMMITTED, &o.error);
     }},
    {"delete", Operation::Edits, [](Outcome &o) { o.rc = inst_ldpath_delete_swprofile("other", 0, VERD_VM_QX); }},
    {"ask for the image", Operation::Asks,
     [](Outcome &o) { o.rc = inst_ldpath_get_swprofile_image(changed, &o.path); }},
    {"ask for the file list", Operation::Asks,
     [](Outcome &o) { o.rc = inst_ldpath_get_swprofile_filelist(changed, &o.list, &o.count, &o.error); }},
    {"ask for packages", Operation::Asks,
     [](Outcome &o) {
         o.rc = inst_ldpath_get_swprofile_img_pkgs(changed, &o.path, &o.list, &o.count, NO_HOST_SMUS, 0, &o.packs);
     }},
    {"ask for all names", Operation::Asks,
     [](Outcome &o) { o.rc = inst_ldpath_get_swprofile_pkgs(changed, &o.list, &o.count); }},
    {"ask for service packs", Operation::Asks,
     [](Outcome &o) { o.rc = inst_ldpath_get_swprofile_sps(changed, &o.list, &o.count, &o.packs, &o.error); }},
    {"ask for all service packs", Operation::Asks,
     [](Outcome &o) { o.rc = inst_ldpath_get_all_swprofile_sps("asked", 1, &o.list, &o.count); }},
    {"ask for package information", Operation::Asks,
     [](Outcome &o) {
         o.rc = inst_ldpath_get_local_swprofile_pkgs_info("asked", VERD_SWP_ACTIVE, VERD_VM_UVF, &o.list, &o.count,
                                                          &o.error);
     }},
    {"ask for active data", Operation::Asks,
     [](Outcome &o) { o.rc = inst_swp_get_show_install_active_data("default-sdr", 0, VERD_VM_QX, &o.list, &o.count); }},
    {"ask for a package", Operation::Asks,
     [](Outcome &o) {
         o.rc = inst_swp_is_pkg_present("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "beta-2.0-r1", &o.flag);
     }},
    {"ask for RPMs", Operation::Asks,
     [](Outcome &o) {
         o.rc = inst_swp_get_package_rpms("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "alpha-1.0-r1", nullptr,
                                          &o.list, &o.count, &o.error);
     }},
    {"ask for the active image", Operation::Asks,
     [](Outcome &o) {
         o.rc = inst_get_image_name("default-sdr", &o.path);
         o.rc = o.path == nullptr && o.rc == 0 ? INST_RC_NO_MEMORY : o.rc; // which isn't told
     }},
    {"ask for a match", Operation::Asks,
     [](Outcome &o) {
         uint8_t is_match = 0;
         o.rc = inst_ldpath_check_swp_mismatch_wrapper("asked", 0, VERD_VM_QX, VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, 0,
                                                       1, &is_match);
         o.flag = o.rc == 0 ? is_match : 0;
     }},
    {"ask for the version of a node", Operation::Asks,
     [](Outcome &o) {
         o.rc = instmgr_cmp_sw_version(0, 0, 0, "1.4.0", &o.flag);
         o.flag = 0; // 1 also when it fails
     }},
    {"ask for a node", Operation::Asks, [](Outcome &o) { o.rc = instmgr_check_node_in_loc_mswp(0, 0, 0, &o.flag); }},
    {"ask whether it exists", Operation::Asks,
     [](Outcome &o) {
         o.rc = inst_ldpath_check_swprofile_exists("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, &o.flag, &o.error);
     }},
    {"ask whether states are equal", Operation::Asks,
     [](Outcome &o) { o.rc = inst_ldpath_is_sdr_master_act_comm_swp_equal("asked", &o.flag); }},
    {"copy service packs", Operation::Asks,
     [](Outcome &o) {
         const uint64_t rc = instcomm_duplicate_sp_list(&o.packs, sp_list(), "sweep"); // or an empty set
         EXPECT_EQ(rc == 0, o.packs != nullptr && o.packs->service_packs_count == 2);
     }},
    {"check for locations", Operation::Asks,
     [](Outcome &) { inst_ldpath_chk_loc_profile_exists("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX); }},
    {"add a bundle for all nodes", Operation::Stores,
     [](Outcome &o) { o.rc = add("alpha-2.0-r1", VERD_PKG_HOST_SMU, 0); }},
    {"add to locations", Operation::Adds, [](Outcome &o) { o.rc = add("gamma-1.0-r1", 0, 1); }},
    {"add nodes of a package", Operation::Adds, [](Outcome &o) { o.rc = add("beta-2.0-r1", 0, 1); }},
    {"add a first location", Operation::Stores, [](Outcome &o) { o.rc = add("beta-2.0-r1", 0, 1); }, true},
    {"tag", Operation::Edits,
     [](Outcome &o) {
         uint8_t is_tagged = 0;
         o.rc = inst_ldpath_tag_sp_pkg_in_swp(&changed->sdr_sw_profile.sw_profile, sp_list(), &is_tagged);
         EXPECT_EQ(is_tagged, o.rc == 0 ? 1 : 0);
     }},
    {"untag", Operation::Edits,
     [](Outcome &o) {
         inst_sw_profile_info &body = changed->sdr_sw_profile.sw_profile;
         o.rc = inst_ldpath_untag_sp_pkg_in_swp(&body, sp_list());
         EXPECT_EQ(inst_swp_package_has_is_sp_pkg(&body.packages[2]), o.rc != 0);
     }},
    {"add to the stored", Operation::Stores,
     [](Outcome &o) {
         char *rpms[] = {offer->files[0], offer->files[1]};
         o.rc = inst_ldpath_add_swprofile_pkgs("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "alpha-2.0-r1", rpms, 2,
                                               5, VERD_PKG_HOST_SMU, sp_source, &o.error);
     }},
    {"remove from the stored", Operation::Stores,
     [](Outcome &o) {
         o.rc = inst_ldpath_remove_swprofile_pkgs("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "alpha-1.0-r1",
                                                  sp_list(), &o.error);
     }},
    {"add service packs to the stored", Operation::Stores,
     [](Outcome &o) {
         o.rc = inst_ldpath_add_swprofile_sps("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, sp_source);
     }},
    {"remove service packs from the stored", Operation::Adds, // stored with its tags when these can't be taken away
     [](Outcome &o) {
         o.rc = inst_ldpath_remove_swprofile_sps("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, sp_list());
     }},
    {"add host packages", Operation::Asks, // to another profile
     [](Outcome &o) {
         char *const paths[] = {offer->name};
         o.rc = instcomm_add_host_pkgs_to_swp(VERD_SWP_PREPARED, nullptr, 0, 1, paths, 0);
     }},
    {"add a first image", Operation::Stores, [](Outcome &o) { o.rc = add_image(); }, true},
    {"add nodes of an image", Operation::Stores, [](Outcome &o) { o.rc = add_image(); }},
};

// What is on disk of the active profile: its .bin, and its twin without the changing header.
struct Disk {
    std::string bin;
    std::string twin;
};

class FaultSweepTest : public RepositoryTest
{
protected:
    // Profiles that are only asked for.
    static void given_others()
    {
        Fetched profile = {new_full_profile()};
        std::free(profile.body().sp_names[1]);
        profile.body().sp_names[1] = strdup("SP2");
        for (const int32_t state : {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE}) {
            profile.ptr->ext_value = static_cast<uint64_t>(state);
            inst_write_sdr_swprofile_to_file2(nullptr, 0, state, VERD_VM_ADMIN, profile.ptr, nullptr);
            inst_write_sdr_swprofile_to_file2("asked", 0, state, VERD_VM_QX, profile.ptr, nullptr);
            inst_write_sdr_swprofile_to_file2("asked", 1, state, VERD_VM_UVF, profile.ptr, nullptr);
        }
    }

    Disk disk() const
    {
        const std::string twin = read_file(active_txt);
        return {read_file(active_bin), twin.substr(std::min(twin.find("\n\n"), twin.size()))};
    }

    static void run(const Operation &operation, Outcome &outcome)
    {
        operation.run(outcome);
        hooks::disarm();
        const Text error = {outcome.error};
        const Text path = {outcome.path};
        const Fetched fetched = {outcome.profile};
        const bool has_answer = path.ptr != nullptr || outcome.list != nullptr || outcome.packs != nullptr ||
                                outcome.flag != 0 || outcome.count != 0;
        EXPECT_TRUE(operation.kind != Operation::Asks || !has_answer || outcome.rc == 0);
        inst_free_string_list(outcome.count, outcome.list);
        free_service_pack(outcome.packs);
        EXPECT_EQ(fetched.ptr != nullptr, operation.kind == Operation::Fetches && outcome.rc == 0);
        EXPECT_TRUE(path.ptr != nullptr || operation.kind != Operation::Names || outcome.rc != 0);
    }

    // Makes all anew that an operation changes.
    void prepare(const Operation &operation, const Disk &before) const
    {
        write_file(active_bin, before.bin);
        write_file(active_txt, before.twin);
        write_file("/install_repo/gl/instdb/kelo-master-swprofile-prepared.bin", before.bin);
        for (const char *const file : {"prepared.bin", "prepared.txt", "active.bin", "active.txt"}) {
            write_file(std::string("/install_repo/gl/instdb/sdr/other/qx-swprofile-") + file, file);
        }
        inst_ldpath_free_swprofile_ext(&changed);
        changed = operation.from_nothing
                      ? static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)))
                      : new_full_profile();
        changed->ext_value = 77;
        if (operation.kind == Operation::Asks) {
            changed->sdr_sw_profile.sw_profile.sp_names_count = 1; // the other is null
        } else if (operation.kind == Operation::Edits && !operation.from_nothing) {
            inst_swp_package member = new_package("gamma-1-1");
            inst_swp_package_set_is_sp_pkg(&member, 1);
            put_package(changed->sdr_sw_profile.sw_profile, member);
        }
        offer = std::make_unique<Offer>();
    }

    // Success means that the flat copies are those of the files, if these could be verified.
    static void check_copies(uint64_t rc)
    {
        const fs::path original = "/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin";
        const fs::path copy = "/install_repo/local/qx-swprofile-active.bin";
        if (rc == 0 && fs::exists(original)) {
            EXPECT_EQ(read_file(copy), read_file(original));
            EXPECT_EQ(read_file(fs::path(copy).replace_extension("txt")),
                      read_file(fs::path(original).replace_extension("txt")));
        }
        fs::remove(copy);
        fs::remove(fs::path(copy).replace_extension("txt"));
    }

    void check_store(Operation::Kind kind, hooks::Function function, uint64_t rc, const Disk &before,
                     const Disk &after) const
    {
        const Disk found = disk();
        const bool is_there = fs::exists(active_bin);
        const bool is_success = rc == 0 && kind == Operation::Stores;
        EXPECT_TRUE(!is_there || found.bin == before.bin || found.bin == after.bin);
        EXPECT_TRUE(is_there || function == hooks::FWRITE || function == hooks::ALLOCATION); // when it is removed
        EXPECT_TRUE(is_there || kind == Operation::Adds || (function == hooks::ALLOCATION) == (rc == 0));
        EXPECT_TRUE(!is_success || !is_there || found.bin == after.bin);
        if (found.bin == before.bin) {
            EXPECT_EQ(found.twin, before.twin);
        } else if (is_success && function == hooks::ALLOCATION) { // cut short
            EXPECT_TRUE(after.twin.starts_with(found.twin)) << found.twin;
        } else if (is_success) {
            EXPECT_EQ(found.twin, after.twin);
        }
    }
};

TEST_F(FaultSweepTest, EveryCallFailsOnce)
{
    CreateRequest create;
    request = &create.request;
    given_others();
    given_active_profile();
    const Disk full = disk();
    Fetched empty = {new_profile_of_size(60)};
    ASSERT_EQ(store(empty.ptr), 0U);
    const Disk bare = disk();
    g_inst_pkg_fmt_info.is_new_format = 1;
    fs::create_directories("/install_repo/tmp");
    write_file("/install_repo/gl/verdalis/x-1-1.rpm", "x");
    ASSERT_EQ(std::system("cd /install_repo/gl/verdalis && tar -cf alpha-2.0-r1 x-1-1.rpm"), 0);
    const ServicePacks packs{{"SP1", {"alpha-2.0-r1"}},
                             {"SP2", {"alpha-2.0-r1.noarch", "beta-2.0-r1", "gamma-1-1-tp-1"}}};
    sp_source = packs.source();
    for (const Operation &operation : OPERATIONS) {
        const Disk &before = operation.from_nothing ? bare : full;
        Outcome whole;
        prepare(operation, before);
        const std::string unedited = encoding_of(*changed);
        run(operation, whole);
        ASSERT_EQ(whole.rc, 0U) << operation.name;
        const std::string edited = encoding_of(*changed);
        const Disk after = disk();
        for (int function = 0; function < hooks::FUNCTION_COUNT; ++function) {
            const auto failing = static_cast<hooks::Function>(function);
            for (int nth = 1; nth != 0; ++nth) {
                SCOPED_TRACE(std::string(operation.name) + ", function " + std::to_string(function) + ", call " +
                             std::to_string(nth));
                prepare(operation, before);
                hooks::reset();
                hooks::fail(failing, nth, ENOMEM);
                Outcome outcome;
                run(operation, outcome);
                if (!hooks::orders[failing].fired) {
                    EXPECT_EQ(outcome.rc, 0U);
                    nth = -1; // there are no more calls
                } else if (operation.kind == Operation::Stores || operation.kind == Operation::Adds) {
                    check_store(operation.kind, failing, outcome.rc, before, after);
                } else if (operation.kind == Operation::Copies) {
                    check_copies(outcome.rc);
                } else {
                    EXPECT_EQ(disk().bin, before.bin);
                    EXPECT_EQ(encoding_of(*changed), outcome.rc == 0 ? edited : unedited);
                }
            }
        }
    }
    inst_ldpath_free_swprofile_ext(&changed);
    offer.reset();
    g_inst_pkg_fmt_info.is_new_format = 0;
}

} // namespace
