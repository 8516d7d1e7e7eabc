// The command as a person or a script uses it.
#include "support/command_test.h"

namespace
{

// Runs that are rejected, or answer with an exit code.
struct Case {
    std::string arguments;
    int code;
    const char *message; // on standard error
};

void run_all(std::initializer_list<Case> cases, const std::function<Ran(const std::string &)> &run)
{
    for (const auto &[arguments, code, message] : cases) {
        const Ran result = run(arguments);
        EXPECT_EQ(result.code, code) << arguments << "\n" << result.err;
        EXPECT_NE(result.err.find(message), std::string::npos) << arguments << "\n" << result.err;
    }
}

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
    EXPECT_EQ(shown["packages"][0]["rpms"][1], "g.rpm");
    EXPECT_EQ(shown["packages"][0]["type"], "base");
    EXPECT_EQ(shown["packages"][1]["service_pack_member"], true);
    EXPECT_EQ(shown["service_packs"][0]["rpms"][0], "q-1-1");
    EXPECT_FALSE(shown["service_packs"][1].contains("rpms"));
    const std::string human = run("show").out;
    for (const char *const part : {"image.iso  (2 RPMs)", "1.4.0", "lv0", "p-1-1", "SP1"}) {
        EXPECT_NE(human.find(part), std::string::npos) << human;
    }
    const std::string twin = read_file(active_txt);
    EXPECT_NE(twin.find("\n\n" + run("show --text").out + "\n"), std::string::npos);

    // What is shown can be created again; options override it.
    run("show --json");
    fs::copy_file("/tmp/out", "/tmp/request.json");
    EXPECT_EQ(run("create --state 3 --from - </tmp/request.json").code, 0);
    nlohmann::json again = json_of("show --state prepared --json");
    EXPECT_EQ(again["state"], "prepared");
    again["state"] = "active";
    again["path"] = shown["path"];
    EXPECT_EQ(again, shown);
}

TEST_F(CommandTest, LogAndTrace)
{
    const std::string image = "/tmp/" + std::string(180, 'i') + std::string(2500, '/') + "x"; // lines may be long
    write_file(image, "x");
    run("create --service-pack SP1 --sp-package q-1-1 --image " + image);
    const std::string log = read_file("/install_repo/log/install.log");
    EXPECT_NE(log.find(", image=" + image + ", num_image_rpms=0"), std::string::npos);
    EXPECT_NE(log.find("] ldpath lib vestra init succeeded\n"), std::string::npos);
    EXPECT_NE(log.find("] SP[0]: SP1\n"), std::string::npos);
    const std::string trace = read_file("/install_repo/log/verd_inst_ldpath.vestra");
    EXPECT_TRUE(trace.starts_with("VESTRA1\n") && trace.find("default-sdr") != trace.npos);
    EXPECT_EQ((trace.size() - 4096) % 384, 0U);
}

