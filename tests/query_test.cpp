// Questions about fetched and stored profiles.
#include "support/bodies.h"

namespace
{

using Info = inst_sw_profile_info;

#define ASK(title, call)                                                                                               \
    ask(title, [&]([[maybe_unused]] Answer &a, [[maybe_unused]] char **err) -> uint64_t { return call; })

class QueryTest : public RepositoryTest
{
protected:
    void ask(const std::string &title, const std::function<uint64_t(Answer &, char **)> &query)
    {
        Answer a;
        tell(title, [&](char **err) {
            const uint64_t rc = query(a, err);
            answer = a.str();
            return rc;
        });
    }

    // Stores a global profile whose body has a version and the service packs.
    static void given(const char *key, uint32_t vm_type, int32_t state, const char *version,
                      const std::vector<const char *> &packs)
    {
        const Fetched profile = {new_full_profile()};
        std::free(std::exchange(profile.body().version, strdup(version)));
        inst_free_string_list(profile.body().sp_names_count, profile.body().sp_names);
        inst_sw_profile_info_set_sp_names(&profile.body(), new_list(packs), static_cast<uint32_t>(packs.size()));
        ASSERT_EQ(store_as(key, 0, state, vm_type, profile), 0U);
    }
};

TEST_F(QueryTest, WhatAFetchedProfileHolds)
{
    Fetched profile = {new_full_profile()};
    const auto ask_names = [&](const std::string &title) {
        ASK(title + ", packages", inst_ldpath_get_swprofile_pkgs(profile.ptr, &a.list, &a.count));
        ASK(title + ", service packs", inst_ldpath_get_swprofile_sps(profile.ptr, &a.list, &a.count, &a.packs, err));
    };
    const auto ask_all = [&](const std::string &title) {
        ASK(title + ", image", inst_ldpath_get_swprofile_image(profile.ptr, &a.image));
        ASK(title + ", file list", inst_ldpath_get_swprofile_filelist(profile.ptr, &a.list, &a.count, err));
        ASK(title + ", image and packages",
            inst_ldpath_get_swprofile_img_pkgs(profile.ptr, &a.image, &a.list, &a.count, 9, 0, &a.packs));
        ask_names(title);
    };
    ask_names("a service pack without a name");
    profile.body().sp_names[1] = strdup("SP2");
    write_file("/tmp/enable_sp_debugs", "");
    ask_all("whole");
    fs::remove("/tmp/enable_sp_debugs");
    for (const std::pair<uint32_t, uint8_t> &how :
         {std::pair<uint32_t, uint8_t>{0, 0}, {1, 0}, {4, 0}, {9, 1}, {0, 1}}) {
        ASK("filter " + std::to_string(how.first) + (how.second != 0 ? ", not flagged" : ""),
            inst_ldpath_get_swprofile_img_pkgs(profile.ptr, &a.image, &a.list, &a.count, how.first, how.second,
                                               nullptr));
    }
    failing(hooks::STRNCPY_S);
    ASK("image, a refused copy", inst_ldpath_get_swprofile_image(profile.ptr, &a.image));
    std::free(std::exchange(profile.body().image.name, nullptr));
    ask_all("no image name");
    ASK("no list", inst_ldpath_get_swprofile_filelist(profile.ptr, nullptr, &a.count, err));

    inst_ldpath_free_swprofile_ext(&profile.ptr);
    profile.ptr = new_profile();
    ask_all("no SDR profile");
    inst_sw_profile_sdr_set_vm_type(&profile.ptr->sdr_sw_profile, 3);
    ask_all("no VM profile");
    profile.body().image = new_package("image.iso");
    inst_sw_profile_info_set_sp_names(&profile.body(), nullptr, 0);
    inst_sw_profile_info_set_sp_details(&profile.body(), nullptr, 0);
    ask_all("nothing but an image");
    inst_ldpath_free_swprofile_ext(&profile.ptr);
    ask_all("nothing");
}

// Each pointer that an operation requires is missing once.
TEST_F(QueryTest, MissingArguments)
{
    const Fetched full = {new_full_profile()};
    inst_sw_profile_sdr_ext *const profile = full.ptr;
    Info *const body = &full.body();
    const ServicePacks packs{{"SP1", {"a"}}};
    char **const rpms = packs.set->service_packs->sp_rpms;
    Answer a;
    for (const uint64_t rc : {
             inst_ldpath_get_swprofile_image(profile, nullptr),
             inst_ldpath_get_swprofile_filelist(profile, &a.list, nullptr, nullptr),
             inst_ldpath_get_swprofile_pkgs(profile, nullptr, &a.count),
             inst_ldpath_get_swprofile_pkgs(profile, &a.list, nullptr),
             inst_ldpath_get_swprofile_img_pkgs(profile, nullptr, &a.list, &a.count, 0, 0, nullptr),
             inst_ldpath_get_swprofile_img_pkgs(profile, &a.image, nullptr, &a.count, 0, 0, nullptr),
             inst_ldpath_get_swprofile_img_pkgs(profile, &a.image, &a.list, nullptr, 0, 0, nullptr),
             inst_ldpath_get_swprofile_sps(profile, nullptr, &a.count, nullptr, nullptr),
             inst_ldpath_get_swprofile_sps(profile, &a.list, nullptr, nullptr, nullptr),
             inst_ldpath_tag_sp_pkg_in_swp(nullptr, packs.set, &a.flag),
             inst_ldpath_tag_sp_pkg_in_swp(body, nullptr, &a.flag),
             inst_ldpath_tag_sp_pkg_in_swp(body, packs.set, nullptr),
             inst_ldpath_untag_sp_pkg_in_swp(nullptr, packs.set),
             inst_ldpath_untag_sp_pkg_in_swp(body, nullptr),
             inst_remove_rpms_part_of_active_sp(nullptr, rpms, 1, &a.list, &a.count),
             inst_remove_rpms_part_of_active_sp(body, nullptr, 1, &a.list, &a.count),
             inst_remove_rpms_part_of_active_sp(body, rpms, 1, nullptr, &a.count),
             inst_remove_rpms_part_of_active_sp(body, rpms, 1, &a.list, nullptr),
             instmgr_convert_sp_det_to_serv_pack(nullptr, packs.set->service_packs, 1),
             instmgr_convert_sp_det_to_serv_pack(&a.packs, nullptr, 1),
             instcomm_duplicate_sp_list(nullptr, packs.set, "caller"),
             instcomm_duplicate_sp_list(&a.packs, nullptr, "caller"),
             instcomm_duplicate_sp_list(&a.packs, packs.set, nullptr),
         }) {
        EXPECT_EQ(rc, INST_RC_INVALID_ARG);
    }
    EXPECT_TRUE(a.image == nullptr && a.list == nullptr && a.packs == nullptr && a.count == 0);
}

TEST_F(QueryTest, SetsOfServicePacks)
{
    ServicePacks packs{{"SP1", {"a", "b"}}, {"SP2", {}}, {"SP3", {"c"}}};
    for (const int nth : {1, 2, 5, 99}) { // the set, its array, in the first pack; all is well
        failing(hooks::ALLOCATION, nth);
        ASK("allocation " + std::to_string(nth),
            instmgr_convert_sp_det_to_serv_pack(&a.packs, packs.set->service_packs, 3));
    }
    Answer none;
    EXPECT_EQ(instmgr_convert_sp_det_to_serv_pack(&none.packs, nullptr, 0), 0U);
    EXPECT_EQ(none.packs, nullptr);
}

TEST_F(QueryTest, InstalledServicePacks)
{
    const auto ask_installed = [this](const std::string &title, uint8_t with_committed) {
        ASK(title, inst_ldpath_get_all_swprofile_sps("default-sdr", with_committed, &a.list, &a.count));
    };
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {"SP1", "SP2"});
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {"SP3", "SP1"});
    ask_installed("active ones", 0);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP2", "SP0"});
    ask_installed("no committed Admin profile", 1);
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_COMMITTED, "1", {"SP4"});
    ask_installed("all of them", 1);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP1", "SP2"});
    ask_installed("committed is active", 1);
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {});
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {});
    ask_installed("none", 0);
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {nullptr});
    ask_installed("one without a name", 0);
    ASK("no list", inst_ldpath_get_all_swprofile_sps("s", 0, nullptr, &a.count));
    ASK("no key", inst_ldpath_get_all_swprofile_sps(nullptr, 0, &a.list, &a.count));
    ASK("no count", inst_ldpath_get_all_swprofile_sps("s", 0, &a.list, nullptr));
}

