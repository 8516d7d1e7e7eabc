// Questions about fetched and stored profiles.
#include "support/bodies.h"

namespace
{

using Info = inst_sw_profile_info;

// What a query handed out.
struct Answer {
    char *image = nullptr;
    char **list = nullptr;
    uint32_t count = 0;
    serv_packs *packs = nullptr;
    uint8_t flag = 7; // neither

    Answer() = default;
    Answer(const Answer &) = delete;
    ~Answer()
    {
        std::free(image);
        inst_free_string_list(count, list);
        free_service_pack(packs);
    }

    std::string str() const
    {
        std::string text = image == nullptr ? "" : std::string(" image ") + image;
        if (list != nullptr || count != 0) {
            text += " ";
            text += std::to_string(count) + ":";
        }
        for (uint32_t i = 0; i < count; ++i) {
            text += std::string(" ") + list[i];
        }
        for (uint32_t i = 0; packs != nullptr && i < packs->service_packs_count; ++i) {
            const service_pack &pack = packs->service_packs[i];
            text += std::string(", SP ") + (pack.sp_name == nullptr ? "-" : pack.sp_name) + " of " +
                    std::to_string(pack.sp_rpms_count);
        }
        text += packs != nullptr && packs->service_packs == nullptr ? ", SPs none" : "";
        return "answer:" + text + (flag == 7 ? "" : " flag " + std::to_string(flag));
    }
};

inst_node_loc node_of(uint32_t id)
{
    inst_node_loc node = {};
    inst_node_loc_set_loc_id_1(&node, id);
    return node;
}

class QueryTest : public RepositoryTest
{
protected:
    std::string ask(const std::string &title, const std::function<uint64_t(Answer &, char **)> &query)
    {
        Answer answer;
        tell(title, [&](char **err) { return query(answer, err); });
        tell_line(answer.str());
        return answer.str();
    }

    // Stores a global profile whose body has a version and the service packs.
    static void given(const char *key, uint32_t vm_type, int32_t state, const char *version,
                      const std::vector<const char *> &packs)
    {
        Fetched profile = {new_full_profile()};
        std::free(profile.body().version);
        profile.body().version = strdup(version);
        inst_free_string_list(profile.body().sp_names_count, profile.body().sp_names);
        inst_sw_profile_info_set_sp_names(&profile.body(), new_list(packs), static_cast<uint32_t>(packs.size()));
        ASSERT_EQ(inst_write_sdr_swprofile_to_file2(key, 0, state, vm_type, profile.ptr, nullptr), 0U);
        hooks::reset();
    }

    void all_sps(const std::string &title, uint8_t include_committed)
    {
        ask(title, [&](Answer &a, char **) {
            return inst_ldpath_get_all_swprofile_sps("default-sdr", include_committed, &a.list, &a.count);
        });
    }

