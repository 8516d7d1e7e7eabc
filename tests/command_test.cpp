// The command as a person or a script uses it.
#include "support/repository_test.h"

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <sys/wait.h>

namespace
{

struct Ran {
    int code;
    std::string out;
    std::string err;
};

class CommandTest : public RepositoryTest
{
protected:
    static Ran run(const std::string &arguments)
    {
        const int status = std::system((SWPROFILE " " + arguments + " >/tmp/out 2>/tmp/err").c_str());
        const Ran result = {WEXITSTATUS(status), read_file("/tmp/out"), read_file("/tmp/err")};
        if (result.code != 0) {
            EXPECT_EQ(result.out, "") << arguments; // failures say nothing on standard output
            EXPECT_TRUE(result.err.starts_with("swprofile: ")) << result.err;
        }
        return result;
    }

    static nlohmann::json json_of(const std::string &arguments)
    {
        const nlohmann::json json = nlohmann::json::parse(run(arguments).out);
        EXPECT_EQ(json["schema"], 1);
        return json;
    }

    const std::string create = "create --image image.iso --version 1.4.0 ";
};

TEST_F(CommandTest, CreateAndShow)
{
    write_file("/tmp/dir/image.iso", "x");
    const Ran created = run("create --image /tmp/dir/image.iso --image-rpm b.rpm --image-rpm a.rpm --version 1.4.0 "
                            "--package p-1-1=f.rpm,g.rpm --sp-package q-1-1 --service-pack SP1=q-1-1 --lv lv0");
    EXPECT_EQ(created.code, 0) << created.err;
    EXPECT_EQ(created.out, "created the active QX profile of default-sdr (global)\n" + active_bin + "\n");
    EXPECT_EQ(run("exists").out, "yes\n");
    const nlohmann::json shown = json_of("show --json");
    EXPECT_EQ(shown["image"]["name"], "image.iso");
    EXPECT_EQ(shown["image"]["rpms"][0], "a.rpm");
    EXPECT_EQ(shown["packages"][0]["files"][1], "g.rpm");
    EXPECT_EQ(shown["packages"][1]["service_pack_member"], true);
    EXPECT_EQ(shown["service_packs"][0]["rpms"][0], "q-1-1");
    const std::string human = run("show").out;
    for (const char *const part : {"image.iso  (2 RPMs)", "1.4.0", "lv0", "p-1-1", "SP1"}) {
        EXPECT_NE(human.find(part), std::string::npos) << human;
    }
    const std::string twin = read_file(active_txt);
    EXPECT_NE(twin.find("\n\n" + run("show --text").out + "\n"), std::string::npos);

    // What is shown can be created again; options go over it.
    run("show --json");
    fs::copy_file("/tmp/out", "/tmp/request.json");
    EXPECT_EQ(run("create --state 3 --from - </tmp/request.json").code, 0);
    nlohmann::json again = json_of("show --state prepared --json");
    EXPECT_EQ(again["state"], "prepared");
    again["state"] = "active";
    again["path"] = shown["path"];
    EXPECT_EQ(again, shown);

    const std::string log = read_file("/install_repo/log/install.log");
    EXPECT_NE(log.find("] ldpath lib vestra init succeeded\n"), std::string::npos);
    EXPECT_NE(log.find("] SP[0]: SP1\n"), std::string::npos);
    const std::string trace = read_file("/install_repo/log/verd_inst_ldpath.vestra");
    EXPECT_EQ(trace.substr(0, 8), "VESTRA1\n");
    EXPECT_NE(trace.find("default-sdr"), std::string::npos);
    EXPECT_EQ((trace.size() - 4096) % 384, 0U);
}

TEST_F(CommandTest, ListTellsEveryProfilesHealth)
{
    EXPECT_EQ(run("list").out, "no profiles\n");
    for (const char *const which : {"--sdr b", "--sdr a --state committed", "--vm admin", "--vm lc-qx --local"}) {
        EXPECT_EQ(run(create + which).code, 0) << which;
    }
    write_file("/install_repo/gl/instdb/sdr/a/uvf-swprofile-active.bin", "junk");
    write_file("/install_repo/gl/instdb/sdr/b/qx-swprofile-prepared.bin", "");
    write_file("/install_repo/gl/instdb/sdr/-rf/qx-swprofile-prepared.bin", "");
    const Ran listed = run("list");
    EXPECT_EQ(listed.code, 0);
    EXPECT_NE(listed.err.find("no SDR's name: /install_repo/gl/instdb/sdr/-rf"), std::string::npos);
    std::vector<std::string> rows;
    const nlohmann::json json = json_of("list --json");
    for (const auto &profile : json["profiles"]) {
        rows.push_back(profile["scope"].get<std::string>() + " " + profile["sdr"].dump() + " " +
                       profile["vm_type"].get<std::string>() + " " + profile["state"].get<std::string>() + " " +
                       profile["health"].get<std::string>());
    }
    EXPECT_EQ(rows, (Lines{"global null Admin active ok", "global \"a\" QX committed ok",
                           "global \"a\" UVF active undecodable", "global \"b\" QX active ok",
                           "global \"b\" QX prepared empty", "local \"default-sdr\" LC QX active ok"}));
}

TEST_F(CommandTest, BadInputIsRefusedWithItsExitCode)
{
    EXPECT_EQ(run(create).code, 0);
    write_file(std::string(GLOBAL_QX) + "committed.bin", "");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", "junk");
    write_file("/tmp/request.json", R"({"image": {"name": "x.iso"}, "packages": [{"name": "p"}, {"nme": "q"}]})");
    write_file("/tmp/broken.json", "{");
    write_file("/tmp/null.json", R"({"sdr": null})");
    mkfifo("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", 0600); // must not make us wait
    const struct {
        std::string arguments;
        int code;
        const char *message;
    } cases[] = {
        {create, 1, "exists already"},
        {create + "--replace", 0, ""},
        {"show --state prepared", 3, "there is no prepared QX profile of default-sdr (global)"},
        {"show --state committed", 3, "the file is empty, which counts as absent"},
        {"show --vm uvf", 4, "is damaged"},
        {"exists --vm 6 --local", 3, "there is no active UVF profile of default-sdr (local)"},
        {"show --vm host", 3, "this VM type has no software profile"},
        {"show --vm none", 2, "'none' isn't one"},
        {"show --state 4", 2, "'4' isn't one"},
        {"show --sdr ../x", 2, "starts with '.'"},
        {"show --sdr 'a;b'", 2, "has other characters"},
        {"show --sdr 12345678901234567890123456789012345678901", 2, "more than 40"},
        {"show --sdr ''", 2, "is empty"},
        {create + "--package='$(x)'", 2, "has other characters"},
        {create + "--state 3 --service-pack SP1", 4, "the service packs would be lost"},
        {"create --image /no/such.iso --state 3", 4, "no file with content: /no/such.iso"},
        {"create --state 3", 2, "no image given"},
        {"create --state 3 --from /tmp/request.json", 4, "/tmp/request.json.packages[1]: has an unknown field 'nme'"},
        {"create --state 3 --from /tmp/broken.json", 4, "isn't JSON"},
        {"create --state 3 --from /tmp/none.json", 1, "No such file or directory"},
        {"path --local --vm admin --text", 0, ""},
        {"boot-flag --vm admin", 0, ""},
        {"frobnicate", 2, "no such subcommand or option: frobnicate"},
        {"show --local --global", 2, "excludes"},
        {create + "--state 3 --package a --package a", 4, "is given twice"},
        {create + "--state 3 --from /tmp/null.json", 4, "sdr: must be a text"},
        {"list", 0, ""},
        {"show --vm uvf --state 3", 1, "not a regular file"},
        {"", 2, "subcommand"},
        {"create --help", 0, ""},
    };
    for (const auto &[arguments, code, message] : cases) {
        const Ran result = run(arguments);
        EXPECT_EQ(result.code, code) << arguments << "\n" << result.err;
        EXPECT_NE(result.err.find(message), std::string::npos) << arguments << "\n" << result.err;
    }
    EXPECT_EQ(run("path --local --vm admin --text").out, "/install_repo/local//kelo-swprofile-active.txt\n");
    EXPECT_EQ(run("boot-flag --vm admin").out, "/install_repo/local/kelo_boot_active\n");
}

} // namespace
