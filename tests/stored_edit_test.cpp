// Packages and service packs of stored profiles, and which packages are members of service packs.
#include "support/bodies.h"

namespace
{

using Info = inst_sw_profile_info;

class StoredEditTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        g_inst_pkg_fmt_info.is_new_format = 1;
        fs::create_directories("/install_repo");
    }
    void TearDown() override
    {
        g_inst_pkg_fmt_info.is_new_format = 0;
        RepositoryTest::TearDown();
    }

    // Stores a profile with these packages, base RPMs and service packs, each of which delivers the RPMs of its name.
    void given(const std::vector<const char *> &packages, const std::vector<const char *> &base_rpms,
               const ServicePacks &packs, bool has_details = true)
    {
        Fetched profile = {static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)))};
        inst_sw_profile_sdr_set_sdr_key(&profile.ptr->sdr_sw_profile, strdup("default-sdr"));
        profile.body().image = new_package("image.iso", base_rpms, 0);
        for (const char *const name : packages) {
            put_package(profile.body(), new_package(name));
        }
        Copied copy(packs);
        if (copy.set->service_packs_count != 0) {
            std::vector<const char *> names;
            for (uint32_t i = 0; i < copy.set->service_packs_count; ++i) {
                names.push_back(copy.set->service_packs[i].sp_name);
            }
            inst_sw_profile_info_set_sp_names(&profile.body(), new_list(names), static_cast<uint32_t>(names.size()));
            if (has_details) {
                inst_sw_profile_info_set_sp_details(&profile.body(), std::exchange(copy.set->service_packs, nullptr),
                                                    std::exchange(copy.set->service_packs_count, 0));
            }
        }
        ASSERT_EQ(store(profile.ptr), 0U);
        hooks::reset();
    }

    // Tells an edit of the stored profile, and what is stored then.
    void edit(const std::string &title, const std::function<uint64_t(char **)> &call)
    {
        const fs::file_time_type before = fs::last_write_time(active_bin) - std::chrono::hours(1);
        fs::last_write_time(active_bin, before); // unlike what a store within a tick of the clock would leave
        const std::string bytes = read_file(active_bin);
        tell(title, call);
        Fetched after;
        ASSERT_EQ(fetch(after), 0U);
        if (fs::last_write_time(active_bin) == before) {
            EXPECT_EQ(read_file(active_bin), bytes);
            tell_line("not stored");
            return;
        }
        for (const std::string &line : content_of(after.body())) {
            tell_line(line);
        }
        tell_line(inst_sw_profile_info_has_sp_names(&after.body()) ? "has names" : "no names");
    }

    void add(
        const std::string &title, const char *name, const std::vector<const char *> &rpms = {}, uint32_t type = 0,
        uint64_t sp_source = 0, const std::function<void()> &fault = [] {})
    {
        edit("add: " + title, [&](char **err) {
            fault();
            return inst_ldpath_add_swprofile_pkgs("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, name, rpms_of(rpms),
                                                  static_cast<uint32_t>(rpms.size()), 5, type, sp_source, err);
        });
    }

    void remove(
        const std::string &title, const char *name, serv_packs *set = nullptr,
        const std::function<void()> &fault = [] {})
    {
        edit("remove: " + title, [&](char **err) {
            fault();
            return inst_ldpath_remove_swprofile_pkgs("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, name, set, err);
        });
    }

    void add_packs(
        const std::string &title, uint64_t sp_source, const std::function<void()> &fault = [] {})
    {
        edit("add service packs: " + title, [&](char **) {
            fault();
            return inst_ldpath_add_swprofile_sps("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, sp_source);
        });
    }

    void remove_packs(
        const std::string &title, serv_packs *set, const std::function<void()> &fault = [] {})
    {
        edit("remove service packs: " + title, [&](char **) {
            fault();
            return inst_ldpath_remove_swprofile_sps("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, set);
        });
    }

private:
    struct Copied {
        explicit Copied(const ServicePacks &packs) { instcomm_duplicate_sp_list(&set, packs.set, ""); }
        Copied(const Copied &) = delete;
        ~Copied() { free_service_pack(set); }
        serv_packs *set = nullptr;
    };

    static char *const *rpms_of(const std::vector<const char *> &rpms)
    {
        return const_cast<char *const *>(rpms.data());
    }
};

const auto WITHOUT_MEMORY = [](int nth) {
    return [nth] {
        g_inst_common_debug_verbosity_level = 0; // DEBUG lines allocate, too
        hooks::fail(hooks::ALLOCATION, nth);
    };
};

const auto WITHOUT_COPIES_OF = [](hooks::Function what, int nth = 1) {
    return [what, nth] { hooks::fail(what, nth); };
};

TEST_F(StoredEditTest, AddingPackages)
{
    given({"a-1-1", "x-host-1-1"}, {"y-hostos-1-1"}, {});
    add("a new one, by its path", "/repo/b-1-1", {"/repo/b-1-1.x86_64.rpm", "c"}, VERD_PKG_SMU);
    add("it is there", "b-1-1");
    add("another type", "t-1-1", {}, 3);
    add("what it supersedes goes", "y-hostos-2-1", {}, VERD_PKG_BASE);
    add("no name to be split", "z");
    add("nothing", nullptr);
    add("no memory for the name", "d-1-1", {}, 0, 0, WITHOUT_MEMORY(1));
    add("no memory for the RPMs", "d-1-1", {"d"}, 0, 0, WITHOUT_MEMORY(2));
    add("no memory for the path", "d-1-1", {}, 0, 0, WITHOUT_MEMORY(2));
    add("the profile isn't stored", "d-1-1", {}, 0, 0, [] { hooks::fail(hooks::FOPEN, 2); });
    g_inst_pkg_fmt_info.is_new_format = 0;
    add("a host SMU", "x-host-2-1", {}, VERD_PKG_HOST_SMU);
    add("another, by the old rules: the first stays", "x-host-3-1", {}, VERD_PKG_HOST_SMU);
    fs::remove(active_bin);
    tell("add: no profile", [](char **err) {
        return inst_ldpath_add_swprofile_pkgs("default-sdr", 0, 2, 3, "e", nullptr, 0, 0, 0, 0, err);
    });
}

TEST_F(StoredEditTest, HostPackages)
{
    const auto add_hosts = [&](const std::string &title, std::vector<const char *> paths, int nth = 0) {
        tell(title, [&](char **) {
            if (nth != 0) {
                WITHOUT_MEMORY(nth)();
            }
            return instcomm_add_host_pkgs_to_swp(VERD_SWP_ACTIVE, nullptr, 0, static_cast<uint32_t>(paths.size()),
                                                 const_cast<char *const *>(paths.data()), 0);
        });
        Fetched admin;
        ASSERT_EQ(inst_ldpath_get_swprofile(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &admin.ptr, nullptr), 0U);
        for (const std::string &line : content_of(admin.body())) {
            tell_line(line);
        }
    };
    Fetched admin = {static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)))};
    ASSERT_EQ(inst_write_sdr_swprofile_to_file2(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, admin.ptr, nullptr), 0U);
    add_hosts("none", {});
    add_hosts("of three kinds", {"/r/a-1-1.x86_64.rpm", "/r/b-host-1-1.rpm", "c-1-1.noarch", "d-tp-1-1"});
    add_hosts("one that fails", {"e-1-1", "f", "g-1-1"});
    add_hosts("no path", {nullptr});
    tell("no list", [](char **) { return instcomm_add_host_pkgs_to_swp(VERD_SWP_ACTIVE, nullptr, 0, 1, nullptr, 0); });
    add_hosts("no memory for the file name", {"h-1-1"}, 3);
}