TEST_F(CommandTest, PackagesAndImagesForNodes)
{
    run(create + "--package qx-kernel-1-1 --image-rpm x-hostos-1-1");
    const std::string add = "add-for-nodes ";
    EXPECT_EQ(run("nodes").out, "no location profiles in the active QX profile of default-sdr (global)\n");
    EXPECT_EQ(run(add + "a-1-1 --node 0/1/0 --node 4294967295/0/2").code, 0);
    const Ran joined = run(add + "a-1-1 --type base --node 0/3/0");
    EXPECT_EQ(joined.code, 0) << joined.err;
    EXPECT_EQ(json_of("nodes --json")["location_profiles"][0]["nodes"].size(), 3U);
    EXPECT_TRUE(run(add + "a-1-1 --type base --node 0/1/0 --node 0/3/0").out.starts_with("nothing changes"));

    // Nobody has it: the nodes of the location profile would get it, and the new node would not.
    for (const char *const dry : {"", " --dry-run"}) {
        const Ran rejected = run(add + "b-1-1 --type 2 --node 0/1/0 --node 0/4/0" + dry);
        EXPECT_EQ(rejected.code, 1);
        EXPECT_NE(rejected.err.find("would get it as well: 4294967295/0/2 0/3/0"), std::string::npos) << rejected.err;
        EXPECT_NE(rejected.err.find("would not get it: 0/4/0"), std::string::npos) << rejected.err;
    }
    EXPECT_EQ(run(add + "b-1-1 --type 2 --node 0/1/0 --node 0/4/0 --join").code, 0);
    const nlohmann::json nodes = json_of("nodes --json")["location_profiles"];
    ASSERT_EQ(nodes.size(), 1U);
    EXPECT_EQ(nodes[0]["nodes"][1], "4294967295/0/2");
    EXPECT_EQ(nodes[0]["packages"][1]["name"], "b-1-1");
    EXPECT_EQ(run("nodes").out, "NODES           IMAGE  VERSION  PACKAGES\n"
                                "0/1/0           -      -        a-1-1\n"
                                "4294967295/0/2                  b-1-1\n"
                                "0/3/0\n");
    EXPECT_NE(run(add + "a-1-1 --type base --node 0/5/0").err.find("with all of its content"), std::string::npos);

    write_file("/tmp/packs.json", R"([{"name": "SP1", "rpms": ["x-hostos-2-1.noarch"]}])");
    write_file("/install_repo/gl/verdalis/x-hostos-2-1.x86_64.rpm", "rpm");
    write_file("/install_repo/tmp/kept", "");
    const std::string all = add + "x-hostos-2-1 --new-format --service-packs /tmp/packs.json --all-nodes";
    const Ran dry = run(all + " --dry-run");
    EXPECT_NE(dry.out.find("- base RPM x-hostos-1-1\n+ package x-hostos-2-1\n"), std::string::npos)
        << dry.out << dry.err;
    EXPECT_TRUE(fs::exists("/install_repo/tmp/kept")); // a dry run unpacks elsewhere
    const Ran done = run(all);
    EXPECT_EQ(done.out.substr(done.out.find('\n')), dry.out.substr(dry.out.find('\n')));
    EXPECT_TRUE(run(add + "x-hostos-2-1 --all-nodes").out.starts_with("nothing changes"));
    EXPECT_EQ(json_of("show --json")["service_packs"][0]["name"], "SP1");

    EXPECT_EQ(run("image-for-nodes qx-image-2.iso --node 0/1/0").code, 2); // or its version would be "null"
    EXPECT_EQ(run("image-for-nodes qx-image-2.iso --version 2 --node 0/1/0").code, 0);
    EXPECT_TRUE(run("image-for-nodes qx --node 0/1/0").out.starts_with("nothing changes"));
    EXPECT_EQ(run("image-for-nodes qx --node 0/2/0").code, 0);
    EXPECT_NE(run("image-for-nodes kelo --node 0/5/0").err.find("no location profile of the active"),
              std::string::npos);
    EXPECT_EQ(json_of("nodes --json")["location_profiles"][0]["version"], "2");

    // What is shown is a backup, location profiles included.
    run("show --json");
    fs::copy_file("/tmp/out", "/tmp/backup.json");
    EXPECT_EQ(run("create --from /tmp/backup.json --state committed").code, 0);
    EXPECT_EQ(run("diff active committed").code, 0);
}

TEST_F(CommandTest, PromoteCopyDelete)
{
    run(create + "--local --state prepared");
    const std::string local = "/install_repo/local/sdr/default-sdr/qx-swprofile-";
    const std::string prepared = read_file(local + "prepared.bin");
    EXPECT_EQ(run("promote --local").out, "promoted the prepared QX profile of default-sdr (local) to active\n"
                                          "the previous active QX profile of default-sdr (local) was missing\n");
    EXPECT_EQ(run("promote --local").code, 3);
    EXPECT_EQ(run("commit --local").code, 0);
    EXPECT_EQ(read_file(local + "committed.bin"), prepared);
    EXPECT_EQ(read_file("/install_repo/local/qx-swprofile-committed.bin"), prepared);
    run("add n-1-1 --local");
    EXPECT_EQ(run("rollback --local --dry-run").out,
              "would copy the committed QX profile of default-sdr (local) to active\n- package n-1-1\n");
    EXPECT_TRUE(run("rollback --local").out.ends_with(" to active\n- package n-1-1\n"));
    EXPECT_EQ(run("copy --local --from prepared --to active").code, 3);
    EXPECT_EQ(run("copy --local --from active --to 2").code, 2);
    EXPECT_EQ(run("delete --local --state active </dev/null").code, 2);
    EXPECT_EQ(run("delete --local --yes").code, 2);
    EXPECT_EQ(run("delete --sdr other --state active --yes").code, 3); // the flat copies are another profile's

    // A global profile has no flat copies: those of the local one stay.
    run(create);
    EXPECT_EQ(run("delete --state active --yes").code, 0);
    EXPECT_EQ(run("check").out, "2 profiles checked, nothing found\n");
    EXPECT_EQ(run("delete --local --state active --yes --dry-run").out.substr(0, 13), "would delete ");
    const Ran deleted = run("delete --local --state active --yes");
    EXPECT_EQ(std::count(deleted.out.begin(), deleted.out.end(), '\n'), 4) << deleted.out;
    EXPECT_EQ(run("exists --local").code, 3);
    EXPECT_EQ(run("delete --local --all-states --yes").code, 0);
    EXPECT_EQ(run("delete --local --all-states --yes").code, 3);
    EXPECT_EQ(run("list").out, "no profiles\n");
}

