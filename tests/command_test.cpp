// The command as a person or a script uses it.
#include "support/command_test.h"

#include <regex>

namespace
{

TEST_F(CommandTest, CreateAndShow)
{
    write_file("/tmp/dir/image.iso", "x");
    expect({{"create --image /tmp/dir/image.iso --image-rpm b.rpm --image-rpm a.rpm --version 1.4.0 --lv lv0 "
             "--package p-1-1=f.rpm,g.rpm --sp-package q-1-1 --service-pack SP1=q-1-1 --service-pack SP2",
             0, "created the active QX profile of default-sdr (global)\n" + active_bin + "\n"},
            {"exists", 0, "yes\n"}});
    const nlohmann::json shown = json_of("show --json");
    EXPECT_EQ(shown, nlohmann::json::parse(R"({"schema": 1, "sdr": "default-sdr", "vm_type": "QX", "state": "active",
        "scope": "global", "path": "/install_repo/gl/instdb/sdr/default-sdr/qx-swprofile-active.bin", "lv_name": "lv0",
        "image": {"name": "image.iso", "rpms": ["a.rpm", "b.rpm"]}, "version": "1.4.0",
        "packages": [{"name": "p-1-1", "rpms": ["f.rpm", "g.rpm"], "type": "base"},
                     {"name": "q-1-1", "type": "base", "service_pack_member": true}],
        "service_packs": [{"name": "SP1", "rpms": ["q-1-1"]}, {"name": "SP2"}], "service_pack_names": ["SP1", "SP2"],
        "encoded_bytes_at_creation": 218})"));
    expect({{"show", 0,
             "Image    image.iso  (2 RPMs)\nVersion  1.4.0\nVolume   lv0\nContent  2 packages, 2 service packs"},
            {"show", 0,
             "\np-1-1    base  -       2\nq-1-1    base  yes     0\n\nSERVICE PACK  RPMS\nSP1              1"}});
    EXPECT_TRUE(has(read_file(active_txt), "\n\n" + run("show --text").out + "\n"));

    const std::string log = read_file("/install_repo/log/install.log");
    EXPECT_TRUE(has(log, "] ldpath lib vestra init succeeded\n") && has(log, "] SP[0]: SP1\n")) << log;
    const std::string trace = read_file("/install_repo/log/verd_inst_ldpath.vestra");
    EXPECT_TRUE(trace.starts_with("VESTRA1\n") && (trace.size() - 4096) % 384 == 0 && has(trace, "default-sdr"));

    // What is shown can be created again; options override it.
    write_file("/tmp/request.json", shown.dump());
    EXPECT_EQ(run("create --state 3 --from - </tmp/request.json").code, 0);
    nlohmann::json again = json_of("show --state prepared --json");
    EXPECT_EQ(std::exchange(again["state"], "active"), "prepared");
    again["path"] = shown["path"];
    EXPECT_EQ(again, shown);
}

TEST_F(CommandTest, PackagesForNodes)
{
    run(create);
    const std::string add = "add-for-nodes ", mixture = add + "b-1-1 --type 2 --node 0/1/0 --node 0/4/0";
    const char *const rejection = "nodes that would get it as well: 4294967295/0/2 0/3/0\n"
                                  "  nodes that would not get it: 0/4/0\n  ";
    expect({{"nodes", 0, "no location profiles in the active QX profile of default-sdr (global)\n"},
            {add + "a-1-1 --node 0/1/0 --node 4294967295/0/2", 0, ""},
            {add + "a-1-1 --type base --node 0/3/0", 0, ""},
            {add + "a-1-1 --type base --node 0/1/0 --node 0/3/0", 0, "nothing changes"},
            {mixture, 1, rejection}, // no node has b-1-1 yet
            {mixture + " --dry-run", 1, rejection},
            {mixture + " --join", 0, ""},
            {"nodes", 0,
             "NODES           IMAGE  VERSION  PACKAGES\n"
             "0/1/0           -      -        a-1-1\n"
             "4294967295/0/2                  b-1-1\n"
             "0/3/0\n"},
            {add + "a-1-1 --type base --node 0/5/0", 0, "with all of its content"}});
    EXPECT_EQ(json_of("nodes --json")["location_profiles"],
              nlohmann::json::parse(R"([{"nodes": ["0/1/0", "4294967295/0/2", "0/3/0", "0/5/0"],
                  "packages": [{"name": "a-1-1", "type": "base"}, {"name": "b-1-1", "type": "base"}]}])"));
}

