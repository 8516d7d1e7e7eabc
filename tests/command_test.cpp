// The command as a person or a script uses it.
#include "support/command_test.h"

namespace
{

TEST_F(CommandTest, CreateAndShow)
{
    write_file("/tmp/dir/image.iso", "x");
    const Ran created =
        run("create --image /tmp/dir/image.iso --image-rpm b.rpm --image-rpm a.rpm --version 1.4.0 "
            "--package p-1-1=f.rpm,g.rpm --sp-package q-1-1 --service-pack SP1=q-1-1 --service-pack SP2 --lv lv0");
    EXPECT_EQ(created.code, 0) << created.err;
    EXPECT_EQ(created.out, "created the active QX profile of default-sdr (global)\n" + active_bin + "\n");
    EXPECT_EQ(run("exists").out, "yes\n");
    const nlohmann::json shown = json_of("show --json");
    EXPECT_EQ(shown["image"]["name"], "image.iso");
    EXPECT_EQ(shown["image"]["rpms"][0], "a.rpm");
    EXPECT_EQ(shown["packages"][0]["files"][1], "g.rpm");
    EXPECT_EQ(shown["packages"][1]["service_pack_member"], true);
    EXPECT_EQ(shown["service_packs"][0]["rpms"][0], "q-1-1");
    EXPECT_TRUE(shown["service_packs"][1]["rpms"].empty());
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

    std::string image = "/tmp"; // lines of the log may be long
    for (int i = 0; i < 15; ++i) {
        image += "/" + std::string(180, 'i');
    }
    write_file(image, "x");
    run("create --state 3 --replace --image " + image);
    const std::string log = read_file("/install_repo/log/install.log");
    EXPECT_NE(log.find(", image=" + image + ", num_image_rpms=0"), std::string::npos);
    EXPECT_NE(log.find("] ldpath lib vestra init succeeded\n"), std::string::npos);
    EXPECT_NE(log.find("] SP[0]: SP1\n"), std::string::npos);
    const std::string trace = read_file("/install_repo/log/verd_inst_ldpath.vestra");
    EXPECT_EQ(trace.substr(0, 8), "VESTRA1\n");
    EXPECT_NE(trace.find("default-sdr"), std::string::npos);
    EXPECT_EQ((trace.size() - 4096) % 384, 0U);
}

TEST_F(CommandTest, PackagesAndImagesForNodes)
{
    run(create + "--package qx-kernel-1-1 --image-rpm x-hostos-1-1");
    const std::string add = "add-for-nodes ";
    EXPECT_EQ(run("nodes").out, "no location profiles in the active QX profile of default-sdr (global)\n");
    EXPECT_EQ(run(add + "a-1-1 --node 0/1/0 --node 4294967295/0/2").code, 0);
    const Ran joined = run(add + "a-1-1 --type base --node 0/3/0");
    EXPECT_TRUE(joined.out.ends_with(", for\n  0/1/0 4294967295/0/2 0/3/0\n")) << joined.out;
    EXPECT_TRUE(run(add + "a-1-1 --type base --node 0/1/0 --node 0/3/0").out.starts_with("nothing changes"));
    const Ran missed = run(add + "b-1-1 --type 2 --node 0/1/0 --node 0/4/0"); // nobody has it: all get it
    EXPECT_EQ(missed.code, 0);
    EXPECT_TRUE(missed.err.starts_with("swprofile: note: 0/4/0: not among them")) << missed.err;
    const nlohmann::json nodes = json_of("nodes --json")["location_profiles"];
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0]["nodes"][1], "4294967295/0/2");
    EXPECT_EQ(nodes[0]["packages"][1]["name"], "b-1-1");
    EXPECT_NE(run("nodes").out.find("a-1-1 b-1-1"), std::string::npos);

    write_file("/tmp/packs.json", R"([{"name": "SP1", "rpms": ["x-hostos-2-1.noarch"]}])");
    write_file("/install_repo/gl/verdalis/x-hostos-2-1.x86_64.rpm", "rpm");
    const Ran all = run(add + "x-hostos-2-1 --new-format --service-packs /tmp/packs.json --all-nodes");
    EXPECT_EQ(all.out, "x-hostos-2-1 is now in the active QX profile of default-sdr (global), for all nodes\n"
                       "  it supersedes x-hostos-1-1, which is gone\n  1 location profile is gone\n");
    EXPECT_NE(run(add + "x-hostos-2-1 --all-nodes").out.find("was already in"), std::string::npos);
    EXPECT_EQ(json_of("show --json")["service_packs"][0]["name"], "SP1");

    EXPECT_EQ(run("image-for-nodes qx-image-2.iso --node 0/1/0").code, 2); // or its version would be "null"
    EXPECT_EQ(run("image-for-nodes qx-image-2.iso --version 2 --node 0/1/0").code, 0);
    EXPECT_TRUE(run("image-for-nodes qx --node 0/1/0").out.starts_with("nothing changes"));
    EXPECT_TRUE(run("image-for-nodes qx --node 0/2/0").out.ends_with("  0/1/0 0/2/0\n"));
    EXPECT_NE(run("image-for-nodes kelo --node 0/5/0").err.find("no location profile of the active"),
              std::string::npos);
    EXPECT_EQ(json_of("nodes --json")["location_profiles"][0]["version"], "2");
}