// A source that would be rejected by check is rejected before the target is touched.
TEST_F(CommandTest, SourcesAreChecked)
{
    run(create);
    run("create --image u.iso --vm uvf");
    run(create + "--sdr other");
    const std::string directory = "/install_repo/gl/instdb/sdr/default-sdr/";
    const std::string active = read_file(active_bin);
    const std::pair<std::string, int> sources[] = {
        {"junk", 4},
        {"", 3},
        {read_file("/install_repo/gl/instdb/sdr/other/qx-swprofile-active.bin"), 4},
        {read_file(directory + "uvf-swprofile-active.bin"), 4},
    };
    for (const auto &[content, code] : sources) {
        write_file(directory + "qx-swprofile-prepared.bin", content);
        EXPECT_EQ(run("exists --state prepared").code == 0, content.size() > 4);
        EXPECT_EQ(run("promote").code, code);
        EXPECT_EQ(run("copy --from prepared --to active").code, code);
    }
    write_file(directory + "qx-swprofile-prepared.bin", active); // without its twin
    const Ran rejected = run("promote");
    EXPECT_EQ(rejected.code, 4);
    EXPECT_NE(rejected.err.find("try: swprofile repair --state prepared"), std::string::npos) << rejected.err;
    EXPECT_EQ(read_file(active_bin), active);
    EXPECT_EQ(run("repair --state prepared").code, 0);
    EXPECT_EQ(run("promote").code, 0);

    // The global QX and LC QX profiles are one file, which is said before it is replaced.
    for (const char *const arguments : {"create --vm lc-qx --replace --image l.iso", "delete --state active --yes"}) {
        const Ran noted = run(arguments);
        EXPECT_EQ(noted.code, 0) << arguments;
        EXPECT_NE(noted.err.find("are one file"), std::string::npos) << arguments;
    }
}

// Two different QX states and an equal one; an Admin profile with a location profile.
void given_states(const std::string &create)
{
    const auto run = [](const std::string &arguments) {
        EXPECT_EQ(std::system((SWPROFILE " " + arguments + " >/tmp/out").c_str()), 0);
    };
    run(create + "--package a-1-1=x.rpm,y.rpm --package b-1-1 --image-rpm base --sp-package c-1-1 --service-pack "
                 "SP1=c-1-1");
    run("create --image kelo.iso --version 7 --vm admin");
    run("add-for-nodes d-1-1 --node 0/1/0 --vm admin");
    run("show --json");
    fs::copy_file("/tmp/out", "/tmp/active.json");
    nlohmann::json prepared = nlohmann::json::parse(read_file("/tmp/out"));
    prepared["packages"][0]["rpms"] = {"y.rpm"};
    prepared["image"]["rpms"] = {"other"};
    write_file("/tmp/prepared.json", prepared.dump());
    run("create --from /tmp/prepared.json --state prepared --version 1.5.0");
    run("add-for-nodes e-1-1 --node 0/2/0 --node 0/3/0 --state prepared");
    run("create --from /tmp/active.json --state committed --lv other");
}