TEST_F(CommandTest, ImagesForNodes)
{
    run(create);
    // A new location profile requires --version: otherwise the library would record an empty version.
    expect({{"image-for-nodes qx-image-2.iso --node 0/1/0", 2, ""},
            {"image-for-nodes qx-image-2.iso --version 2 --node 0/1/0", 0, ""},
            {"image-for-nodes qx --node 0/1/0", 0, "nothing changes"},
            {"image-for-nodes qx --node 0/2/0", 0, ""},
            {"image-for-nodes kelo --node 0/5/0", 1, "no location profile of the active"},
            {"add-for-nodes a-1-1 --node 0/1/0 --node 0/2/0", 0, ""}});
    EXPECT_EQ(json_of("nodes --json")["location_profiles"][0]["version"], "2");

    // What is shown is a backup, location profiles included.
    write_file("/tmp/backup.json", json_of("show --json").dump());
    expect({{"create --from /tmp/backup.json --state committed", 0, ""}, {"diff active committed", 0, ""}});
}

TEST_F(CommandTest, PromoteCopyDelete)
{
    run(create + "--local --state prepared");
    const std::string local = LOCAL_QX;
    const std::string prepared = read_file(local + "prepared.bin");
    expect({{"promote --local", 0,
             "promoted the prepared QX profile of default-sdr (local) to active\n"
             "the previous active QX profile of default-sdr (local) was missing\n"},
            {"promote --local", 3, ""},
            {"commit --local", 0, ""}});
    EXPECT_EQ(read_file(local + "committed.bin"), prepared);
    EXPECT_EQ(read_file("/install_repo/local/qx-swprofile-committed.bin"), prepared);
    run("add n-1-1 --local");
    expect(
        {{"rollback --local --dry-run", 0,
          "would copy the committed QX profile of default-sdr (local) to active\n- package n-1-1\n"},
         {"rollback --local", 0, "copied the committed QX profile of default-sdr (local) to active\n- package n-1-1\n"},
         {"copy --local --from prepared --to active", 3, ""},
         {"copy --local --from active --to 2", 2, ""},
         {"delete --local --state active </dev/null", 2, ""},
         {"delete --local --yes", 2, ""},
         {"delete --sdr other --state active --yes", 3, ""}, // the flat copies are another profile's
         // A global profile has no flat copies: the local profile keeps its own.
         {create, 0, ""},
         {"delete --state active --yes", 0, ""},
         {"check", 0, "2 profiles checked, nothing found\n"},
         {"delete --local --state active --yes --dry-run", 0, "would delete "}});
    const Ran deleted = run("delete --local --state active --yes");
    // One line for each file: the profile, its twin and their flat copies.
    EXPECT_EQ(std::count(deleted.out.begin(), deleted.out.end(), '\n'), 4) << deleted.out;
    expect({{"exists --local", 3, ""},
            {"delete --local --all-states --yes", 0, ""},
            {"delete --local --all-states --yes", 3, ""},
            {"list", 0, "no profiles\n"}});
}

// A source that would be rejected by check is rejected before the target is touched.
TEST_F(CommandTest, SourcesAreChecked)
{
    run(create);
    run("create --image u.iso --vm uvf");
    run(create + "--sdr other");
    const std::string directory = "/install_repo/gl/instdb/sdr/";
    const std::string active = read_file(active_bin), prepared_bin = std::string(GLOBAL_QX) + "prepared.bin";
    const std::pair<std::string, int> sources[] = {
        {"junk", 4},
        {"", 3},
        {read_file(directory + "other/qx-swprofile-active.bin"), 4},
        {read_file(directory + "default-sdr/uvf-swprofile-active.bin"), 4},
    };
    for (const auto &[content, code] : sources) {
        write_file(prepared_bin, content);
        EXPECT_EQ(run("exists --state prepared").code, content == "junk" ? 4 : content.empty() ? 3 : 0);
        expect({{"promote", code, ""}, {"copy --from prepared --to active", code, ""}});
    }
    write_file(prepared_bin, active); // without its twin
    expect({{"promote", 4, "try: swprofile repair --state prepared"}});
    EXPECT_EQ(read_file(active_bin), active);
    expect({{"repair --state prepared", 0, ""},
            {"promote", 0, ""},
            // The global QX and LC QX profiles are one file; a note says so before the file is replaced or deleted.
            {"create --vm lc-qx --replace --image l.iso", 0, "are one file"},
            {"delete --state active --yes", 0, "are one file"}});
}

