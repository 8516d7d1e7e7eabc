// Adding packages to a body and removing them.
#include "support/bodies.h"

#include <algorithm>
#include <utility>

namespace
{

class EditTest : public RepositoryTest
{
protected:
    void SetUp() override
    {
        RepositoryTest::SetUp();
        g_inst_pkg_fmt_info.is_new_format = 0;
    }
    void TearDown() override
    {
        g_inst_pkg_fmt_info.is_new_format = 0;
        inst_ldpath_free_swprofile_ext(&profile);
        RepositoryTest::TearDown();
    }

    void given(const std::vector<inst_swp_package> &packages)
    {
        forget_body();
        for (const inst_swp_package &package : packages) {
            put_package(body(), package);
        }
        tell_content("\n# given");
    }

    void forget_body()
    {
        inst_ldpath_free_swprofile_ext(&profile);
        profile = static_cast<inst_sw_profile_sdr_ext *>(calloc(1, sizeof(inst_sw_profile_sdr_ext)));
    }

    inst_sw_profile_info &body() const { return profile->sdr_sw_profile.sw_profile; }

    void tell_content(const std::string &title)
    {
        tell_line(title);
        for (const std::string &line : content_of(body())) {
            tell_line("  " + line);
        }
    }

    // Adds with a full replacement list; nothing of the caller's may be lost, nor freed twice.
    uint64_t add(const char *name, uint32_t type, const std::vector<const char *> &paths = {}, uint64_t source = 0,
                 uint64_t value = 0)
    {
        char *const heap_name = strdup(name);
        char **const files = new_list(paths);
        const auto count = static_cast<uint32_t>(paths.size());
        char *superseded[8] = {};
        uint32_t superseded_count = 77;
        const uint64_t rc =
            tell("add " + std::string(name).substr(0, 60) + " of type " + std::to_string(type), [&](char **err) {
                return inst_ldpath_add_pkg_in_swp(&body(), heap_name, count, files, value, type, superseded,
                                                  &superseded_count, 0, source, err);
            });
        if (rc != 0) {
            std::free(heap_name);
            inst_free_string_list(count, files);
        }
        tell_line(superseded_count == 77 ? "supersedes: not told" : "supersedes: " + std::to_string(superseded_count));
        for (uint32_t i = 0; superseded_count != 77 && i < superseded_count; ++i) {
            tell_line(std::string("  ") + superseded[i]);
            std::free(superseded[i]);
        }
        tell_content("body:");
        return rc;
    }

    void remove(const char *name)
    {
        tell(std::string("remove ") + name,
             [&](char **err) { return inst_ldpath_remove_pkg_in_swp(&body(), name, err); });
        tell_content("body:");
    }

    void set_base_rpms(const std::vector<const char *> &names)
    {
        inst_swp_package_set_files(&body().image, new_list(names), static_cast<uint32_t>(names.size()));
    }

