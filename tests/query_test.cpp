// Queries of fetched and stored profiles.
#include "support/bodies.h"

namespace
{

class QueryTest : public RepositoryTest
{
protected:
    // Stores a global profile with this version and the names of these service packs.
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

TEST_F(QueryTest, NamesInAFetchedProfile)
{
    Fetched profile = {new_full_profile()};
    const auto ask_names = [&](const std::string &title) {
        RECORD(title + ", packages", inst_ldpath_get_swprofile_pkgs(profile.ptr, &a.list, &a.count));
        RECORD(title + ", service packs", inst_ldpath_get_swprofile_sps(profile.ptr, &a.list, &a.count, &a.packs, err));
    };
    const auto ask_image = [&](const std::string &title) {
        RECORD(title + ", image", inst_ldpath_get_swprofile_image(profile.ptr, &a.text));
    };
    const auto ask_image_and_names = [&](const std::string &title) {
        ask_image(title);
        RECORD(title + ", file list", inst_ldpath_get_swprofile_filelist(profile.ptr, &a.list, &a.count, err));
        RECORD(title + ", image and packages",
               inst_ldpath_get_swprofile_img_pkgs(profile.ptr, &a.text, &a.list, &a.count, 9, 0, &a.packs));
    };
    const auto ask_all = [&](const std::string &title) {
        ask_image_and_names(title);
        ask_names(title);
    };
    ask_names("a service pack without a name");
    profile.body().sp_names[1] = strdup("SP2");
    ask_all("full");
    for (const auto &filter : {std::pair<uint32_t, uint8_t>{0, 0}, {1, 0}, {4, 0}, {9, 1}, {0, 1}}) {
        RECORD("filter " + std::to_string(filter.first) + (filter.second != 0 ? ", not flagged" : ""),
               inst_ldpath_get_swprofile_img_pkgs(profile.ptr, &a.text, &a.list, &a.count, filter.first, filter.second,
                                                  nullptr));
    }
    hooks::fail(hooks::STRNCPY_S);
    ask_image("strncpy_s fails");
    std::free(std::exchange(profile.body().image.name, nullptr));
    ask_image_and_names("no image name");
    RECORD("no list", inst_ldpath_get_swprofile_filelist(profile.ptr, nullptr, &a.count, err));

    inst_ldpath_free_swprofile_ext(&profile.ptr);
    profile.ptr = new_profile();
    ask_image("no SDR profile");
    inst_sw_profile_sdr_set_vm_type(&profile.ptr->sdr_sw_profile, 3);
    ask_all("no body");
    profile.body().image = new_package("image.iso");
    inst_sw_profile_info_set_sp_names(&profile.body(), nullptr, 0);
    inst_sw_profile_info_set_sp_details(&profile.body(), nullptr, 0);
    ask_all("only an image");
    inst_ldpath_free_swprofile_ext(&profile.ptr);
    ask_all("no profile");
}

TEST_F(QueryTest, ActiveAndCommittedProfiles)
{
    const auto list = [this](const std::string &title, uint8_t with_committed) {
        RECORD("service packs: " + title,
               inst_ldpath_get_all_swprofile_sps("default-sdr", with_committed, &a.list, &a.count));
    };
    const auto compare = [this](const std::string &title) {
        RECORD("masters: " + title, inst_ldpath_is_sdr_master_act_comm_swp_equal("default-sdr", &a.flag));
    };
    const auto match = [this](const std::string &title, uint32_t selector) {
        RECORD("states: " + title, inst_ldpath_check_swp_mismatch_wrapper("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE,
                                                                          VERD_SWP_COMMITTED, selector, 0, &a.flag));
    };
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {"SP1", "SP2"});
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {"SP3", "SP1"});
    list("active", 0);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP2", "SP0"});
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_COMMITTED, "1", {"SP4"});
    list("active and committed", 1);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP1", "SP2"});
    list("committed equals active", 1);
    compare("equal");
    match("equal", 0);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "2", {"SP1", "SP2"});
    compare("another version");
    match("another version", 0);
    match("equal packages", 2);
    RECORD("masters: no key", inst_ldpath_is_sdr_master_act_comm_swp_equal(nullptr, &a.flag));
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {});
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {});
    list("none", 0);
}

