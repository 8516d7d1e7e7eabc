// Adding packages to a body and removing them.
#include "support/bodies.h"

#include <algorithm>
#include <utility>

namespace
{

class EditTest : public RepositoryTest
{
protected:
    void given(const std::vector<inst_swp_package> &packages, const std::vector<const char *> &base_rpms = {})
    {
        inst_ldpath_free_swprofile_ext(&profile.ptr);
        profile.ptr = new_profile_of(packages);
        if (!base_rpms.empty()) {
            inst_swp_package_set_files(&body().image, new_list(base_rpms), static_cast<uint32_t>(base_rpms.size()));
        }
        tell_line("given");
        tell_content(content_of(body()));
    }

    inst_sw_profile_info &body() const { return profile.body(); }

    // Adds with a full replacement list; nothing of the caller's may be lost, nor freed twice.
    void add(const std::string &name, uint32_t type, const std::vector<const char *> &paths = {}, uint64_t source = 0,
             uint64_t value = 0)
    {
        tell("add " + name.substr(0, 60) + " of type " + std::to_string(type), [&](char **err) {
            char *const heap_name = strdup(name.c_str());
            char **const files = new_list(paths);
            const auto count = static_cast<uint32_t>(paths.size());
            char *superseded[8] = {};
            uint32_t superseded_count = 77;
            const uint64_t rc = inst_ldpath_add_pkg_in_swp(&body(), heap_name, count, files, value, type, superseded,
                                                           &superseded_count, 0, source, err);
            if (rc != 0) {
                std::free(heap_name);
                inst_free_string_list(count, files);
            }
            answer = superseded_count == 77 ? "no count" : superseded_count == 0 ? "" : "supersedes";
            for (char *const text : superseded) {
                answer += text == nullptr ? "" : std::string(" ") + text;
                std::free(text);
            }
            return rc;
        });
        tell_content(content_of(body()));
    }

    void remove(const char *name)
    {
        TELL(std::string("remove ") + name, inst_ldpath_remove_pkg_in_swp(&body(), name, err));
        tell_content(content_of(body()));
    }

    Fetched profile;
};

TEST_F(EditTest, OldRules)
{
    given({new_package("smu-1-1", {}, 5), new_package("smu-2-1", {}, 5)});
    add("smu-3-1", 6, {"/a/b/smu-3-1.x86_64.rpm", "plain-1-1.noarch", nullptr}, 0, 9); // the first one only
    add("smu-3-1", 6); // superseding comes before the duplicate is found
    add("smu-1-1", 6);
    given({});
    add("other-1-1", 8); // any number of one base name
    add("other-2-1", 8);
    add("no form", UINT32_MAX);

    given({new_package("none-1-1", {}, 4), new_package("mod-1-1", {"kernel-modules-1-1"}, 4),
           new_package("krn-1-1", {"qx-kernel-1-1"}, 4)});
    inst_swp_package_clear_pkg_type(&body().packages[2]); // judged by the one before
    put_package(body(), new_package(nullptr, {nullptr}, 4));
    add("krn-2-1", 7, {"/x/qx-kernel-2-1.x86_64.rpm"});
    add("rt-1-1", 7, {"/x/qx-kernel-rt-2-1.x86_64.rpm"}); // another class goes beside it
    add("bare-1-1", 7);
}

TEST_F(EditTest, NewRules)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    given({new_package("smu-1-1", {}, 5), new_package("smu-2-1", {}, 5), new_package("smu-x-1-1", {}, 5),
           new_package("smu-3-1", {}, 1)});
    add("smu-4-1.x86_64", 6); // all of the base name and kind
    add("smu-4-1.x86_64", 6); // already there; what it supersedes is told all the same
    add("smu-5-1", 7);

    given({new_package("kelo-hostos-1-1", {}, 1), new_package("x-tp-1-1", {}, 1), new_package("plain-1-1", {}, 1)},
          {"y-hostos-1-1", nullptr, "y-hostos-1-2", "kelo-hostos-0-1"});
    add("kelo-hostos-2-1", 8); // gives way as a package, so not as a base RPM
    add("x-tp-2-1", 8);
    add("y-hostos-2-1", 8);
    add("plain-2-1", 8); // neither host-OS nor third-party