TEST_F(CommandTest, Questions)
{
    given_states(create);
    const struct {
        const char *arguments;
        int code;
        std::string out;
    } cases[] = {
        {"image", 0, "image.iso\n"},
        {"packages --no-members", 0, "a-1-1\nb-1-1\n"},
        {"packages --host-smus", 0, ""},
        {"packages --host-smus --no-members", 2, ""},
        {"rpms a-1-1.x86_64", 0, "x.rpm\ny.rpm\n"},
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
        {"diff prepared active --vm uvf", 3, ""},
        {"node-version 0/1/0", 0, "7\n"},
        {"node-version 0/1/0 7", 0, "equal\n"},
        {"node-version 0/1/0 7.0", 1, "different\n"},
        {"node-version 0/1 7", 2, ""},
        {"check", 0, "4 profiles checked, nothing found\n"},
        {"check --sdr default-sdr --state active", 0, "1 profile checked, nothing found\n"},
        {"check --sdr other", 3, ""},
    };
    for (const auto &[arguments, code, out] : cases) {
        const Ran result = run(arguments);
        EXPECT_EQ(result.code, code) << arguments << result.err;
        EXPECT_EQ(result.out, out) << arguments;
    }
    EXPECT_EQ(json_of("rpms a-1-1 --json")["rpms"][1], "y.rpm");
    EXPECT_EQ(json_of("service-packs --json")["service_packs"][0]["rpms"][0], "c-1-1");
    run("delete --vm admin --state active --yes");
    EXPECT_EQ(run("node-version 0/1/0 7").code, 3);
}

TEST_F(CommandTest, Differences)
{
    given_states(create);
    tell_run("diff active prepared");
    const nlohmann::json changes = json_of("diff active prepared --json")["changes"];
    ASSERT_EQ(changes.size(), 6U);
    EXPECT_EQ(changes[5]["nodes"][1], "0/3/0");
    EXPECT_EQ(std::system(SWPROFILE " diff active prepared >/dev/full 2>/dev/null") >> 8, 2); // not a difference
}

// The files of the repository with their times, without logs.
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
        {"service-pack add /tmp/sp1.json", "~ package qx-tp-ssh-1-1: Service pack member: no -> yes\n"
                                           "~ package b-tp-1-1: Service pack member: no -> yes\n+ service pack SP1\n"},
        {"service-pack add /tmp/sp2.json", "+ service pack SP2\n"},
        {"service-pack remove /tmp/sp1.json",
         "~ package b-tp-1-1: Service pack member: yes -> no\n- service pack SP1\n"},
        {"remove y-hostos-2-1.x86_64 --new-format", "- package y-hostos-2-1\n"},
        {"remove b-tp-1-1 --new-format --service-packs /tmp/sp2.json",
         "~ package qx-tp-ssh-1-1: Service pack member: yes -> no\n- package b-tp-1-1\n- service pack SP2\n"},
        {"add-host /m/a-host-1-1.x86_64.rpm --state prepared", "+ package a-host-1-1\n"},
        {"add-for-nodes d-1-1 --node 0/1/0", "+ location profile 0/1/0\n+ package d-1-1 on nodes 0/1/0\n"},
        {"add-for-nodes e-1-1 --node 0/1/0", "+ package e-1-1 on nodes 0/1/0\n"},
        {"remove x-host-1-1", "- package x-host-1-1\n"},
    };
    for (const auto &[arguments, changes] : edits) {
        const Lines before = repository_state();
        const Ran dry = run(std::string(arguments) + " --dry-run");
        EXPECT_EQ(dry.out.substr(dry.out.find('\n') + 1), changes) << arguments << dry.err;
        EXPECT_TRUE(dry.out.starts_with("would change the ")) << dry.out;
        EXPECT_EQ(repository_state(), before) << arguments;
        const Ran done = run(arguments);
        EXPECT_EQ(done.code, 0) << arguments << done.err;
        EXPECT_EQ(done.out.substr(done.out.find('\n') + 1), changes) << arguments;
        EXPECT_NE(repository_state(), before) << arguments;
    }
    EXPECT_EQ(run("check").code, 0);
}