TEST_F(CommandTest, PromoteCopyDelete)
{
    run(create + "--local --state prepared");
    const std::string prepared = read_file("/install_repo/local/sdr/default-sdr/qx-swprofile-prepared.bin");
    EXPECT_EQ(run("promote --local").out, "the prepared QX profile of default-sdr (local) is now the active one\n"
                                          "/install_repo/local/sdr/default-sdr/qx-swprofile-active.bin\n");
    EXPECT_EQ(run("promote --local").code, 3);
    EXPECT_EQ(run("copy --local --from active --to committed").code, 0);
    EXPECT_EQ(read_file("/install_repo/local/sdr/default-sdr/qx-swprofile-committed.bin"), prepared);
    EXPECT_EQ(read_file("/install_repo/local/qx-swprofile-committed.bin"), prepared);
    EXPECT_EQ(run("copy --local --from prepared --to active").code, 3);
    EXPECT_EQ(run("copy --local --from active --to 2").code, 2);
    EXPECT_EQ(run("delete --local </dev/null").code, 2);
    EXPECT_EQ(run("delete --sdr other --yes").code, 3); // the flat copies are another's
    EXPECT_TRUE(fs::exists("/install_repo/local/qx-swprofile-active.bin"));
    const Ran deleted = run("delete --local --state active --yes");
    EXPECT_EQ(std::count(deleted.out.begin(), deleted.out.end(), '\n'), 4) << deleted.out;
    EXPECT_EQ(run("exists --local").code, 3);
    EXPECT_EQ(run("delete --local --yes").code, 0);
    EXPECT_EQ(run("delete --local --yes").code, 3);
    EXPECT_EQ(run("list").out, "no profiles\n");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-prepared.bin", "junk");
    EXPECT_EQ(run("promote").code, 4); // stays where it is
    EXPECT_EQ(run("delete --state prepared --yes").code, 0);
}

