// Packages and service packs of stored profiles, and which packages belong to service packs.
#include "support/bodies.h"

namespace
{

using Info = inst_sw_profile_info;

const std::vector<const char *> SP1_RPMS = {"a-tp-1-1.noarch", "b-tp-1-1"};

class StoredEditTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        g_inst_pkg_fmt_info.is_new_format = 1;
    }

    using Names = std::vector<const char *>;

    // Stores a profile with these packages and base RPMs, and adds the service packs, which marks their packages.
    static void given(const Names &packages, const Names &base_rpms = {}, const ServicePacks *packs = nullptr,
                      const Names &packs_without_details = {})
    {
        const Fetched profile = {new_profile("default-sdr")};
        Info &body = profile.body();
        body.image = new_package("image.iso", base_rpms, 0);
        for (const char *const name : packages) {
            put_package(body, new_package(name));
        }
        if (!packs_without_details.empty()) {
            inst_sw_profile_info_set_sp_names(&body, new_list(packs_without_details),
                                              static_cast<uint32_t>(packs_without_details.size()));
        }
        ASSERT_EQ(store(profile.ptr), 0U);
        ASSERT_TRUE(packs == nullptr || inst_ldpath_add_swprofile_sps(ACTIVE_QX, packs->source()) == 0);
        hooks::reset();
    }

    // Records an edit of the stored profile, whether it is stored, and its content.
    void edit(const std::string &title, const std::function<uint64_t(char **)> &call)
    {
        const fs::file_time_type before = fs::last_write_time(active_bin) - std::chrono::hours(1);
        // An hour ago, so that a store is noticed even within the same tick of the clock.
        fs::last_write_time(active_bin, before);
        const std::string bytes = read_file(active_bin);
        record(title, [&](Answer &, char **err) {
            const uint64_t rc = call(err);
            const bool is_stored = fs::last_write_time(active_bin) != before;
            EXPECT_TRUE(is_stored || read_file(active_bin) == bytes);
            output = is_stored ? "" : "not stored";
            return rc;
        });
        Fetched after;
        ASSERT_EQ(fetch(after), 0U);
        record_content(content_of(after.body()));
    }

    void add(const std::string &title, const char *name, const Names &rpms = {}, uint32_t type = 0)
    {
        edit(title, [&](char **err) {
            return inst_ldpath_add_swprofile_pkgs(ACTIVE_QX, name, const_cast<char *const *>(rpms.data()),
                                                  static_cast<uint32_t>(rpms.size()), 5, type, 0, err);
        });
    }

    void remove(const std::string &title, const char *name, serv_packs *set = nullptr)
    {
        edit(title, [&](char **err) { return inst_ldpath_remove_swprofile_pkgs(ACTIVE_QX, name, set, err); });
    }

    const ServicePacks first{{"SP1", SP1_RPMS}}, second{{"SP2", {"b-tp-1-1", "c-1-1"}}}, unrelated{{"SP3", {"other"}}};
    const ServicePacks both{{"SP1", SP1_RPMS}, {"SP2", {"b-tp-1-1", "c-1-1"}}};
};

TEST_F(StoredEditTest, AddingPackages)
{
    given({"a-1-1", "x-host-1-1"}, {"y-hostos-1-1"});
    add("a new package, by its path", "/repo/b-1-1", {"/repo/b-1-1.x86_64.rpm", "c"}, VERD_PKG_SMU);
    add("it exists", "b-1-1");
    add("another type", "t-1-1", {}, 3);
    add("it supersedes a base RPM", "y-hostos-2-1", {}, VERD_PKG_BASE);
    add("no name", nullptr);
    g_inst_pkg_fmt_info.is_new_format = 0;
    add("a host SMU", "x-host-2-1", {}, VERD_PKG_HOST_SMU);
    add("old rules: the superseded host SMU remains", "x-host-3-1", {}, VERD_PKG_HOST_SMU);
}

TEST_F(StoredEditTest, HostPackages)
{
    Fetched admin = {new_profile()};
    ASSERT_EQ(store_as(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, admin), 0U);
    const auto add_hosts = [&](const std::string &title, Names paths) {
        RECORD(title, instcomm_add_host_pkgs_to_swp(VERD_SWP_ACTIVE, nullptr, 0, static_cast<uint32_t>(paths.size()),
                                                    const_cast<char *const *>(paths.data()), 0));
        inst_ldpath_free_swprofile_ext(&admin.ptr);
        ASSERT_EQ(inst_ldpath_get_swprofile(nullptr, 0, VERD_SWP_ACTIVE, VERD_VM_ADMIN, &admin.ptr, nullptr), 0U);
        record_content(content_of(admin.body()));
    };
    add_hosts("no paths", {});
    add_hosts("three kinds", {"/r/a-1-1.x86_64.rpm", "/r/b-host-1-1.rpm", "c-1-1.noarch", "d-tp-1-1"});
    add_hosts("the second fails", {"e-1-1", "f", "g-1-1"});
    add_hosts("a null path", {nullptr});
}