TEST_F(StoredEditTest, RemovingPackages)
{
    ServicePacks packs{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}, {"SP2", {"b-tp-1-1"}}};
    ServicePacks first{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}};
    ServicePacks nameless{{nullptr, {}}};
    const std::vector<const char *> names = {"a-tp-1-1", "b-tp-1-1", "c-1-1", "c-1-1"};
    given(names, {"base-1-1", "c-1-1"}, packs);
    add_packs("they mark", packs.source());
    remove("nothing of that name", "d-1-1");
    remove("what is there twice, with its architecture", "c-1-1.x86_64");
    remove("a base RPM keeps the service packs", "c-1-1", first.set);
    write_file("/tmp/enable_sp_debugs", "");
    remove("with a service pack", "a-tp-1-1", first.set);
    fs::remove("/tmp/enable_sp_debugs");
    remove("without service packs", "b-tp-1-1");
    given({"a-tp-1-1", "b-tp-1-1"}, {}, first);
    add_packs("they mark", first.source());
    remove("with the last service pack, all are unmarked", "a-tp-1-1", first.set);
    given({"c-1-1"}, {"base"}, packs, false);
    remove("names without details", "c-1-1", first.set);
    remove("a service pack without a name", "c-1-1", nameless.set);
    remove("nothing", nullptr);
    g_inst_pkg_fmt_info.is_new_format = 0;
    given(names, {}, packs);
    remove("an architecture, by the old rules", "c-1-1.x86_64");
    remove("no memory for the packages", "c-1-1", nullptr, WITHOUT_COPIES_OF(hooks::COPY_PACKAGE));
    write_file("/tmp/enable_sp_debugs", "");
    remove("no memory for a detail", "c-1-1", nullptr, WITHOUT_COPIES_OF(hooks::COPY_DETAIL));
    fs::remove("/tmp/enable_sp_debugs");
    given({}, {"base"}, packs);
    remove("no memory for the base RPMs", "base", nullptr, WITHOUT_MEMORY(23));
    given(names, {}, packs);
    remove("no memory for the path", "c-1-1", nullptr, WITHOUT_MEMORY(1));
    remove("the profile isn't stored", "c-1-1", nullptr, [] { hooks::fail(hooks::FOPEN, 2); });
}

