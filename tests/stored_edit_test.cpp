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
    }

    // Stores a profile with these packages, base RPMs and service packs, which it marks if need be.
    void given(const std::vector<const char *> &packages, const std::vector<const char *> &base_rpms,
               const ServicePacks &packs, bool has_details = true, bool is_marked = false)
    {
        const Fetched profile = {new_profile("default-sdr")};
        Info &body = profile.body();
        body.image = new_package("image.iso", base_rpms, 0);
        for (const char *const name : packages) {
            put_package(body, new_package(name));
        }
        serv_packs *copy = nullptr;
        instcomm_duplicate_sp_list(&copy, packs.set, "");
        std::vector<const char *> names;
        for (uint32_t i = 0; i < copy->service_packs_count; ++i) {
            names.push_back(copy->service_packs[i].sp_name);
        }
        if (!names.empty()) {
            inst_sw_profile_info_set_sp_names(&body, new_list(names), static_cast<uint32_t>(names.size()));
        }
        if (!names.empty() && has_details) {
            inst_sw_profile_info_set_sp_details(&body, std::exchange(copy->service_packs, nullptr),
                                                std::exchange(copy->service_packs_count, 0));
        }
        free_service_pack(copy);
        ASSERT_EQ(store(profile.ptr), 0U);
        ASSERT_EQ(is_marked ? inst_ldpath_add_swprofile_sps(ACTIVE_QX, packs.source()) : 0, 0U);
        hooks::reset();
    }

    // Tells an edit of the stored profile, and what is stored then.
    void edit(const std::string &title, const std::function<uint64_t(char **)> &call)
    {
        const fs::file_time_type before = fs::last_write_time(active_bin) - std::chrono::hours(1);
        fs::last_write_time(active_bin, before); // unlike what a store within a tick of the clock would leave
        const std::string bytes = read_file(active_bin);
        tell(title, [&](char **err) {
            const uint64_t rc = call(err);
            const bool is_stored = fs::last_write_time(active_bin) != before;
            EXPECT_TRUE(is_stored || read_file(active_bin) == bytes);
            answer = is_stored ? "" : "not stored";
            return rc;
        });
        Fetched after;
        ASSERT_EQ(fetch(after), 0U);
        tell_content(content_of(after.body()));
    }

    void add(const std::string &title, const char *name, const std::vector<const char *> &rpms = {}, uint32_t type = 0)
    {
        edit("add: " + title, [&](char **err) {
            return inst_ldpath_add_swprofile_pkgs(ACTIVE_QX, name, const_cast<char *const *>(rpms.data()),
                                                  static_cast<uint32_t>(rpms.size()), 5, type, 0, err);
        });
    }

    void remove(const std::string &title, const char *name, serv_packs *set = nullptr)
    {
        edit("remove: " + title,
             [&](char **err) { return inst_ldpath_remove_swprofile_pkgs(ACTIVE_QX, name, set, err); });
    }
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
    failing(hooks::FOPEN, 2);
    add("the profile isn't stored", "d-1-1");
    g_inst_pkg_fmt_info.is_new_format = 0;
    add("a host SMU", "x-host-2-1", {}, VERD_PKG_HOST_SMU);
    add("another, by the old rules: the first stays", "x-host-3-1", {}, VERD_PKG_HOST_SMU);
    fs::remove(active_bin);
    TELL("add: no profile", inst_ldpath_add_swprofile_pkgs(ACTIVE_QX, "e", nullptr, 0, 0, 0, 0, err));
}