TEST_F(StoredEditTest, RemovingPackages)
{
    const ServicePacks nameless{{nullptr, {}}};
    const Names names = {"a-tp-1-1", "b-tp-1-1", "c-1-1", "c-1-1"};
    given(names, {"base-1-1", "c-1-1"}, &both);
    remove("no such package", "d-1-1");
    remove("two entries, with an architecture", "c-1-1.x86_64");
    remove("a base RPM; the service packs remain", "c-1-1", first.set);
    remove("with a service pack", "a-tp-1-1", first.set);
    remove("without service packs", "b-tp-1-1");
    given({"a-tp-1-1", "b-tp-1-1"}, {}, &first);
    remove("with the last service pack", "a-tp-1-1", first.set);
    given({"c-1-1"}, {"base"}, nullptr, {"SP1", "SP2"});
    remove("names without details", "c-1-1", first.set);
    remove("a service pack without a name", "c-1-1", nameless.set);
    remove("no name", nullptr);
    g_inst_pkg_fmt_info.is_new_format = 0;
    given(names);
    remove("old rules: the architecture belongs to the name", "c-1-1.x86_64");
}

TEST_F(StoredEditTest, ServicePacks)
{
    const auto add_packs = [this](const std::string &title, uint64_t source) {
        edit(title, [&](char **) { return inst_ldpath_add_swprofile_sps(ACTIVE_QX, source); });
    };
    const auto remove_packs = [this](const std::string &title, serv_packs *set) {
        edit(title, [&](char **) { return inst_ldpath_remove_swprofile_sps(ACTIVE_QX, set); });
    };
    given({"a-tp", "b-tp-1-1", "c-1-1", "d-1-1"});
    add_packs("none", 0);
    add_packs("no package belongs to it", unrelated.source());
    add_packs("the first", first.source());
    add_packs("a second with an RPM of the first", both.source());
    add_packs("both again", both.source());
    write_file("/tmp/err_msg_UT_stub_decode_swp", "");
    add_packs("a test file orders a failure", first.source());
    EXPECT_FALSE(fs::exists("/tmp/err_msg_UT_stub_decode_swp"));
    const ServicePacks nameless{{nullptr, {}}};
    EXPECT_EQ(inst_ldpath_remove_swprofile_sps(ACTIVE_QX, nameless.set), INSTCOMM_RC_INVALID_DATA);
    remove_packs("no set", nullptr);
    remove_packs("one that is not installed", unrelated.set);
    remove_packs("removal of the first", first.set);
    remove_packs("removal of the second", second.set);
    remove_packs("no service packs remain", second.set);
    given({"a-tp-1-1"}, {}, nullptr, {"SP1", "SP2"});
    remove_packs("names without details", first.set);
    given({"a-tp-1-1"}, {}, &both);
    g_inst_pkg_fmt_info.is_new_format = 0;
    remove_packs("removal under the old rules", first.set);
    add_packs("addition under the old rules", first.source());
}

// A package belongs to a service pack if its name is part of the name of a delivered RPM.
TEST_F(StoredEditTest, Members)
{
    const Fetched profile = {new_full_profile()}; // alpha-1.0-r1, a member, and beta-2.0-r1
    Info &body = profile.body();
    for (const char *const name : {static_cast<const char *>(nullptr), "tp-x", "hostos-1-1"}) {
        put_package(body, new_package(name));
    }
    const ServicePacks packs{{"SP9", {"alpha-1.0-r1.noarch", "tp-x-1-1", "y", "a-hostos-1-1"}}};
    RECORD("tag", inst_ldpath_tag_sp_pkg_in_swp(&body, packs.set, &a.flag));
    record_content(content_of(body));
    RECORD("untag; alpha is no third-party package", inst_ldpath_untag_sp_pkg_in_swp(&body, packs.set));
    record_content(content_of(body));
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
    EXPECT_EQ(find(bare, 0), 0U);
    EXPECT_EQ(count, 0U);
    std::free(std::exchange(found, nullptr));
    EXPECT_EQ(find(profile.body()), 0U);
    ASSERT_EQ(count, 2U);
    EXPECT_EQ(found[0], rpms[1]);
    std::free(found);
    profile.body().sp_details_count = 0;
    found = rpms;
    EXPECT_EQ(find(profile.body()), 0U);
    EXPECT_EQ(found, rpms); // not changed
    profile.body().sp_details_count = 2;
    inst_free_string_list(3, rpms);
}

} // namespace