TEST_F(CommandTest, Questions)
{
    run(create + "--package a-1-1=x.rpm,y.rpm --package b-1-1 --image-rpm base --sp-package c-1-1 --service-pack "
                 "SP1=c-1-1");
    run("create --image kelo.iso --version 7 --vm admin");
    run("add-for-nodes d-1-1 --node 0/1/0 --vm admin");
    run("show --json");
    fs::copy_file("/tmp/out", "/tmp/active.json");
    nlohmann::json prepared = json_of("show --json");
    prepared["packages"][0]["files"] = {"y.rpm"};
    prepared["image"]["rpms"] = {"other"};
    write_file("/tmp/prepared.json", prepared.dump());
    run("create --from /tmp/prepared.json --state prepared --version 1.5.0");
    run("add-for-nodes e-1-1 --node 0/2/0 --node 0/3/0 --state prepared");
    run("create --from /tmp/active.json --state committed --lv other");
    const struct {
        const char *arguments;
        int code;
        std::string out;
    } cases[] = {
        {"image", 0, "image.iso\n"},
        {"packages", 0, "a-1-1\nb-1-1\nc-1-1\n"},
        {"packages --no-members", 0, "a-1-1\nb-1-1\n"},
        {"packages --host-smus", 0, ""},
        {"packages --host-smus --no-members", 2, ""},
        {"rpms a-1-1.x86_64", 0, "x.rpm\ny.rpm\n"},
        {"rpms b-1-1", 0, ""},
        {"rpms d-1-1", 1, ""},
        {"has a-1-1.noarch.rpm", 0, "yes\n"},
        {"has d-1-1", 1, "no\n"},
        {"has d-1-1 --sdr none", 3, ""},
        {"service-packs", 0, "SERVICE PACK  RPMS\nSP1              1\n"},
        {"service-packs --vm admin", 0, "no service packs\n"},
        {"service-packs --all", 0, "SP1\n"},
        {"service-packs --all --committed", 3, ""}, // no committed Admin profile
        {"service-packs --all --state 1", 2, ""},
        {"diff active committed", 0, ""},
        {"diff active prepared", 1,
         "--- active QX profile of default-sdr (global)\n+++ prepared QX profile of default-sdr (global)\n"
         "- base RPM base\n+ base RPM other\n~ version: 1.4.0 -> 1.5.0\n~ package a-1-1: RPMs\n"
         "+ location profile 0/2/0 0/3/0\n"
         "+ package e-1-1 on nodes 0/2/0 0/3/0\n"},
        {"diff prepared active --vm uvf", 3, ""},
        {"node-version 0/1/0", 0, "7\n"},
        {"node-version 0/1/0 7", 0, "equal\n"},
        {"node-version 0/1/0 7.0", 1, "different\n"},
        {"node-version 0/1 7", 2, ""},
        {"check", 0, "4 profiles checked, nothing found\n"},
        {"check --state committed", 0, "1 profile checked, nothing found\n"},
        {"check --vm uvf", 3, ""},
    };
    for (const auto &[arguments, code, out] : cases) {
        const Ran result = run(arguments);
        EXPECT_EQ(result.code, code) << arguments << result.err;
        EXPECT_EQ(result.out, out) << arguments;
    }
    EXPECT_EQ(json_of("diff active prepared --json")["changes"].size(), 6U);
    EXPECT_EQ(json_of("rpms a-1-1 --json")["rpms"][1], "y.rpm");
    EXPECT_EQ(json_of("service-packs --json")["service_packs"][0]["rpms"][0], "c-1-1");
    EXPECT_EQ(std::system(SWPROFILE " diff active prepared >/dev/full 2>/dev/null") >> 8, 2); // not a difference
    run("delete --vm admin --yes");
    EXPECT_EQ(run("node-version 0/1/0 7").code, 3);
}