TEST_F(StoredEditTest, HostPackages)
{
    Fetched admin = {new_profile()};
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, admin), 0U);
    const auto add_hosts = [&](const std::string &title, std::vector<const char *> paths) {
        TELL(title, instcomm_add_host_pkgs_to_swp(VERD_SWP_ACTIVE, nullptr, 0, static_cast<uint32_t>(paths.size()),
                                                  const_cast<char *const *>(paths.data()), 0));
        inst_ldpath_free_swprofile_ext(&admin.ptr);
        ASSERT_EQ(inst_ldpath_get_swprofile(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &admin.ptr, nullptr), 0U);
        tell_content(content_of(admin.body()));
    };
    add_hosts("none", {});
    add_hosts("of three kinds", {"/r/a-1-1.x86_64.rpm", "/r/b-host-1-1.rpm", "c-1-1.noarch", "d-tp-1-1"});
    add_hosts("one that fails", {"e-1-1", "f", "g-1-1"});
    add_hosts("no path", {nullptr});
    TELL("no list", instcomm_add_host_pkgs_to_swp(VERD_SWP_ACTIVE, nullptr, 0, 1, nullptr, 0));
    failing(hooks::ALLOCATION, 3);
    add_hosts("no memory for the file name", {"h-1-1"});
}

TEST_F(StoredEditTest, RemovingPackages)
{
    ServicePacks packs{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}, {"SP2", {"b-tp-1-1"}}};
    ServicePacks first{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}};
    ServicePacks nameless{{nullptr, {}}};
    const std::vector<const char *> names = {"a-tp-1-1", "b-tp-1-1", "c-1-1", "c-1-1"};
    given(names, {"base-1-1", "c-1-1"}, packs, true, true);
    remove("nothing of that name", "d-1-1");
    remove("what is there twice, with its architecture", "c-1-1.x86_64");
    remove("a base RPM keeps the service packs", "c-1-1", first.set);
    write_file("/tmp/enable_sp_debugs", "");
    remove("with a service pack", "a-tp-1-1", first.set);
    fs::remove("/tmp/enable_sp_debugs");
    remove("without service packs", "b-tp-1-1");
    given({"a-tp-1-1", "b-tp-1-1"}, {}, first, true, true);
    remove("with the last service pack, all are unmarked", "a-tp-1-1", first.set);
    given({"c-1-1"}, {"base"}, packs, false);
    remove("names without details", "c-1-1", first.set);
    remove("a service pack without a name", "c-1-1", nameless.set);
    remove("nothing", nullptr);
    g_inst_pkg_fmt_info.is_new_format = 0;
    given(names, {}, packs);
    remove("an architecture, by the old rules", "c-1-1.x86_64");
    failing(hooks::COPY_PACKAGE);
    remove("no memory for the packages", "c-1-1");
    failing(hooks::COPY_DETAIL);
    remove("no memory for a detail", "c-1-1");
}

TEST_F(StoredEditTest, AddingServicePacks)
{
    const ServicePacks packs{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}, {"SP2", {"b-tp-1-1", "c-1-1"}}};
    const ServicePacks first{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}}, strange{{"SP3", {"other"}}},
        third{{"SP4", {"c-1-1"}}};
    const auto add_packs = [this](const std::string &title, uint64_t source) {
        edit(title, [&](char **) { return inst_ldpath_add_swprofile_sps(ACTIVE_QX, source); });
    };
    given({"a-tp", "b-tp-1-1", "c-1-1", "d-1-1"}, {}, {});
    add_packs("none", 0);
    add_packs("of which there is no package", strange.source());
    write_file("/tmp/enable_sp_debugs", "");
    add_packs("the first", first.source());
    add_packs("a second, with an RPM of the first", packs.source());
    fs::remove("/tmp/enable_sp_debugs");
    add_packs("both again", packs.source());
    write_file("/tmp/err_msg_UT_stub_decode_swp", "");
    add_packs("a test ordered a failure", first.source());
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_decode_swp"));
    failing(hooks::LOSE_DETAIL);
    add_packs("one without its detail", third.source());
    g_inst_pkg_fmt_info.is_new_format = 0;
    given({"a-tp-1-1"}, {}, packs, false);
    add_packs("by the old rules", first.source());
}