// QX: prepared differs from active; committed has another logical volume only, so it counts as equal. Admin: a profile
// with a location profile.
void store_states()
{
    expect({{create + "--package a-1-1=x.rpm,y.rpm --package b-1-1 --image-rpm base --sp-package c-1-1 "
                      "--service-pack SP1=c-1-1",
             0, ""},
            {"create --image kelo.iso --version 7 --vm admin", 0, ""},
            {"add-for-nodes d-1-1 --node 0/1/0 --vm admin", 0, ""}});
    nlohmann::json profile = json_of("show --json");
    write_file("/tmp/active.json", profile.dump());
    profile["packages"][0]["rpms"] = {"y.rpm"};
    profile["image"]["rpms"] = {"other"};
    write_file("/tmp/prepared.json", profile.dump());
    expect({{"create --from /tmp/prepared.json --state prepared --version 1.5.0", 0, ""},
            {"add-for-nodes e-1-1 --node 0/2/0 --node 0/3/0 --state prepared", 0, ""},
            {"create --from /tmp/active.json --state committed --lv other", 0, ""}});
}

TEST_F(CommandTest, Questions)
{
    store_states();
    record_run("diff active prepared");
    const nlohmann::json changes = json_of("diff active prepared --json")["changes"];
    ASSERT_EQ(changes.size(), 6U);
    EXPECT_EQ(changes[5]["nodes"][1], "0/3/0");
    EXPECT_EQ(std::system((SWPROFILE + " diff active prepared >/dev/full 2>&1").c_str()) >> 8, 2); // not a difference
    expect({{"image", 0, "image.iso\n"},
            {"packages --no-members", 0, "a-1-1\nb-1-1\n"},
            {"packages --host-smus", 0, NO_OUTPUT},
            {"packages --host-smus --no-members", 2, ""},
            {"rpms a-1-1.x86_64", 0, "x.rpm\ny.rpm\n"},
            {"rpms d-1-1", 1, "there is no d-1-1"},
            {"has a-1-1.noarch.rpm", 0, "yes\n"},
            {"has d-1-1", 1, "no\n"},
            {"has d-1-1 --sdr none", 3, ""},
            {"service-packs", 0, "SERVICE PACK  RPMS\nSP1              1\n"},
            {"service-packs --vm admin", 0, "no service packs\n"},
            {"service-packs --all", 0, "SP1\n"},
            {"service-packs --all --committed", 3, ""}, // no committed Admin profile
            {"service-packs --all --state 1", 2, ""},
            {"diff active committed", 0, NO_OUTPUT},
            {"diff prepared active --vm uvf", 3, ""},
            {"node-version 0/1/0", 0, "7\n"},
            {"node-version 0/1/0 7", 0, "equal\n"},
            {"node-version 0/1/0 7.0", 1, "different\n"},
            {"check", 0, "4 profiles checked, nothing found\n"},
            {"check --sdr default-sdr --state active", 0, "1 profile checked, nothing found\n"},
            {"check --sdr other", 3, ""},
            {"path --local --vm admin --text", 0, "/install_repo/local//kelo-swprofile-active.txt\n"},
            {"boot-flag --vm admin", 0, "/install_repo/local/kelo_boot_active\n"}});
    EXPECT_EQ(json_of("rpms a-1-1 --json")["rpms"][1], "y.rpm");
    EXPECT_EQ(json_of("service-packs --json")["service_packs"][0]["rpms"][0], "c-1-1");
    run("delete --vm admin --state active --yes");
    EXPECT_EQ(run("node-version 0/1/0 7").code, 3);
}