TEST_F(QueryTest, SoftwareOfNodes)
{
    const auto compare = [this](const std::string &title, uint32_t id, const char *version) {
        RECORD("version: " + title, instmgr_cmp_sw_version(id, 0, 0, version, &a.flag));
    };
    const auto find = [this](const std::string &title, uint32_t id) {
        RECORD("location: " + title, instmgr_check_node_in_loc_mswp(id, 0, 0, &a.flag));
    };
    compare("no profile", 1, "1");

    // Version 1.4.0, also of its location profile. Two more are added: one without a version, and one with version 3.
    const Fetched profile = {new_full_profile()};
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
    compare("the first location of the node counts; it has none", 1, "1.4.0");
    hooks::fail(hooks::LOSE_PROFILE, 2);
    find("the local profile is lost", 1);
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    compare("that of the location", 0, "1.4.0"); // node 0/0/0, whose fields are absent
    compare("another", 0, "1.5");
    compare("null", 5, nullptr);
    find("listed", 1);
    find("not listed", 5);
    std::free(profile.body().version);
    inst_sw_profile_info_clear_version(&profile.body());
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, profile), 0U);
    compare("null, the profile has none", 5, nullptr);
    compare("1, the profile has none", 5, "1");
}

TEST_F(QueryTest, StoredPackages)
{
    const Fetched profile = {new_full_profile()};
    for (const inst_swp_package &package : {new_package("beta-2.0-r1", {"x.rpm", "y.rpm"}), new_package(nullptr),
                                            new_package("alpha-1.0-r1.noarch", {"n.rpm"})}) {
        put_package(profile.body(), package);
    }
    ASSERT_EQ(store(profile.ptr), 0U);
    const auto present = [&](const char *name, const char *key = "default-sdr", uint8_t is_local = 0) {
        RECORD(std::string("is present: ") + name,
               inst_swp_is_pkg_present(key, is_local, VERD_SWP_PREPARED, VERD_VM_QX, name, &a.flag));
    };
    present("beta-2.0-r1.x86_64.rpm"); // two entries
    present("gamma-1-1");
    present("beta-2.0-r1", "none", 1);
    RECORD("is present, no flag", inst_swp_is_pkg_present(ACTIVE_QX, "beta-2.0-r1", nullptr));
    const auto rpms = [&](const char *name, const char *key = "default-sdr") {
        RECORD(std::string("RPMs: ") + name,
               inst_swp_get_package_rpms(key, 0, VERD_SWP_PREPARED, VERD_VM_QX, name, &a.flag, &a.list, &a.count, err));
    };
    rpms("beta-2.0-r1");
    rpms("alpha-1.0-r1.noarch");
    g_inst_pkg_fmt_info.is_new_format = 1;
    rpms("beta-2.0-r1.noarch");
    g_inst_pkg_fmt_info.is_new_format = 0;
    rpms("gamma-1-1");
    rpms("beta-2.0-r1", "none");
    EXPECT_EQ(inst_swp_get_package_rpms(ACTIVE_QX, "beta-2.0-r1", nullptr, nullptr, nullptr, nullptr), 0U);
    // The first profile has a package without a name; the second is missing.
    for (const char *const key : {"default-sdr", "none"}) {
        RECORD(std::string("active data of ") + key,
               inst_swp_get_show_install_active_data(key, 0, VERD_VM_QX, &a.list, &a.count));
    }
}

TEST_F(QueryTest, ImageAndPackageInformation)
{
    const auto info = [&](const std::string &title, int32_t state) {
        RECORD(title,
               inst_ldpath_get_local_swprofile_pkgs_info("default-sdr", state, VERD_VM_QX, &a.list, &a.count, err));
    };
    const auto image = [&](const std::string &title, const char *key) {
        RECORD(title, inst_get_image_name(key, &a.text));
    };
    const Fetched profile = {new_full_profile()};
    ASSERT_EQ(store(profile.ptr), 0U);
    image("image", "default-sdr");
    image("image, no profile", "none");
    std::free(std::exchange(profile.body().image.name, nullptr));
    ASSERT_EQ(store_as("default-sdr", 1, VERD_SWP_ACTIVE, VERD_VM_QX, profile), 0U);
    ASSERT_EQ(store(profile.ptr), 0U);
    image("image without a name", "default-sdr");
    info("package information", VERD_SWP_ACTIVE);
    info("package information, no profile", VERD_SWP_PREPARED);
    RECORD("no list", inst_ldpath_get_local_swprofile_pkgs_info("default-sdr", 2, 3, nullptr, nullptr, err));
}

} // namespace