TEST_F(StoredEditTest, ServicePacks)
{
    ServicePacks packs{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}, {"SP2", {"b-tp-1-1", "c-1-1"}}};
    ServicePacks first{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}};
    ServicePacks second{{"SP2", {"b-tp-1-1", "c-1-1"}}};
    ServicePacks strange{{"SP3", {"other"}}};
    ServicePacks third{{"SP4", {"c-1-1"}}};
    ServicePacks none{};
    write_file("/tmp/enable_sp_debugs", "");
    given({"a-tp", "b-tp-1-1", "c-1-1", "d-1-1"}, {}, {});
    add_packs("none", 0);
    add_packs("an empty set", none.source());
    add_packs("of which there is no package", strange.source());
    add_packs("no memory for a detail", first.source(), WITHOUT_COPIES_OF(hooks::COPY_DETAIL, 2));
    add_packs("the first", first.source());
    add_packs("no memory for a detail that is there", packs.source(), WITHOUT_COPIES_OF(hooks::COPY_DETAIL, 3));
    add_packs("no memory for a new detail", packs.source(), WITHOUT_COPIES_OF(hooks::COPY_DETAIL, 4));
    add_packs("a second, with an RPM of the first", packs.source());
    add_packs("both again", packs.source());
    add_packs("a test ordered a failure", first.source(), [] { write_file("/tmp/err_msg_UT_stub_decode_swp", ""); });
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_decode_swp"));
    add_packs("no file name", first.source(), WITHOUT_MEMORY(1));
    add_packs("one without its detail", third.source(), [] { hooks::loses_detail = true; });
    add_packs("the profile isn't stored", first.source(), [] { hooks::fail(hooks::FOPEN, 2); });
    remove_packs("nothing", nullptr);
    remove_packs("one that isn't there", strange.set);
    remove_packs("no memory for their names", first.set, WITHOUT_COPIES_OF(hooks::COPY_DETAIL));
    remove_packs("no memory for a detail", first.set, WITHOUT_COPIES_OF(hooks::COPY_DETAIL, 2));
    remove_packs("the first", first.set);
    remove_packs("the second", second.set);
    remove_packs("no names are there", second.set);
    given({"a-tp-1-1"}, {}, packs);
    add_packs("they mark", packs.source());
    remove_packs("their packages can't be unmarked", first.set, WITHOUT_COPIES_OF(hooks::COPY_PACKAGE));
    given({"a-tp-1-1"}, {}, packs, false);
    remove_packs("names without details", first.set);
    fs::remove("/tmp/enable_sp_debugs");
    g_inst_pkg_fmt_info.is_new_format = 0;
    add_packs("by the old rules", first.source());
    given({"a-tp-1-1"}, {}, packs);
    remove_packs("by the old rules", first.set);
}