TEST_F(CommandTest, Edits)
{
    run(create + "--package qx-tp-ssh-1-1 --package x-host-1-1 --image-rpm x-hostos-1-1 --image-rpm y-hostos-1-1");
    run("create --image kelo.iso --version 7 --vm admin --state prepared");
    write_file("/tmp/sp1.json", R"([{"name": "SP1", "rpms": ["qx-tp-ssh-1-1.noarch.rpm", "b-tp-1-1"]}])");
    write_file("/tmp/sp2.json", R"([{"name": "SP2", "rpms": ["qx-tp-ssh-1-1.noarch.rpm"]}])");
    write_file("/install_repo/gl/verdalis/x-hostos-2-1.x86_64.rpm", "rpm");
    write_file("/install_repo/tmp/kept", ""); // a dry run unpacks elsewhere
    const std::pair<const char *, const char *> edits[] = {
        {"add b-tp-1-1 --rpm /m/b-tp-1-1.x86_64.rpm --rpm c", "+ package b-tp-1-1\n"},
        {"add y-hostos-2-1 --new-format --type base", "- base RPM y-hostos-1-1\n+ package y-hostos-2-1\n"},
        {"service-pack add /tmp/sp1.json", "~ package qx-tp-ssh-1-1: Service pack member: no -> yes\n"
                                           "~ package b-tp-1-1: Service pack member: no -> yes\n+ service pack SP1\n"},
        {"service-pack add /tmp/sp2.json", "+ service pack SP2\n"},
        {"service-pack remove /tmp/sp1.json",
         "~ package b-tp-1-1: Service pack member: yes -> no\n- service pack SP1\n"},
        {"remove y-hostos-2-1.x86_64 --new-format", "- package y-hostos-2-1\n"},
        {"remove b-tp-1-1 --new-format --service-packs /tmp/sp2.json",
         "~ package qx-tp-ssh-1-1: Service pack member: yes -> no\n- package b-tp-1-1\n- service pack SP2\n"},
        {"add-host /m/a-host-1-1.x86_64.rpm --state prepared", "+ package a-host-1-1\n"},
        {"add-for-nodes x-hostos-2-1 --new-format --service-packs /tmp/sp1.json --all-nodes",
         "- base RPM x-hostos-1-1\n+ package x-hostos-2-1\n"},
        {"add-for-nodes d-1-1 --node 0/1/0", "+ location profile 0/1/0\n+ package d-1-1 on nodes 0/1/0\n"},
        {"add-for-nodes e-1-1 --node 0/1/0", "+ package e-1-1 on nodes 0/1/0\n"},
        {"remove x-host-1-1", "- package x-host-1-1\n"},
    };
    for (const auto &[arguments, changes] : edits) {
        const auto before = repository(true);
        const Ran dry = run(std::string(arguments) + " --dry-run");
        EXPECT_EQ(dry.out.substr(dry.out.find('\n') + 1), changes) << arguments << dry.err;
        EXPECT_TRUE(dry.out.starts_with("would change the ")) << dry.out;
        EXPECT_TRUE(repository(true) == before) << arguments;
        const Ran done = run(arguments);
        EXPECT_EQ(done.code, 0) << arguments << done.err;
        EXPECT_EQ(done.out.substr(done.out.find('\n') + 1), changes) << arguments;
        EXPECT_TRUE(repository(true) != before) << arguments;
    }
    EXPECT_EQ(run("check").code, 0);
}