// What is in the repository, with the times of its files; logs apart.
Lines repository_state()
{
    Lines lines;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator("/install_repo")) {
        if (entry.is_regular_file() && entry.path().parent_path() != "/install_repo/log") {
            lines.push_back(entry.path().string() + " " +
                            std::to_string(entry.last_write_time().time_since_epoch().count()) +
                            read_file(entry.path()));
        }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

TEST_F(CommandTest, Edits)
{
    run(create + "--package qx-tp-ssh-1-1 --package x-host-1-1 --image-rpm y-hostos-1-1");
    run("create --image kelo.iso --version 7 --vm admin --state prepared");
    write_file("/tmp/sp1.json", R"([{"name": "SP1", "rpms": ["qx-tp-ssh-1-1.noarch.rpm", "b-tp-1-1"]}])");
    write_file("/tmp/sp2.json", R"([{"name": "SP2", "rpms": ["qx-tp-ssh-1-1.noarch.rpm"]}])");
    const struct {
        const char *arguments;
        std::string changes;
    } edits[] = {
        {"add b-tp-1-1 --rpm /m/b-tp-1-1.x86_64.rpm --rpm c", "+ package b-tp-1-1\n"},
        {"add y-hostos-2-1 --new-format --type base", "- base RPM y-hostos-1-1\n+ package y-hostos-2-1\n"},
        {"service-pack add /tmp/sp1.json", "~ package qx-tp-ssh-1-1: membership of service packs\n"
                                           "~ package b-tp-1-1: membership of service packs\n+ service pack SP1\n"},
        {"service-pack add /tmp/sp2.json", "+ service pack SP2\n"},
        {"service-pack remove /tmp/sp1.json", "~ package b-tp-1-1: membership of service packs\n- service pack SP1\n"},
        {"remove y-hostos-2-1.x86_64 --new-format", "- package y-hostos-2-1\n"},
        {"remove b-tp-1-1 --new-format --service-packs /tmp/sp2.json",
         "~ package qx-tp-ssh-1-1: membership of service packs\n- package b-tp-1-1\n- service pack SP2\n"},
        {"add-host /m/a-host-1-1.x86_64.rpm --state prepared", "+ package a-host-1-1\n"},
        {"add-for-nodes d-1-1 --node 0/1/0", "+ location profile 0/1/0\n+ package d-1-1 on nodes 0/1/0\n"},
        {"add-for-nodes e-1-1 --node 0/1/0", "+ package e-1-1 on nodes 0/1/0\n"},
    };
    for (const auto &[arguments, changes] : edits) {
        const Lines before = repository_state();
        const Ran dry = run(std::string(arguments) + " --dry-run");
        EXPECT_EQ(dry.out.substr(dry.out.find('\n') + 1), changes) << arguments << dry.err;
        EXPECT_TRUE(dry.out.starts_with("would change the ")) << dry.out;
        EXPECT_EQ(repository_state(), before) << arguments;
        const Ran done = run(arguments);
        EXPECT_EQ(done.code, 0) << arguments << done.err;
        EXPECT_NE(repository_state(), before) << arguments;
        if (!std::string(arguments).starts_with("add-for")) {
            EXPECT_EQ(done.out.substr(done.out.find('\n') + 1), changes) << arguments;
        }
    }
    const std::string other = "/install_repo/gl/instdb/sdr/other/qx-swprofile-active.bin";
    write_file(other, read_file(active_bin)); // an edit of it would be stored in its place
    const Lines before = repository_state();
    EXPECT_EQ(run("add z-1-1 --sdr other").code, 4);
    EXPECT_EQ(run("add-for-nodes z-1-1 --all-nodes --sdr other").code, 4);
    EXPECT_EQ(repository_state(), before);
    fs::remove_all(fs::path(other).parent_path());
    const Ran half = run("add-host b-host-1-1 x --new-format --state prepared");
    EXPECT_NE(half.err.find("done all the same: + package b-host-1-1"), std::string::npos) << half.err;
    const std::string whole = read_file(active_bin);
    std::string many = "big-1-1";
    for (int i = 0; i < 500; ++i) {
        many += " --rpm a-file-of-twenty-" + std::to_string(i);
    }
    const int status =
        std::system(("trap '' XFSZ; ulimit -f 12; " SWPROFILE " add " + many + " >/tmp/out 2>/tmp/err").c_str());
    EXPECT_EQ(WEXITSTATUS(status), 1); // its file would be larger than 6 KiB, and is removed
    EXPECT_NE(read_file("/tmp/err").find("the profile was lost, and has been stored again as it was"),
              std::string::npos);
    EXPECT_EQ(read_file(active_bin), whole);
    EXPECT_EQ(run("remove z").out, "nothing changes in the active QX profile of default-sdr (global)\n");
    EXPECT_EQ(run("remove z --dry-run").out, "would store nothing\n");
    EXPECT_EQ(run("add x-host-1-1 --dry-run").out,
              "would store, unchanged, the active QX profile of default-sdr (global)\n");
    EXPECT_EQ(run("add z --new-format").code, 4);
    EXPECT_EQ(run("add 'a b'").code, 2);
    EXPECT_EQ(run("add a-1-1 --rpm 'x;y'").code, 2);
    EXPECT_EQ(run("add-host x-1-1").code, 3);
    EXPECT_EQ(run("service-pack add /tmp/none").code, 1);
    EXPECT_EQ(run("service-pack").code, 2);
    EXPECT_EQ(run("check").code, 0);
}

TEST_F(CommandTest, BadInputIsRefusedWithItsExitCode)
{
    EXPECT_EQ(run(create).code, 0);
    write_file(std::string(GLOBAL_QX) + "committed.bin", "");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", "junk");
    write_file("/tmp/request.json", R"({"image": {"name": "x.iso"}, "packages": [{"name": "p"}, {"nme": "q"}]})");
    write_file("/tmp/broken.json", "{");
    write_file("/tmp/null.json", R"({"sdr": null})");
    write_file("/tmp/typed.json", R"({"vm_type": ["qx"]})");
    write_file("/tmp/twice.json", R"({"image": {"name": "x"}, "image": {"name": "y"}})");
    write_file("/tmp/packs.json", R"([{"name": "SP1"}, {"name": "SP1"}])");
    write_file("/install_repo/gl/verdalis/a-1-1.2.tar", "");
    write_file("/tmp/names.json", R"({"service_packs": [{"name": "SP1"}], "service_pack_names": ["SP1", "SP2"]})");
    fs::create_directories("/install_repo/gl/instdb/sdr/dangling");
    fs::create_symlink("/no/such/file", "/install_repo/gl/instdb/sdr/dangling/qx-swprofile-active.bin");
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
        {"show --vm none", 2, "'none' isn't one; VM type: admin, qx, lc-qx, uvf"},
        {"show --state 4", 2, "'4' isn't one"},
        {"show --sdr ../x", 2, "starts with '.'"},
        {"show --sdr 'a;b'", 2, "has other characters"},
        {"show --sdr 12345678901234567890123456789012345678901", 2, "more than 40"},
        {"show --sdr ''", 2, "is empty"},
        {create + "--package='$(x)'", 2, "has other characters"},
        {create + "--state 3 --service-pack SP1", 4, "the service packs would be lost"},
        {"create --image /no/such.iso --state 3", 4, "no file with content: /no/such.iso"},
        {"create --state 3", 2, "no image given"},
        {"create --image i --state 3 --lv " + std::string(188, 'n'), 2, "has more than 187"},
        {"create --image i --state 3 --version 'a\nb'", 2, "other characters than printable"},
        {"create --image i --vm uvf --state prepared --replace", 1, "not a regular file"},
        {"show --vm '[qx]'", 2, "isn't one"},
        {"create --from /tmp/typed.json", 4, "vm_type: must be a name or a number"},
        {"create --image i --sdr dangling", 1, "not a regular file"},
        {"add-for-nodes a-1-1", 2, "for which nodes?"},
        {"add-for-nodes a-1-1 --node 0/1", 2, "isn't a node"},
        {"add-for-nodes a-1-1 --node 0/1/0 --node 0/01/0", 2, "node 0/1/0 is given twice"},
        {"add-for-nodes a-1-1 --node 0/1/4294967296", 2, "isn't a node"},
        {"add-for-nodes a-1-1 --node 0/1/0 --all-nodes", 2, "--node excludes --all-nodes"},
        {"add-for-nodes 'a b' --all-nodes", 2, "has other characters"},
        {"add-for-nodes a-1-1 --all-nodes --type other", 2, "'other' isn't one"},
        {"add-for-nodes a-1-1 --all-nodes --type smu", 1, "another package's would be taken"},
        {"add-for-nodes b-1-1 --all-nodes --type smu", 1, "no file /install_repo/gl/verdalis/b-1-1*"},
        {"create --state 3 --from /tmp/twice.json", 4, "'image' is given twice"},
        {"service-pack add ''", 2, "no file given"},
        {"service-pack add /tmp/packs.json", 4, "the service pack is given twice: SP1"},
        {"exists --vm uvf --state prepared", 1, "not a regular file"},
        {"add-for-nodes a-1-1 --all-nodes --state 3", 3, "there is no prepared"},
        {"add-for-nodes a --all-nodes --type 1 --new-format", 4, "isn't name-version-release"},
        {"add-for-nodes a-1-1 --all-nodes --type 1 --new-format --service-packs /tmp/broken.json", 4,
         "isn't JSON: at line 1"},
        {"add-for-nodes a-1-1 --all-nodes --service-packs /tmp/broken.json", 2, "requires --new-format"},
        {"image-for-nodes i", 2, "--node is required"},
        {"nodes --vm uvf", 4, "is damaged"},
        {"create --state 3 --from /tmp/request.json", 4, "/tmp/request.json.packages[1]: has an unknown field 'nme'"},
        {"create --state 3 --from /tmp/names.json", 4, "service_pack_names aren't the names of service_packs"},
        {"create --state 3 --from /tmp/broken.json", 4, "isn't JSON: at line 1"},
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