TEST_F(StoredEditTest, Members)
{
    Fetched profile = {new_full_profile()}; // alpha-1.0-r1, a member, and beta-2.0-r1; SP1 delivers alpha and gamma
    Info &body = profile.body();
    put_package(body, new_package(nullptr));
    put_package(body, new_package("tp-x"));
    put_package(body, new_package("hostos-1-1-12345678"));
    ServicePacks packs{
        {"SP9", {"alpha-1.0-r1.noarch", "tp-x-1-1", "y", "other-2-1-12345678", "a-hostos-1-1-12345678"}}};
    uint8_t is_tagged = 7;
    EXPECT_EQ(inst_ldpath_tag_sp_pkg_in_swp(nullptr, packs.set, &is_tagged), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_tag_sp_pkg_in_swp(&body, packs.set, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_untag_sp_pkg_in_swp(&body, nullptr), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_ldpath_tag_sp_pkg_in_swp(&body, packs.set, &is_tagged), 0U);
    EXPECT_EQ(is_tagged, 1);
    EXPECT_EQ(body.packages[3].is_sp_pkg, 1);
    EXPECT_EQ(body.packages[4].is_sp_pkg, 1);
    EXPECT_FALSE(inst_swp_package_has_is_sp_pkg(&body.packages[1]));
    EXPECT_EQ(inst_ldpath_untag_sp_pkg_in_swp(&body, packs.set), 0U);
    EXPECT_FALSE(inst_swp_package_has_is_sp_pkg(&body.packages[3]));
    EXPECT_FALSE(inst_swp_package_has_is_sp_pkg(&body.packages[4]));
    EXPECT_EQ(body.packages[0].is_sp_pkg, 1); // no third-party package

    const std::vector<const char *> names = {"gamma-1.0-r1", "z", nullptr};
    char **rpms = new_list(names);
    inst_sw_profile_info bare = {};
    char **all = nullptr;
    uint32_t all_count = 0;
    hooks::fail(hooks::ALLOCATION);
    EXPECT_EQ(inst_remove_rpms_part_of_active_sp(&bare, rpms, 3, &all, &all_count), INST_RC_NO_MEMORY);
    hooks::disarm();
    EXPECT_EQ(inst_remove_rpms_part_of_active_sp(&bare, nullptr, 0, &all, &all_count), 0U);
    EXPECT_EQ(all_count, 0U);
    std::free(all);
    char **found = nullptr;
    uint32_t count = 7;
    EXPECT_EQ(inst_remove_rpms_part_of_active_sp(&body, rpms, 3, nullptr, &count), INST_RC_INVALID_ARG);
    EXPECT_EQ(inst_remove_rpms_part_of_active_sp(&body, rpms, 3, &found, &count), 0U);
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(found[0], rpms[1]);
    std::free(found);
    for (int nth = 1; nth <= 3; ++nth) { // a set that isn't whole would let go of what is still delivered
        hooks::fail(hooks::ALLOCATION, nth);
        EXPECT_EQ(inst_remove_rpms_part_of_active_sp(&body, rpms, 3, &found, &count), INSTMGR_RC_INVALID_DATA);
        hooks::disarm();
        EXPECT_EQ(found, nullptr);
    }
    body.sp_details_count = 0;
    found = rpms;
    EXPECT_EQ(inst_remove_rpms_part_of_active_sp(&body, rpms, 3, &found, &count), 0U);
    EXPECT_EQ(found, rpms); // untouched
    body.sp_details_count = 2;
    inst_free_string_list(3, rpms);
}

} // namespace