// Nothing is changed, and the exit code says so.
TEST_F(CommandTest, EditsThatChangeNothing)
{
    run(create + "--package x-host-1-1 --sp-package a-1-1 --service-pack SP1=a-1-1");
    const std::string other = "/install_repo/gl/instdb/sdr/other/qx-swprofile-active.bin";
    write_file(other, read_file(active_bin)); // it names another SDR, under which an edit would be stored
    fs::copy_file(active_txt, fs::path(other).replace_extension(".txt"));
    run("create --image kelo.iso --vm admin");
    write_file("/tmp/sp2.json", R"([{"name": "SP2", "rpms": ["z-9-9"]}])");
    const Lines before = repository_state();
    run_all({{"add z-1-1 --sdr other", 4, "names another SDR: default-sdr"},
             {"add-for-nodes z-1-1 --all-nodes --sdr other", 4, "names another SDR: default-sdr"},
             {"add-host b-host-1-1 x-1-1 --new-format --vm", 2, ""},
             {"add foo", 2, "'foo' is not name-version-release"},
             {"add 'a b-1-1'", 2, "other characters"},
             {"add a-1-1 --rpm 'x;y'", 2, "other characters"},
             {"remove typo", 1, "there is no typo in the active QX profile"},
             {"remove typo --dry-run", 1, "there is no typo"},
             {"service-pack add /tmp/sp2.json", 1, "nothing to add to the active QX profile"},
             {"service-pack remove /tmp/sp2.json", 1, "there is no service pack SP2"},
             {"service-pack add /tmp/none", 1, "No such file or directory"},
             {"service-pack", 2, ""},
             {"add x-1-1 --state prepared", 3, "try: swprofile list"}},
            run);
    for (const char *const arguments :
         {"remove typo --ignore-missing", "service-pack add /tmp/sp2.json --ignore-missing",
          "service-pack remove /tmp/sp2.json --ignore-missing"}) {
        EXPECT_TRUE(run(arguments).out.starts_with("nothing changes in")) << arguments;
    }
    // One of several host packages cannot be added: none is.
    EXPECT_EQ(run("add-host b-host-1-1 c-1 --state active").code, 2);
    write_file("/tmp/odd.json", R"({"image": {"name": "k"}, "packages": [{"name": "odd"}]})");
    run("create --from /tmp/odd.json --replace --vm admin");
    EXPECT_NE(run("add-host b-host-1-1 --new-format").err.find("has 'odd'"), std::string::npos);
    run("create --image kelo.iso --vm admin --replace");
    EXPECT_EQ(repository_state().size(), before.size());
}