    void masters_equal(const std::string &title)
    {
        ask(title,
            [](Answer &a, char **) { return inst_ldpath_is_sdr_master_act_comm_swp_equal("default-sdr", &a.flag); });
    }
};

TEST_F(QueryTest, WhatAFetchedProfileHolds)
{
    Fetched profile = {new_full_profile()};
    fs::create_directories("/install_repo");
    const auto ask_all = [&](const std::string &title) {
        ask(title + ", image",
            [&](Answer &a, char **) { return inst_ldpath_get_swprofile_image(profile.ptr, &a.image); });
        ask(title + ", file list", [&](Answer &a, char **err) {
            return inst_ldpath_get_swprofile_filelist(profile.ptr, &a.list, &a.count, err);
        });
        ask(title + ", image and packages", [&](Answer &a, char **) {
            return inst_ldpath_get_swprofile_img_pkgs(profile.ptr, &a.image, &a.list, &a.count, 9, 0, &a.packs);
        });
        ask(title + ", packages",
            [&](Answer &a, char **) { return inst_ldpath_get_swprofile_pkgs(profile.ptr, &a.list, &a.count); });
        ask(title + ", service packs", [&](Answer &a, char **err) {
            return inst_ldpath_get_swprofile_sps(profile.ptr, &a.list, &a.count, &a.packs, err);
        });
    };
    ask_all("a service pack without a name");
    std::free(profile.body().sp_names[1]);
    profile.body().sp_names[1] = strdup("SP2");
    write_file("/tmp/enable_sp_debugs", "");
    ask_all("whole");
    fs::remove("/tmp/enable_sp_debugs");
    for (const auto &[filter, flagged] : {std::pair{0U, 0}, {1U, 0}, {4U, 0}, {9U, 1}, {0U, 1}}) {
        ask("filter " + std::to_string(filter) + (flagged != 0 ? ", not flagged" : ""),
            [&, filter = filter, flagged = flagged](Answer &a, char **) {
                return inst_ldpath_get_swprofile_img_pkgs(profile.ptr, &a.image, &a.list, &a.count, filter,
                                                          static_cast<uint8_t>(flagged), nullptr);
            });
    }
    for (const auto &[fault, nth] : {std::pair{hooks::STRNCPY_S, 1}, {hooks::STRNCPY_S, 3}, {hooks::ALLOCATION, 2}}) {
        ask("a copy fails", [&, fault = fault, nth = nth](Answer &a, char **err) {
            g_inst_common_debug_verbosity_level = 0;
            hooks::fail(fault, nth);
            return inst_ldpath_get_swprofile_filelist(profile.ptr, &a.list, &a.count, err);
        });
    }
    profile.body().packages_count = 0; // released below all the same
    inst_swp_package *const packages = std::exchange(profile.body().packages, nullptr);
    profile.body().sp_names_count = 0; // the lists of service packs are there, and empty
    profile.body().sp_details_count = 0;
    ask_all("no packages, no service packs");
    profile.body().packages = packages;
    profile.body().packages_count = 2;
    profile.body().sp_names_count = 2;
    profile.body().sp_details_count = 2;
    std::free(std::exchange(profile.body().image.name, nullptr));
    ask_all("no image name");

    Fetched empty = {static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)))};
    std::swap(profile.ptr, empty.ptr);
    ask_all("no SDR profile");
    inst_sw_profile_sdr_set_vm_type(&profile.ptr->sdr_sw_profile, 3);
    ask_all("no VM profile");
    inst_ldpath_free_swprofile_ext(&profile.ptr);
    ask_all("nothing");
    EXPECT_EQ(inst_ldpath_get_swprofile_image(empty.ptr, nullptr), INST_RC_INVALID_ARG);
    char **list = nullptr;
    EXPECT_EQ(inst_ldpath_get_swprofile_filelist(empty.ptr, &list, nullptr, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_get_swprofile_pkgs(empty.ptr, &list, nullptr), INST_RC_INVALID_ARG);
    ask("no list",
        [&](Answer &a, char **err) { return inst_ldpath_get_swprofile_filelist(empty.ptr, nullptr, &a.count, err); });
}

TEST_F(QueryTest, SetsOfServicePacks)
{
    ServicePacks packs{{"SP1", {"a", "b"}}, {"SP2", {}}, {"SP3", {"c"}}};
    fs::create_directories("/install_repo");
    for (const int nth : {1, 2, 5, 0}) { // the set, its array, in the first pack; all is well
        ask("allocation " + std::to_string(nth), [&](Answer &a, char **) {
            g_inst_common_debug_verbosity_level = 0;
            hooks::fail(hooks::ALLOCATION, nth == 0 ? hooks::ALWAYS - 1 : nth);
            return instmgr_convert_sp_det_to_serv_pack(&a.packs, packs.set->service_packs, 3);
        });
    }
    Answer answer;
    EXPECT_EQ(instmgr_convert_sp_det_to_serv_pack(&answer.packs, nullptr, 0), 0U);
    EXPECT_EQ(instmgr_convert_sp_det_to_serv_pack(&answer.packs, nullptr, 1), INST_RC_INVALID_ARG);
    EXPECT_EQ(answer.packs, nullptr);
    ask("copied", [&](Answer &a, char **) { return instcomm_duplicate_sp_list(&a.packs, packs.set, "caller"); });
    ask("not copied", [&](Answer &a, char **) {
        hooks::fail(hooks::ALLOCATION, 3);
        return instcomm_duplicate_sp_list(&a.packs, packs.set, "caller");
    });
    EXPECT_EQ(instcomm_duplicate_sp_list(&answer.packs, packs.set, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(instcomm_duplicate_sp_list(&answer.packs, nullptr, "caller"), INST_RC_INVALID_ARG);
}

TEST_F(QueryTest, InstalledServicePacks)
{
    fs::create_directories("/install_repo");
    all_sps("no QX profile", 0);
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {"SP1", "SP2"});
    all_sps("no Admin profile", 0);
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {"SP3", "SP1"});
    all_sps("active ones", 0);
    all_sps("no committed QX profile", 1);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP2", "SP0"});
    all_sps("no committed Admin profile", 1);
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_COMMITTED, "1", {"SP4"});
    all_sps("all of them", 1);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP1", "SP2"});
    all_sps("committed is active", 1);
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {});
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {});
    all_sps("none", 0);
    given(nullptr, VERD_VM_ADMIN, VERD_SWP_ACTIVE, "1", {nullptr});
    all_sps("one without a name", 0);
    write_file("/install_repo/gl/instdb/kelo-master-swprofile-committed.bin", "junk");
    all_sps("a damaged committed Admin profile", 1);
    Answer answer;
    EXPECT_EQ(inst_ldpath_get_all_swprofile_sps("s", 0, nullptr, &answer.count), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_get_all_swprofile_sps(nullptr, 0, &answer.list, &answer.count), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_get_all_swprofile_sps("s", 0, &answer.list, nullptr), INST_RC_INVALID_ARG);
}

