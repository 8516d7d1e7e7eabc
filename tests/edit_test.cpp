// Adding packages to a body and removing them.
#include "support/bodies.h"

namespace
{

class EditTest : public RepositoryTest
{
protected:
    void given(const std::vector<inst_swp_package> &packages, const std::vector<const char *> &base_rpms = {})
    {
        inst_ldpath_free_swprofile_ext(&profile.ptr);
        profile.ptr = new_profile_of(packages);
        body().image = new_package(nullptr, base_rpms);
        record_line("a body");
        record_content(content_of(body()));
    }

    inst_sw_profile_info &body() const { return profile.body(); }

    void add(const std::string &name, uint32_t type, const std::vector<const char *> &paths = {}, uint64_t source = 0,
             uint64_t value = 0)
    {
        Addition addition(name.c_str(), paths);
        record("add " + name.substr(0, 60) + " of type " + std::to_string(type), [&](Answer &, char **err) {
            const uint64_t rc = addition.add_to(body(), value, type, source, err);
            const bool is_counted = addition.superseded_count != 77;
            const std::string superseded = joined(addition.superseded, is_counted ? addition.superseded_count : 0);
            output = !is_counted ? "no count" : superseded.empty() ? "" : "supersedes" + superseded;
            return rc;
        });
        record_content(content_of(body()));
    }

    void remove(const char *name)
    {
        RECORD(std::string("remove ") + name, inst_ldpath_remove_pkg_in_swp(&body(), name, err));
        record_content(content_of(body()));
    }

    Fetched profile;
};

// A host SMU supersedes the first entry that is a host SMU; a kernel package, the first one with a kernel of its class.
// Other packages supersede nothing.
TEST_F(EditTest, OldRules)
{
    given({new_package("smu-1-1", {}, HOST_SMU_ENTRY), new_package("smu-2-1", {}, HOST_SMU_ENTRY)});
    // Paths and architectures are cut off the names of files.
    add("smu-3-1", HOST_SMU, {"/a/b/smu-3-1.x86_64.rpm", "plain-1-1.noarch", nullptr}, 0, 9);
    add("smu-3-1", HOST_SMU); // a duplicate, but the scan ends at smu-1-1, before the existing smu-3-1
    add("smu-1-1", HOST_SMU); // rejected: the duplicate is the first entry
    given({});
    add("other-1-1", BASE);
    add("other-2-1", BASE);
    add("no form", UINT32_MAX); // neither name nor type is checked

    given({new_package("none-1-1", {}, KERNEL_ENTRY), new_package("mod-1-1", {"kernel-modules-1-1"}, KERNEL_ENTRY),
           new_package("krn-1-1", {"qx-kernel-1-1"}, KERNEL_ENTRY)});
    inst_swp_package_clear_pkg_type(&body().packages[2]); // so that it counts as having the type of the entry before it
    put_package(body(), new_package(nullptr, {nullptr}, KERNEL_ENTRY));
    add("krn-2-1", KERNEL, {"/x/qx-kernel-2-1.x86_64.rpm"});   // supersedes krn-1-1
    add("rt-1-1", KERNEL, {"/x/qx-kernel-rt-2-1.x86_64.rpm"}); // no entry has a real-time kernel
    add("bare-1-1", KERNEL);                                   // without files, it is of no class
}

// A host SMU or kernel package supersedes all entries with its type and base name; so does a base package for the host
// OS or of a third party. A host-OS package that supersedes no entry supersedes base RPMs of the image.
TEST_F(EditTest, NewRules)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    given({new_package("smu-1-1", {}, HOST_SMU_ENTRY), new_package("smu-2-1", {}, HOST_SMU_ENTRY),
           new_package("smu-x-1-1", {}, HOST_SMU_ENTRY), new_package("smu-3-1")});
    add("smu-4-1.x86_64", HOST_SMU); // smu-1-1 and smu-2-1; another base name and a base package remain
    add("smu-4-1.x86_64", HOST_SMU); // a duplicate; the superseded entries are returned anyway
    add("smu-5-1", KERNEL);          // no entry is a kernel package

    given({new_package("kelo-hostos-1-1"), new_package("x-tp-1-1"), new_package("plain-1-1")},
          {"y-hostos-1-1", nullptr, "y-hostos-1-2", "kelo-hostos-0-1"});
    add("kelo-hostos-2-1", BASE); // supersedes a package, so no base RPM
    add("x-tp-2-1", BASE);
    add("y-hostos-2-1", BASE); // supersedes two base RPMs
    add("plain-2-1", BASE);    // neither for the host OS nor of a third party

    given({});
    add("nodashes", BASE);
    add("--", BASE);
    add("a b;'c\"-1-1", 1);                         // characters and types are not checked
    add(std::string(4000, 'n') + "-1-1", HOST_SMU); // the base name is cut
    put_package(body(), new_package("damaged"));
    add("z-1-1", BASE); // an entry's name cannot be split
    given({}, {"damaged"});
    add("z-1-1", BASE); // base RPMs are not read for it
    add("z-hostos-1-1", BASE);
}

TEST_F(EditTest, ServicePacks)
{
    g_inst_pkg_fmt_info.is_new_format = 1;
    const ServicePacks packs{{"SP2", {"a-1-1.x86_64", nullptr, "b-1-1"}}, {"SP1", {"a-1-1"}}, {"SP3", {"b-1-1"}}};
    const ServicePacks more{{"SP4", {"d-1-1"}}}, other{{"SP6", {"e-1-1"}}}, nameless{{nullptr, {"e-1-1"}}};
    given({});
    add("a-1-1", BASE, {}, packs.source());
    add("b-1-1.noarch", BASE, {}, packs.source()); // SP2 exists
    add("c-1-1", BASE, {}, packs.source());        // belongs to no service pack
    add("d-1-1", BASE, {}, more.source());
    write_file("/tmp/emi_sp_get_rpm_names_failure", "");
    add("e-1-1", BASE, {}, more.source());
    EXPECT_FALSE(fs::exists("/tmp/emi_sp_get_rpm_names_failure"));
    add("e-1-1", BASE, {}, nameless.source());
    zeld_sp_detail_free_ext(&body().sp_details[--body().sp_details_count], std::free);
    add("e-1-1", BASE, {}, other.source()); // a name without its detail
    g_inst_pkg_fmt_info.is_new_format = 0;
    add("e-1-1", BASE, {}, other.source()); // the old rules have no service packs
}

TEST_F(EditTest, Removing)
{
    given({new_package("a-1-1"), new_package("b-1-1"), new_package("a-1-1"), new_package(nullptr)},
          {"base-1-1", "b-1-1", nullptr, "base-1-1"});
    remove("c-1-1");
    remove("a-1-1"); // both entries
    remove("b-1-1"); // also a base RPM, which remains under the old rules
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

TEST_F(EditTest, CallersWithoutCountOrList)
{
    given({new_package("smu-1-1", {}, HOST_SMU_ENTRY)});
    char *superseded[8] = {};
    const auto add_without = [&](const char *name, char **list, uint32_t *count) {
        RECORD(name,
               inst_ldpath_add_pkg_in_swp(&body(), strdup(name), 0, nullptr, 0, HOST_SMU, list, count, 0, 0, err));
    };
    add_without("smu-2-1", superseded, nullptr);
    g_inst_pkg_fmt_info.is_new_format = 1;
    add_without("smu-3-1", superseded, nullptr);
    EXPECT_EQ(superseded[0], nullptr); // a caller without the count would not free it
    uint32_t count = 0;
    add_without("smu-4-1", nullptr, &count);
    record_content(content_of(body()));
}

} // namespace