TEST_F(CommandTest, EditsThatChangeNothing)
{
    run(create + "--package x-host-1-1 --sp-package a-1-1 --service-pack SP1=a-1-1");
    const std::string other = "/install_repo/gl/instdb/sdr/other/qx-swprofile-active.bin";
    write_file(other, read_file(active_bin)); // it names another SDR, under which an edit would be stored
    fs::copy_file(active_txt, fs::path(other).replace_extension(".txt"));
    run("create --image kelo.iso --vm admin");
    write_file("/tmp/odd.json", R"({"image": {"name": "k"}, "packages": [{"name": "odd"}]})");
    run("create --from /tmp/odd.json --vm admin --state prepared");
    write_file("/tmp/sp2.json", R"([{"name": "SP2", "rpms": ["z-9-9"]}])");
    const auto before = repository(true);
    expect({{"add z-1-1 --sdr other", 4, "names another SDR: default-sdr"},
            {"add-for-nodes z-1-1 --all-nodes --sdr other", 4, "names another SDR: default-sdr"},
            {"add-host b-host-1-1 --vm", 2, "not expected: --vm"},               // it is always the Admin profile
            {"add-host b-host-1-1 c-1", 2, "'c-1' is not name-version-release"}, // neither package is added
            {"add-host b-host-1-1 --new-format --state prepared", 4, "has 'odd'"},
            {"add foo", 2, "'foo' is not name-version-release"},
            {"add 'a b-1-1'", 2, "other characters"},
            {"add a-1-1 --rpm 'x;y'", 2, "other characters"},
            {"remove typo", 1, "there is no typo in the active QX profile"},
            {"remove typo --ignore-missing", 0, "nothing changes in"},
            {"service-pack add /tmp/sp2.json", 1, "nothing to add to the active QX profile"},
            {"service-pack add /tmp/sp2.json --ignore-missing", 0, "nothing changes in"},
            {"service-pack remove /tmp/sp2.json", 1, "there is no service pack SP2"},
            {"service-pack", 2, ""},
            {"add x-1-1 --state prepared", 3, "try: swprofile list"}});
    EXPECT_TRUE(repository(true) == before);
    // The first of these stores the profile again.
    expect({{"service-pack remove /tmp/sp2.json --ignore-missing", 0, "nothing changes in"},
            {"add-for-nodes a-1-1 --all-nodes", 0, "nothing changes in"}});
}

TEST_F(CommandTest, Colors)
{
    run(create + "--package p-1-1");
    run(create + "--package q-1-1 --state prepared");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", "x");
    const std::string plain = run("list").out;
    const std::string colors = run("list --color=always").out;
    EXPECT_TRUE(has(colors, "  -  \x1b[31mdamaged\x1b[0m\n") && has(colors, "  \x1b[32mok\x1b[0m\n"));
    EXPECT_EQ(std::regex_replace(colors, std::regex("\x1b\\[\\d+m"), ""), plain); // the columns too
    expect({{"--color always diff active prepared", 1,
             "\n\x1b[31m- package p-1-1\x1b[0m\n\x1b[32m+ package q-1-1\x1b[0m"}});

    // On a terminal, which script(1) provides.
    const std::vector<std::pair<std::string, bool>> environments = {
        {"TERM=xterm NO_COLOR=", true}, {"TERM=xterm NO_COLOR=1", false}, {"TERM=dumb", false}, {"-u TERM", false}};
    for (const auto &[environment, has_colors] : environments) {
        std::system(("env " + environment + " script -qec '" + SWPROFILE + " list' /dev/null >/tmp/out").c_str());
        const std::string out = read_file("/tmp/out");
        EXPECT_TRUE(has(out, "damaged")) << environment;
        EXPECT_EQ(out.find('\x1b') != std::string::npos, has_colors) << environment;
    }
}

TEST_F(CommandTest, RejectedQuestions)
{
    run(create);
    write_file(std::string(GLOBAL_QX) + "committed.bin", "");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", "junk");
    mkfifo("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", 0600); // must not block
    expect({{"show --state prepared", 3, "there is no prepared QX profile of default-sdr (global)"},
            {"show --state committed", 3, "an empty file counts as absent"},
            {"show --vm uvf", 4, "is damaged"},
            {"exists --vm 6 --local", 3, "there is no active UVF profile of default-sdr (local)"},
            {"show --vm host", 3, "this VM type has no software profile"},
            {"show --vm none", 2, "unknown VM type 'none' (use admin, qx, lc-qx or uvf)"},
            {"show --state 4", 2, "unknown state '4'"},
            {"show --sdr ../x", 2, "starts with '.'"},
            {"show --sdr 'a;b'", 2, "has other characters"},
            {"show --sdr 12345678901234567890123456789012345678901", 2, "more than 40"},
            {"show --sdr ''", 2, "is empty"},
            {"exists --vm uvf --state prepared", 1, "not a regular file"},
            {"create --image i --vm uvf --state prepared --replace", 1, "not a regular file"},
            {"frobnicate", 2, "unknown subcommand or option: frobnicate"},
            {"show --local --global", 2, "excludes"},
            {"", 2, "subcommand"}});
    EXPECT_EQ(run("help service-pack add").out, run("service-pack add --help").out);
}