    inst_sw_profile_sdr_ext *profile = nullptr;
};

TEST_F(EditTest, OldRules)
{
    given({new_package("smu-1-1", {}, 5), new_package("smu-2-1", {}, 5)});
    add("smu-3-1", 6, {"/a/b/smu-3-1.x86_64.rpm", "plain-1-1.noarch", nullptr}, 0, 9); // the first one only
    add("smu-3-1", 6); // superseding comes before the duplicate is found
    add("smu-1-1", 6);
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

    given({new_package("kelo-hostos-1-1", {}, 1), new_package("x-tp-1-1", {}, 1), new_package("plain-1-1", {}, 1)});
    set_base_rpms({"y-hostos-1-1", nullptr, "y-hostos-1-2", "kelo-hostos-0-1"});
    add("kelo-hostos-2-1", 8); // gives way as a package, so not as a base RPM
    add("x-tp-2-1", 8);
    add("y-hostos-2-1", 8);
    add("plain-2-1", 8); // neither host-OS nor third-party

    add("nodashes", 8);
    add("--", 8);
    add("a b;'c\"-1-1", 1);
    const std::string longest = std::string(4000, 'n') + "-1-1";
    add(longest.c_str(), 6); // the base name is cut
    put_package(body(), new_package("damaged", {}, 1));
    add("z-1-1", 8);

    given({});
    set_base_rpms({"damaged"});
    add("z-1-1", 8);
    add("z-hostos-1-1", 8);
}

TEST_F(EditTest, ServicePacks)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    write_file("/tmp/enable_sp_debugs", "");
    const ServicePacks packs{{"SP2", {"a-1-1.x86_64", nullptr, "b-1-1"}}, {"SP1", {"a-1-1"}}, {"SP3", {"b-1-1"}}};
    given({});
    add("a-1-1", 8, {}, packs.source());
    add("b-1-1.noarch", 8, {}, packs.source()); // SP2 is there already
    add("c-1-1", 8, {}, packs.source());        // no member
    fs::remove("/tmp/enable_sp_debugs");
    const ServicePacks more{{"SP4", {"d-1-1"}}};
    add("d-1-1", 8, {}, more.source());
    const ServicePacks lost{{"SP6", {"e-1-1"}}};
    hooks::loses_detail = true;
    add("e-1-1", 8, {}, lost.source());
    write_file("/tmp/emi_sp_get_rpm_names_failure", "");
    add("e-1-1", 8, {}, more.source());
    EXPECT_FALSE(fs::exists("/tmp/emi_sp_get_rpm_names_failure"));
    const ServicePacks nameless{{nullptr, {"e-1-1"}}};
    add("e-1-1", 8, {}, nameless.source());
    write_file("/tmp/enable_sp_debugs", "");
    const ServicePacks last{{"SP5", {"f-1-1"}}};
    zeld_sp_detail_free_ext(&body().sp_details[--body().sp_details_count], std::free);
    add("f-1-1", 8, {}, last.source()); // a name without its detail
    g_inst_pkg_fmt_info.is_new_format = 0;
    add("f-1-1", 8, {}, last.source()); // the old rules know no service packs
}

// What is said of each way in which memory can run out. The body is then as it was, which the sweep of faults shows.
TEST_F(EditTest, MemoryRunsOut)
{
    write_file("/tmp/enable_sp_debugs", "");
    const ServicePacks one{{"SP1", {"smu-2-1"}}};
    const ServicePacks two{{"SP1", {"smu-2-1"}}, {"SP2", {"smu-2-1"}}};
    const auto every_way = [&](const std::string &title, bool is_new_format, const ServicePacks *there,
                               const std::function<uint64_t(char **)> &change) {
        tell_line("\n# " + title);
        Lines told;
        for (int nth = 1; nth < 100; ++nth) {
            forget_body();
            put_package(body(), new_package("smu-1-1", {}, 5));
            set_base_rpms({"base-1-1", "base-2-1"});
            g_inst_pkg_fmt_info.is_new_format = 1;
            if (there != nullptr) {
                inst_ldpath_add_pkg_in_swp(&body(), strdup("smu-2-1"), 0, nullptr, 0, 0, nullptr, nullptr, 0,
                                           there->source(), nullptr);
                inst_ldpath_remove_pkg_in_swp(&body(), "smu-2-1", nullptr);
            }
            g_inst_pkg_fmt_info.is_new_format = is_new_format ? 1 : 0;
            hooks::reset();
            hooks::fail(hooks::ALLOCATION, nth);
            Text text;
            const uint64_t rc = change(&text.ptr);
            hooks::disarm();
            std::ostringstream line;
            line << std::hex << rc << " | " << text.str() << " |";
            for (const std::string &message : hooks::lines()) {
                const bool is_failure = message.find("ailed") != message.npos || message.find("Can't") != message.npos;
                line << (is_failure ? " " + message : "");
            }
            if (std::find(told.begin(), told.end(), line.str()) == told.end()) {
                told.push_back(line.str());
                tell_line(line.str());
            }
        }
    };
    const auto add_smu = [this](const ServicePacks *packs) {
        return [this, packs](char **err) {
            char *superseded[4] = {};
            uint32_t count = 0;
            const hooks::Order order = std::exchange(hooks::orders[hooks::ALLOCATION], {});
            char *const name = strdup("smu-2-1");
            hooks::orders[hooks::ALLOCATION] = order;
            const uint64_t rc = inst_ldpath_add_pkg_in_swp(&body(), name, 0, nullptr, 0, VERD_PKG_HOST_SMU, superseded,
                                                           &count, 0, packs == nullptr ? 0 : packs->source(), err);
            hooks::disarm();
            if (rc != 0) {
                std::free(name);
            }
            for (char *const text : superseded) {
                std::free(text);
            }
            return rc;
        };
    };
    every_way("adding by the old rules", false, nullptr, add_smu(nullptr));
    every_way("adding the first service packs", true, nullptr, add_smu(&two));
    every_way("adding to service packs that are there", true, &one, add_smu(&two));
    every_way("removing a package", true, nullptr,
              [this](char **err) { return inst_ldpath_remove_pkg_in_swp(&body(), "smu-1-1", err); });
    every_way("removing a base RPM", true, nullptr,
              [this](char **err) { return inst_ldpath_remove_pkg_in_swp(&body(), "base-1-1", err); });
}