TEST_F(QueryTest, ComparingStates)
{
    const auto ask_equal = [this](const std::string &title) {
        ASK(title, inst_ldpath_is_sdr_master_act_comm_swp_equal("default-sdr", &a.flag));
    };
    ask_equal("nothing");
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {"SP1"});
    ask_equal("not committed");
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP1"});
    ask_equal("equal");
    const auto match = [&](const std::string &title, int32_t with, uint32_t selector) {
        ASK(title, inst_ldpath_check_swp_mismatch_wrapper("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, with, selector,
                                                          0, &a.flag));
    };
    match("a match", VERD_SWP_COMMITTED, 0);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "2", {"SP1"});
    ask_equal("not equal");
    match("no match", VERD_SWP_COMMITTED, 0);
    match("a match of the packages", VERD_SWP_COMMITTED, 2);
    match("with what isn't there", VERD_SWP_PREPARED, 0);
    write_file(std::string(GLOBAL_QX) + "committed.bin", "junk");
    ask_equal("a damaged committed one");
    ASK("no key", inst_ldpath_is_sdr_master_act_comm_swp_equal(nullptr, &a.flag));
    ASK("no flag", inst_ldpath_is_sdr_master_act_comm_swp_equal("s", nullptr));
    EXPECT_EQ(inst_ldpath_check_swp_mismatch_wrapper("s", 0, 3, 1, 2, 0, 0, nullptr), INST_RC_INVALID_ARG);
}