TEST_F(QueryTest, ComparingStates)
{
    fs::create_directories("/install_repo");
    masters_equal("nothing");
    given("default-sdr", VERD_VM_QX, VERD_SWP_ACTIVE, "1", {"SP1"});
    masters_equal("not committed");
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "1", {"SP1"});
    masters_equal("equal");
    const auto match = [&](const std::string &title, int32_t with, uint32_t selector) {
        ask(title, [&](Answer &a, char **) {
            return inst_ldpath_check_swp_mismatch_wrapper("default-sdr", 0, VERD_VM_QX, VERD_SWP_ACTIVE, with, selector,
                                                          0, &a.flag);
        });
    };
    match("a match", VERD_SWP_COMMITTED, 0);
    given("default-sdr", VERD_VM_QX, VERD_SWP_COMMITTED, "2", {"SP1"});
    masters_equal("not equal");
    match("no match", VERD_SWP_COMMITTED, 0);
    match("a match of the packages", VERD_SWP_COMMITTED, 2);
    match("with what isn't there", VERD_SWP_PREPARED, 0);
    write_file(std::string(GLOBAL_QX) + "committed.bin", "junk");
    masters_equal("a damaged committed one");
    write_file(active_bin, "junk");
    masters_equal("a damaged active one");
    ask("no key", [](Answer &a, char **) { return inst_ldpath_is_sdr_master_act_comm_swp_equal(nullptr, &a.flag); });
    ask("no flag", [](Answer &, char **) { return inst_ldpath_is_sdr_master_act_comm_swp_equal("s", nullptr); });
    EXPECT_EQ(inst_ldpath_check_swp_mismatch_wrapper("s", 0, 3, 1, 2, 0, 0, nullptr), INST_RC_INVALID_ARG);
}