TEST_F(EditTest, Removing)
{
    given({new_package("a-1-1"), new_package("b-1-1"), new_package("a-1-1"), new_package(nullptr)});
    set_base_rpms({"base-1-1", "b-1-1", nullptr, "base-1-1"});
    remove("c-1-1");
    remove("a-1-1"); // every one of that name
    remove("b-1-1"); // a base RPM as well, which stays under the old rules
    g_inst_pkg_fmt_info.is_new_format = 1;
    remove("b-1-1"); // the base RPM first
    remove("b-1-1");
    remove("base-1-1");
    given({new_package("a-1-1")});
    set_base_rpms({"base-1-1"});
    remove("a-1-1");
    EXPECT_FALSE(inst_sw_profile_info_has_packages(&body()));
    remove("base-1-1");
    EXPECT_TRUE(inst_swp_package_has_files(&body().image));
    EXPECT_EQ(body().image.files, nullptr);
}

// A caller that passes no count cannot know of names, and would not free them.
TEST_F(EditTest, WithoutACountNoNamesAreStored)
{
    for (const bool is_new_format : {false, true}) {
        g_inst_pkg_fmt_info.is_new_format = is_new_format ? 1 : 0;
        forget_body();
        put_package(body(), new_package("smu-1-1", {}, 5));
        char *superseded[8] = {};
        EXPECT_EQ(inst_ldpath_add_pkg_in_swp(&body(), strdup("smu-2-1"), 0, nullptr, 0, VERD_PKG_HOST_SMU, superseded,
                                             nullptr, 0, 0, nullptr),
                  0U);
        EXPECT_EQ(superseded[0], nullptr);
    }
}

TEST_F(EditTest, NullArguments)
{
    given({new_package("smu-1-1", {}, 5)});
    char name[] = "x-1-1";
    tell("add without a body", [&](char **err) {
        return inst_ldpath_add_pkg_in_swp(nullptr, name, 0, nullptr, 0, 8, nullptr, nullptr, 0, 0, err);
    });
    tell("add without a name", [&](char **err) {
        return inst_ldpath_add_pkg_in_swp(&body(), nullptr, 0, nullptr, 0, 8, nullptr, nullptr, 0, 0, err);
    });
    tell("remove from no body", [&](char **err) { return inst_ldpath_remove_pkg_in_swp(nullptr, name, err); });
    tell("remove without a name", [&](char **err) { return inst_ldpath_remove_pkg_in_swp(&body(), nullptr, err); });
    for (const bool is_new_format : {false, true}) { // files without an array, and nowhere to tell what is superseded
        g_inst_pkg_fmt_info.is_new_format = is_new_format ? 1 : 0;
        tell("add with nowhere to tell what is superseded", [&](char **err) {
            return inst_ldpath_add_pkg_in_swp(&body(), strdup(is_new_format ? "smu-3-1" : "smu-2-1"), 3, nullptr, 0, 6,
                                              nullptr, nullptr, 0, 0, err);
        });
    }
    tell_content("body:");
}

} // namespace