TEST_F(CommandTest, ColorsAndHelpOnATerminal)
{
    run(create + "--package p-1-1");
    run(create + "--package q-1-1 --state prepared");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", "x");
    const std::string plain = run("list").out;
    EXPECT_EQ(plain.find('\x1b'), std::string::npos);
    std::string colors = run("list --color=always").out;
    EXPECT_NE(colors.find("  -  \x1b[31mdamaged\x1b[0m\n"), std::string::npos) << colors;
    for (const char *const sequence : {"\x1b[31m", "\x1b[32m", "\x1b[32m", "\x1b[0m", "\x1b[0m", "\x1b[0m"}) {
        ASSERT_NE(colors.find(sequence), std::string::npos);
        colors.erase(colors.find(sequence), std::string(sequence).size());
    }
    EXPECT_EQ(colors, plain); // the columns too
    const std::string changes = run("--color always diff active prepared").out;
    EXPECT_NE(changes.find("\n\x1b[31m- package p-1-1\x1b[0m\n\x1b[32m+ package q-1-1\x1b[0m\n"), std::string::npos);

    // On a terminal, which script(1) provides.
    const std::vector<std::pair<std::string, bool>> environments = {
        {"TERM=xterm NO_COLOR=", true}, {"TERM=xterm NO_COLOR=1", false}, {"TERM=dumb", false}, {"-u TERM", false}};
    for (const auto &[environment, has_colors] : environments) {
        std::system(("env " + environment + " script -qec '" SWPROFILE " list' /dev/null >/tmp/out").c_str());
        const std::string out = read_file("/tmp/out");
        EXPECT_NE(out.find("damaged"), std::string::npos) << out;
        EXPECT_EQ(out.find('\x1b') != std::string::npos, has_colors) << environment;
    }

    EXPECT_EQ(run("help service-pack add").out, run("service-pack add --help").out);
    EXPECT_EQ(run("help").out, run("--help").out);
    std::istringstream help(run("add-for-nodes --help").out + run("add-host --help").out + run("create --help").out +
                            plain);
    for (std::string line; std::getline(help, line);) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

TEST_F(CommandTest, RejectedQuestions)
{
    run(create);
    write_file(std::string(GLOBAL_QX) + "committed.bin", "");
    write_file("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-active.bin", "junk");
    mkfifo("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", 0600); // must not block
    run_all({{"show --state prepared", 3, "there is no prepared QX profile of default-sdr (global)"},
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
             {"frobnicate", 2, "unknown subcommand or option: frobnicate"},
             {"show --local --global", 2, "excludes"},
             {"", 2, "subcommand"}},
            run);
    EXPECT_EQ(run("path --local --vm admin --text").out, "/install_repo/local//kelo-swprofile-active.txt\n");
    EXPECT_EQ(run("boot-flag --vm admin").out, "/install_repo/local/kelo_boot_active\n");
}

TEST_F(CommandTest, RejectedRequests)
{
    EXPECT_EQ(run(create).code, 0);
    write_file("/tmp/request.json", R"({"image": {"name": "x.iso"}, "packages": [{"name": "p"}, {"nme": "q"}]})");
    write_file("/tmp/broken.json", "{");
    write_file("/tmp/null.json", R"({"sdr": null})");
    write_file("/tmp/typed.json", R"({"vm_type": ["qx"]})");
    write_file("/tmp/twice.json", R"({"image": {"name": "x"}, "image": {"name": "y"}})");
    fs::create_directories("/install_repo/gl/instdb/sdr/dangling");
    fs::create_symlink("/no/such/file", "/install_repo/gl/instdb/sdr/dangling/qx-swprofile-active.bin");
    mkfifo("/install_repo/gl/instdb/sdr/default-sdr/uvf-swprofile-prepared.bin", 0600); // must not block
    run_all({{create, 1, "exists already"},
             {create + "--replace", 0, ""},
             {create + "--package='$(x)'", 2, "has other characters"},
             {create + "--state 3 --package a-1", 2, "'a-1' is not name-version-release"},
             {create + "--state 3 --service-pack SP1", 4, "service packs need a package that is a member"},
             {create + "--state 3 --sp-package a-1-1", 4, "needs its service pack"},
             {"create --image /no/such.iso --state 3", 4,
              "the image is missing, empty or not a regular file: /no/such.iso"},
             {"create --state 3", 2, "no image given"},
             {"create --image i --state 3 --lv " + std::string(188, 'n'), 2, "has more than 187"},
             {"create --image i --state 3 --version 'a\nb'", 2, "other characters than printable"},
             {"create --image i --vm uvf --state prepared --replace", 1, "not a regular file"},
             {"create --from /tmp/typed.json", 4, "vm_type: must be a text"},
             {"create --image i --sdr dangling", 1, "not a regular file"},
             {"create --state 3 --from /tmp/twice.json", 4, "'image' is given twice"},
             {"create --state 3 --from /tmp/request.json", 4, "/tmp/request.json.packages[1]: unknown field 'nme'"},
             {"create --state 3 --from /tmp/broken.json", 4, "not JSON: at line 1"},
             {"create --state 3 --from /tmp/none.json", 1, "No such file or directory"},
             {create + "--state 3 --package a-1-1 --package a-1-1", 4, "is given twice"},
             {create + "--state 3 --from /tmp/null.json", 4, "sdr: must be a text"},
             {"create --help", 0, ""}},
            run);
}

TEST_F(CommandTest, RejectedEditsForNodes)
{
    run(create);
    write_file("/tmp/broken.json", "{");
    write_file("/tmp/packs.json", R"([{"name": "SP1"}, {"name": "SP1"}])");
    write_file("/install_repo/gl/verdalis/a-1-1.2.tar", "");
    run_all({{"add-for-nodes a-1-1", 2, "no nodes given"},
             {"add-for-nodes a-1-1 --node 0/1", 2, "is not a node"},
             {"add-for-nodes a-1-1 --node 0/1/0 --node 0/01/0", 2, "node 0/1/0 is given twice"},
             {"add-for-nodes a-1-1 --node 0/1/4294967296", 2, "is not a node"},
             {"add-for-nodes a-1-1 --node 0/1/0 --all-nodes", 2, "--node excludes --all-nodes"},
             {"add-for-nodes a-1-1 --all-nodes --type other", 2, "unknown type 'other'"},
             {"add-for-nodes a-1-1 --all-nodes --type smu", 1, "another package would be used"},
             {"add-for-nodes b-1-1 --all-nodes --type smu", 1, "no file /install_repo/gl/verdalis/b-1-1*"},
             {"service-pack add ''", 1, "cannot read the file"},
             {"service-pack add /tmp/packs.json", 4, "the service pack is given twice: SP1"},
             {"add-for-nodes a-1-1 --all-nodes --state 3", 3, "there is no prepared"},
             {"add-for-nodes a-1-1 --all-nodes --type 1 --new-format --service-packs /tmp/broken.json", 4,
              "not JSON: at line 1"},
             {"add-for-nodes a-1-1 --all-nodes --service-packs /tmp/broken.json", 2, "requires --new-format"},
             {"image-for-nodes i", 2, "--node is required"}},
            run);
}

} // namespace