    given({});
    add("nodashes", 8);
    add("--", 8);
    add("a b;'c\"-1-1", 1);
    add(std::string(4000, 'n') + "-1-1", 6); // the base name is cut
    put_package(body(), new_package("damaged", {}, 1));
    add("z-1-1", 8);
    given({}, {"damaged"});
    add("z-1-1", 8);
    add("z-hostos-1-1", 8);
}

TEST_F(EditTest, ServicePacks)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    write_file("/tmp/enable_sp_debugs", "");
    const ServicePacks packs{{"SP2", {"a-1-1.x86_64", nullptr, "b-1-1"}}, {"SP1", {"a-1-1"}}, {"SP3", {"b-1-1"}}};
    const ServicePacks more{{"SP4", {"d-1-1"}}}, lost{{"SP6", {"e-1-1"}}}, nameless{{nullptr, {"e-1-1"}}};
    given({});
    add("a-1-1", 8, {}, packs.source());
    add("b-1-1.noarch", 8, {}, packs.source()); // SP2 is there already
    add("c-1-1", 8, {}, packs.source());        // no member
    fs::remove("/tmp/enable_sp_debugs");
    add("d-1-1", 8, {}, more.source());
    failing(hooks::LOSE_DETAIL);
    add("e-1-1", 8, {}, lost.source());
    write_file("/tmp/emi_sp_get_rpm_names_failure", "");
    add("e-1-1", 8, {}, more.source());
    EXPECT_FALSE(fs::exists("/tmp/emi_sp_get_rpm_names_failure"));
    add("e-1-1", 8, {}, nameless.source());
    write_file("/tmp/enable_sp_debugs", "");
    zeld_sp_detail_free_ext(&body().sp_details[--body().sp_details_count], std::free);
    add("e-1-1", 8, {}, lost.source()); // a name without its detail
    g_inst_pkg_fmt_info.is_new_format = 0;
    add("e-1-1", 8, {}, lost.source()); // the old rules know no service packs
}

TEST_F(EditTest, Removing)
{
    given({new_package("a-1-1"), new_package("b-1-1"), new_package("a-1-1"), new_package(nullptr)},
          {"base-1-1", "b-1-1", nullptr, "base-1-1"});
    remove("c-1-1");
    remove("a-1-1"); // every one of that name
    remove("b-1-1"); // a base RPM as well, which stays under the old rules
    g_inst_pkg_fmt_info.is_new_format = 1;
    remove("b-1-1"); // the base RPM first
    remove("b-1-1");
    remove("base-1-1");
    given({new_package("a-1-1")}, {"base-1-1"});
    remove("a-1-1");
    EXPECT_FALSE(inst_sw_profile_info_has_packages(&body()));
    remove("base-1-1");
    EXPECT_TRUE(inst_swp_package_has_files(&body().image));
    EXPECT_EQ(body().image.files, nullptr);
}

TEST_F(EditTest, MissingArguments)
{
    given({new_package("smu-1-1", {}, 5)});
    const auto add_null = [](inst_sw_profile_info *to, char *name, char **superseded, char **err) {
        return inst_ldpath_add_pkg_in_swp(to, name, 3, nullptr, 0, 6, superseded, nullptr, 0, 0, err);
    };
    char name[] = "x-1-1";
    TELL("add without a body", add_null(nullptr, name, nullptr, err));
    TELL("add without a name", add_null(&body(), nullptr, nullptr, err));
    TELL("remove from no body", inst_ldpath_remove_pkg_in_swp(nullptr, name, err));
    TELL("remove without a name", inst_ldpath_remove_pkg_in_swp(&body(), nullptr, err));
    char *superseded[8] =
        {}; // stays empty: a caller that passes no count cannot know of names, and would not free them
    for (const uint8_t is_new_format : {uint8_t{0}, uint8_t{1}}) {
        g_inst_pkg_fmt_info.is_new_format = is_new_format;
        EXPECT_EQ(add_null(&body(), strdup(is_new_format != 0 ? "smu-3-1" : "smu-2-1"), superseded, nullptr), 0U);
        TELL("add without a count",
             add_null(&body(), strdup(is_new_format != 0 ? "smu-5-1" : "smu-4-1"), nullptr, err));
    }
    EXPECT_EQ(superseded[0], nullptr);
    tell_content(content_of(body())); // files without an array are none
}

} // namespace