TEST_F(QueryTest, SoftwareOfNodes)
{
    const auto version = [&](const std::string &title, uint32_t id, const char *text) {
        ASK(title, instmgr_cmp_sw_version(id, 0, 0, text, &a.flag));
    };
    const auto is_listed = [&](const std::string &title, uint32_t id) {
        ASK(title, instmgr_check_node_in_loc_mswp(id, 0, 0, &a.flag));
    };
    version("version without any profile", 1, "1");
    is_listed("location without any profile", 1);

    const Fetched profile = {new_full_profile()}; // main body 1.4.0, locations 1.4.0, none, 3
    inst_sw_profile_sdr &sdr = profile.ptr->sdr_sw_profile;
    sdr.loc_profiles = static_cast<inst_sw_profile_loc *>(realloc(sdr.loc_profiles, 3 * sizeof *sdr.loc_profiles));
    sdr.loc_profiles_count = 3;
    for (const uint32_t i : {1U, 2U}) {
        sdr.loc_profiles[i] = {};
        auto *const node = new_array<inst_node_loc>();
        inst_node_loc_set_loc_id_1(node, 1);
        inst_sw_profile_loc_set_node_locs(&sdr.loc_profiles[i], node, 1);
    }
    inst_sw_profile_info_set_version(&sdr.loc_profiles[2].sw_profile, strdup("3"));
    ASSERT_EQ(store_as(nullptr, 1, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    version("the first location decides, and has none", 1, "1.4.0");
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    version("the location's", 0, "1.4.0"); // 0/0/0, whose ids are absent
    version("another", 0, "1.5");
    version("none", 5, nullptr);
    is_listed("listed", 1);
    is_listed("not listed", 5);
    std::free(profile.body().version);
    inst_sw_profile_info_clear_version(&profile.body());
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    version("both none", 5, nullptr);
    version("one", 5, "1");
    EXPECT_EQ(instmgr_cmp_sw_version(0, 0, 0, "1", nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(instmgr_check_node_in_loc_mswp(0, 0, 0, nullptr), INST_RC_INVALID_ARG);
}

TEST_F(QueryTest, PackagesOfStoredProfiles)
{
    const Fetched profile = {new_full_profile()};
    for (const inst_swp_package &package : {new_package("beta-2.0-r1", {"x.rpm", "y.rpm"}), new_package(nullptr),
                                            new_package("alpha-1.0-r1.noarch", {"n.rpm"})}) {
        put_package(profile.body(), package);
    }
    ASSERT_EQ(store(profile.ptr), 0U);
    const auto present = [&](const char *name, const char *key = "default-sdr", uint8_t is_local = 0) {
        ASK(std::string("is present: ") + (name == nullptr ? "(null)" : name),
            inst_swp_is_pkg_present(key, is_local, VERD_SWP_PREPARED, VERD_VM_QX, name, &a.flag));
    };
    present("beta-2.0-r1.x86_64.rpm"); // twice there
    present("gamma-1-1");
    present(nullptr);
    present("beta-2.0-r1", nullptr);
    present("beta-2.0-r1", "none", 1);
    ASK("is present, without a flag", inst_swp_is_pkg_present(ACTIVE_QX, "beta-2.0-r1", nullptr));
    const auto rpms = [&](const char *name, const char *key = "default-sdr") {
        ASK(std::string("RPMs: ") + name,
            inst_swp_get_package_rpms(key, 0, VERD_SWP_PREPARED, VERD_VM_QX, name, &a.flag, &a.list, &a.count, err));
    };
    rpms("beta-2.0-r1");
    rpms("alpha-1.0-r1.noarch");
    g_inst_pkg_fmt_info.is_new_format = 1;
    rpms("beta-2.0-r1.noarch");
    g_inst_pkg_fmt_info.is_new_format = 0;
    rpms("gamma-1-1");
    rpms("beta-2.0-r1", nullptr);
    rpms("beta-2.0-r1", "none");
    EXPECT_EQ(inst_swp_get_package_rpms(ACTIVE_QX, nullptr, nullptr, nullptr, nullptr, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_swp_get_package_rpms(ACTIVE_QX, "beta-2.0-r1", nullptr, nullptr, nullptr, nullptr), 0U);
    for (const char *const key : {"default-sdr", "none"}) { // a package without a name, no profile
        ASK(std::string("active data of ") + key,
            inst_swp_get_show_install_active_data(key, 0, VERD_VM_QX, &a.list, &a.count));
    }
}

TEST_F(QueryTest, ImageAndPackageInformation)
{
    const auto info = [&](const std::string &title, int32_t state) {
        ASK(title, inst_ldpath_get_local_swprofile_pkgs_info("default-sdr", state, VERD_VM_QX, &a.list, &a.count, err));
    };
    const auto image = [&](const std::string &title, const char *key) {
        ASK(title, inst_get_image_name(key, &a.image));
    };
    const Fetched profile = {new_full_profile()};
    ASSERT_EQ(store(profile.ptr), 0U);
    image("image", "default-sdr");
    image("image of none", "none");
    image("image without a key", nullptr);
    std::free(std::exchange(profile.body().image.name, nullptr));
    ASSERT_EQ(store_as("default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX, profile), 0U);
    ASSERT_EQ(store(profile.ptr), 0U);
    image("no image name", "default-sdr");
    info("package information", VERD_SWP_ACTIVE);
    info("package information of none", VERD_SWP_PREPARED);
    ASK("nowhere to go", inst_ldpath_get_local_swprofile_pkgs_info("default-sdr", 2, 3, nullptr, nullptr, err));
}

} // namespace