TEST_F(CommandTest, RejectedRequests)
{
    EXPECT_EQ(run(create).code, 0);
    fs::create_directories("/install_repo/gl/instdb/sdr/dangling");
    fs::create_symlink("/no/such/file", "/install_repo/gl/instdb/sdr/dangling/qx-swprofile-active.bin");
    expect({{create, 1, "exists already"},
            {create + "--package='$(x)'", 2, "has other characters"},
            {create + "--state 3 --package a-1", 2, "'a-1' is not name-version-release"},
            {create + "--state 3 --service-pack SP1", 4, "service packs need a package that is a member"},
            {create + "--state 3 --sp-package a-1-1", 4, "needs its service pack"},
            {"create --image /no/such.iso --state 3", 4,
             "the image is missing, empty or not a regular file: /no/such.iso"},
            {"create --state 3", 2, "no image given"},
            {"create --image i --state 3 --lv " + std::string(188, 'n'), 2, "has more than 187"},
            {"create --image i --state 3 --version 'a\nb'", 2, "other characters than printable"},
            {"create --image i --sdr dangling", 1, "not a regular file"},
            {"create --state 3 --from /tmp/none.json", 1, "No such file or directory"},
            {create + "--state 3 --package a-1-1 --package a-1-1", 4, "is given twice"}});
    const std::pair<const char *, const char *> requests[] = {
        {R"({"image": {"name": "x.iso"}, "packages": [{"name": "p"}, {"nme": "q"}]})",
         "/tmp/request.json.packages[1]: unknown field 'nme'"},
        {"{", "not JSON: at line 1"},
        {R"({"sdr": null})", "sdr: must be a text"},
        {R"({"vm_type": ["qx"]})", "vm_type: must be a text"},
        {R"({"image": {"name": "x"}, "image": {"name": "y"}})", "'image' is given twice"}};
    for (const auto &[request, message] : requests) {
        write_file("/tmp/request.json", request);
        expect({{"create --from /tmp/request.json", 4, message}});
    }
}

TEST_F(CommandTest, RejectedEditsForNodes)
{
    run(create);
    write_file("/tmp/packs.json", R"([{"name": "SP1"}, {"name": "SP1"}])");
    write_file("/install_repo/gl/verdalis/a-1-1.2.tar", "");
    expect({{"add-for-nodes a-1-1", 2, "no nodes given"},
            {"add-for-nodes a-1-1 --node 0/1", 2, "is not a node"},
            {"add-for-nodes a-1-1 --node 0/1/0 --node 0/01/0", 2, "node 0/1/0 is given twice"},
            {"add-for-nodes a-1-1 --node 0/1/4294967296", 2, "is not a node"},
            {"add-for-nodes a-1-1 --node 0/1/0 --all-nodes", 2, "--node excludes --all-nodes"},
            {"add-for-nodes a-1-1 --all-nodes --type other", 2, "unknown type 'other'"},
            {"add-for-nodes a-1-1 --all-nodes --type smu", 1, "another package would be used"},
            {"add-for-nodes b-1-1 --all-nodes --type smu", 1, "no file /install_repo/gl/verdalis/b-1-1*"},
            {"service-pack add ''", 1, "cannot read the file"},
            {"create --from /tmp", 1, "Is a directory"},
            {"service-pack add /tmp/packs.json", 4, "the service pack is given twice: SP1"},
            {"add-for-nodes a-1-1 --all-nodes --state 3", 3, "there is no prepared"},
            {"add-for-nodes a-1-1 --all-nodes --service-packs /tmp/packs.json", 2, "requires --new-format"},
            {"image-for-nodes i", 2, "--node is required"}});
}

} // namespace