TEST_F(StoredEditTest, RemovingServicePacks)
{
    const ServicePacks packs{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}, {"SP2", {"b-tp-1-1", "c-1-1"}}};
    const ServicePacks first{{"SP1", {"a-tp-1-1.noarch", "b-tp-1-1"}}}, second{{"SP2", {"b-tp-1-1", "c-1-1"}}},
        strange{{"SP3", {"other"}}};
    const auto remove_packs = [this](const std::string &title, serv_packs *set) {
        edit(title, [&](char **) { return inst_ldpath_remove_swprofile_sps(ACTIVE_QX, set); });
    };
    given({"a-tp", "b-tp-1-1", "c-1-1", "d-1-1"}, {}, packs, true, true);
    remove_packs("nothing", nullptr);
    remove_packs("one that isn't there", strange.set);
    failing(hooks::COPY_DETAIL, 2);
    remove_packs("no memory for a detail", first.set);
    write_file("/tmp/enable_sp_debugs", "");
    remove_packs("the first", first.set);
    fs::remove("/tmp/enable_sp_debugs");
    remove_packs("the second", second.set);
    remove_packs("no names are there", second.set);
    given({"a-tp-1-1"}, {}, packs, true, true);
    failing(hooks::COPY_PACKAGE);
    remove_packs("their packages can't be unmarked", first.set);
    given({"a-tp-1-1"}, {}, packs, false);
    remove_packs("names without details", first.set);
    g_inst_pkg_fmt_info.is_new_format = 0;
    given({"a-tp-1-1"}, {}, packs);
    remove_packs("by the old rules", first.set);
}

TEST_F(StoredEditTest, Members)
{
    const Fetched profile = {new_full_profile()}; // alpha-1.0-r1, a member, and beta-2.0-r1
    Info &body = profile.body();
    for (const char *const name : {static_cast<const char *>(nullptr), "tp-x", "hostos-1-1-12345678"}) {
        put_package(body, new_package(name));
    }
    const ServicePacks packs{
        {"SP9", {"alpha-1.0-r1.noarch", "tp-x-1-1", "y", "other-2-1-12345678", "a-hostos-1-1-12345678"}}};
    uint8_t is_tagged = 7;
    const auto members = [&body] {
        std::string text;
        for (uint32_t i = 0; i < body.packages_count; ++i) {
            const inst_swp_package &package = body.packages[i];
            text += inst_swp_package_has_is_sp_pkg(&package) ? std::to_string(package.is_sp_pkg) : "-";
        }
        return text;
    };
    EXPECT_EQ(inst_ldpath_tag_sp_pkg_in_swp(&body, packs.set, &is_tagged), 0U);
    EXPECT_EQ(is_tagged, 1);
    EXPECT_EQ(members(), "1--11");
    EXPECT_EQ(inst_ldpath_untag_sp_pkg_in_swp(&body, packs.set), 0U);
    EXPECT_EQ(members(), "1----"); // alpha is no third-party package
}

TEST_F(StoredEditTest, RpmsOfNoOtherServicePack)
{
    const Fetched profile = {new_full_profile()}; // SP1 delivers alpha and gamma
    Info bare = {};
    char **rpms = new_list({"gamma-1.0-r1", "z", nullptr});
    char **found = nullptr;
    uint32_t count = 7;
    const auto find = [&](Info &body, uint32_t rpm_count = 3) {
        return inst_remove_rpms_part_of_active_sp(&body, rpms, rpm_count, &found, &count);
    };
    hooks::fail(hooks::ALLOCATION);
    EXPECT_EQ(find(bare), INST_RC_NO_MEMORY);
    hooks::disarm();
    EXPECT_EQ(find(bare, 0), 0U);
    EXPECT_EQ(count, 0U);
    std::free(std::exchange(found, nullptr));
    EXPECT_EQ(find(profile.body()), 0U);
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(found[0], rpms[1]);
    std::free(found);
    for (int nth = 1; nth <= 3; ++nth) { // a set that isn't whole would let go of what is still delivered
        hooks::fail(hooks::ALLOCATION, nth);
        EXPECT_EQ(find(profile.body()), INSTMGR_RC_INVALID_DATA);
        hooks::disarm();
        EXPECT_EQ(found, nullptr);
    }
    profile.body().sp_details_count = 0;
    found = rpms;
    EXPECT_EQ(find(profile.body()), 0U);
    EXPECT_EQ(found, rpms); // untouched
    profile.body().sp_details_count = 2;
    inst_free_string_list(3, rpms);
}

} // namespace