TEST_F(QueryTest, SoftwareOfNodes)
{
    fs::create_directories("/install_repo");
    const auto version = [&](const std::string &title, uint32_t id, const char *text) {
        ask(title, [&](Answer &a, char **) { return instmgr_cmp_sw_version(id, 0, 0, text, &a.flag); });
    };
    const auto is_listed = [&](const std::string &title, uint32_t id) {
        ask(title, [&](Answer &a, char **) { return instmgr_check_node_in_loc_mswp(id, 0, 0, &a.flag); });
    };
    version("version without any profile", 1, "1");
    is_listed("location without any profile", 1);

    Fetched profile = {new_full_profile()}; // main body 1.4.0, locations 1.4.0, none, 3
    inst_sw_profile_sdr &sdr = profile.ptr->sdr_sw_profile;
    sdr.loc_profiles = static_cast<inst_sw_profile_loc *>(realloc(sdr.loc_profiles, 3 * sizeof *sdr.loc_profiles));
    sdr.loc_profiles_count = 3;
    for (const uint32_t i : {1U, 2U}) {
        sdr.loc_profiles[i] = {};
        auto *const node = static_cast<inst_node_loc *>(malloc(sizeof(inst_node_loc)));
        *node = node_of(1);
        inst_sw_profile_loc_set_node_locs(&sdr.loc_profiles[i], node, 1);
    }
    inst_sw_profile_info_set_version(&sdr.loc_profiles[2].sw_profile, strdup("3"));
    const auto store_admin = [&](uint8_t is_local) {
        ASSERT_EQ(inst_write_sdr_swprofile_to_file2(nullptr, is_local, 2, VERD_VM_ADMIN, profile.ptr, nullptr), 0U);
    };
    store_admin(1);
    version("the first location decides, and has none", 1, "1.4.0");
    store_admin(0);
    version("the location's", 0, "1.4.0"); // 0/0/0, whose ids are absent
    version("another", 0, "1.5");
    version("none", 5, nullptr);
    is_listed("listed", 1);
    is_listed("not listed", 5);
    std::free(profile.body().version);
    inst_sw_profile_info_clear_version(&profile.body());
    store_admin(0);
    version("both none", 5, nullptr);
    version("one", 5, "1");
    EXPECT_EQ(instmgr_cmp_sw_version(0, 0, 0, "1", nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(instmgr_check_node_in_loc_mswp(0, 0, 0, nullptr), INST_RC_INVALID_ARG);
}

TEST_F(QueryTest, PackagesOfStoredProfiles)
{
    Fetched profile = {new_full_profile()};
    put_package(profile.body(), new_package("beta-2.0-r1", {"x.rpm", "y.rpm"}));
    put_package(profile.body(), new_package(nullptr));
    put_package(profile.body(), new_package("alpha-1.0-r1.noarch", {"n.rpm"}));
    ASSERT_EQ(store(profile.ptr), 0U);
    const auto present = [&](const char *name, const char *key = "default-sdr", uint8_t is_local = 0) {
        return ask(std::string("is present: ") + (name == nullptr ? "(null)" : name), [&](Answer &a, char **) {
            return inst_swp_is_pkg_present(key, is_local, VERD_SWP_PREPARED, VERD_VM_QX, name, &a.flag);
        });
    };
    present("beta-2.0-r1.x86_64.rpm"); // twice there
    present("gamma-1-1");
    present(nullptr);
    present("beta-2.0-r1", nullptr);
    present("beta-2.0-r1", "none", 1);
    ask("is present, without a flag", [&](Answer &, char **) {
        return inst_swp_is_pkg_present("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, "beta-2.0-r1", nullptr);
    });
    const auto rpms = [&](const char *name, const char *key = "default-sdr") {
        ask(std::string("RPMs: ") + name, [&](Answer &a, char **err) {
            return inst_swp_get_package_rpms(key, 0, VERD_SWP_PREPARED, VERD_VM_QX, name, &a.flag, &a.list, &a.count,
                                             err);
        });
    };
    rpms("beta-2.0-r1");
    rpms("alpha-1.0-r1.noarch");
    g_inst_pkg_fmt_info.is_new_format = 1;
    rpms("beta-2.0-r1.noarch");
    g_inst_pkg_fmt_info.is_new_format = 0;
    rpms("gamma-1-1");
    rpms("beta-2.0-r1", nullptr);
    rpms("beta-2.0-r1", "none");
    EXPECT_EQ(inst_swp_get_package_rpms("default-sdr", 0, 2, 3, nullptr, nullptr, nullptr, nullptr, nullptr),
              INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_swp_get_package_rpms("default-sdr", 0, 2, 3, "beta-2.0-r1", nullptr, nullptr, nullptr, nullptr), 0U);

    const auto info = [&](const std::string &title, int32_t state) {
        ask(title, [&](Answer &a, char **err) {
            return inst_ldpath_get_local_swprofile_pkgs_info("default-sdr", state, VERD_VM_QX, &a.list, &a.count, err);
        });
    };
    const auto active = [&](const std::string &title, const char *key) {
        ask(title, [&](Answer &a, char **) {
            return inst_swp_get_show_install_active_data(key, 0, VERD_VM_QX, &a.list, &a.count);
        });
    };
    const auto image = [&](const std::string &title, const char *key) {
        ask(title, [&](Answer &a, char **) { return inst_get_image_name(key, &a.image); });
    };
    active("active data, a package without a name", "default-sdr");
    active("active data of none", "none");
    image("image", "default-sdr");
    image("image of none", "none");
    image("image without a key", nullptr);
    std::free(std::exchange(profile.body().image.name, nullptr));
    zeld_inst_swp_package_free_ext(&profile.body().packages[3], std::free);
    profile.body().packages_count = 3;
    ASSERT_EQ(inst_write_sdr_swprofile_to_file2("default-sdr", 1, 2, VERD_VM_QX, profile.ptr, nullptr), 0U);
    ASSERT_EQ(store(profile.ptr), 0U);
    profile.body().packages_count = 5;
    image("no image name", "default-sdr");
    info("package information", VERD_SWP_ACTIVE);
    info("package information of none", VERD_SWP_PREPARED);
    ask("package information, nowhere to go", [&](Answer &, char **err) {
        return inst_ldpath_get_local_swprofile_pkgs_info("default-sdr", 2, VERD_VM_QX, nullptr, nullptr, err);
    });
}

} // namespace
