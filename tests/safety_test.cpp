// The command does a change completely or not at all: whenever it is killed, interrupted, or out of space.
#include "support/safety_test.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <set>
#include <sys/file.h>
#include <sys/syscall.h>
#include <tuple>
#include <unistd.h>

namespace
{

constexpr Intervention KILL = {SIGKILL};

// Intervenes in the first call of this kind for a file whose path has this ending. An openat() counts only while a
// journal exists.
AtCall once_at(long id, const std::string &ending, Intervention what)
{
    return [=, is_done = false](const SystemCall &call) mutable {
        const bool fits =
            !is_done && call.id == id && (id != SYS_openat || fs::exists(JOURNAL)) && call.path().ends_with(ending);
        is_done = is_done || fits;
        return fits ? what : Intervention();
    };
}

// Each subcommand that changes profiles, mostly on profiles that have flat copies.
std::vector<Operation> operations()
{
    write_file("/install_repo/sp1.json", R"([{"name": "SP1", "rpms": ["tp-q-1-r1"]}])");
    write_file("/install_repo/sp2.json", R"([{"name": "SP2", "rpms": ["p-1-r1.noarch"]}])");
    const std::string from = "show --local --json | tee /install_repo/from.json";
    const std::string location = "add-for-nodes n-1-r1 --local --node 0/1/0";
    const std::string twin = "/install_repo/local/sdr/default-sdr/qx-swprofile-active.txt";
    const std::string active = "create --local --image a.iso --version 1 --package p-1-r1 --sp-package tp-q-1-r1 "
                               "--service-pack SP1=tp-q-1-r1";
    const std::string prepared = "create --local --state prepared --image b.iso --version 2";
    const std::string commit = "commit --local";
    const std::string change = "add c-1-r1 --local";
    return {
        {"create", {}, "create --local --image i.iso --version 1"},
        {"add", {active}, "add n-1-r1 --local"},
        {"remove", {active}, "remove p-1-r1 --local"},
        {"add-host", {"create --vm admin --image k.iso --version 1"}, "add-host a-host-1-1 b-host-1-1"},
        {"add-for-nodes", {active}, "add-for-nodes n-1-r1 --local --node 0/1/0"},
        {"image-for-nodes", {active}, "image-for-nodes b.iso --local --version 2 --node 0/2/0"},
        {"create --from", {active, location, from, change}, "create --from /install_repo/from.json --replace"},
        {"service-pack add", {active}, "service-pack add /install_repo/sp2.json --local"},
        {"service-pack remove", {active}, "service-pack remove /install_repo/sp1.json --local"},
        {"promote", {active, prepared, commit}, "promote --local"},
        {"commit", {active, commit, change}, "commit --local"},
        {"rollback", {active, commit, change}, "rollback --local"},
        {"copy", {active, prepared}, "copy --local --from active --to prepared"},
        {"repair", {active, "list >/dev/null && rm " + twin}, "repair"},
        {"repair leftovers",
         {"list >/dev/null && mkdir -p /install_repo/local && touch /install_repo/local/qx-swprofile-active.txt "},
         "repair"},
        {"delete", {active, prepared, commit}, "delete --local --all-states --yes"},
        {"delete global", {active, "create --image g.iso --version 1"}, "delete --state active --yes"},
    };
}

TEST_F(SafetyTest, KilledAtAnySystemCall)
{
    int completed = 0;
    const int kills = at_system_calls(operations(), 37, [&](int at) {
        run_operation(at_number(at, KILL));
        completed += expect_old_or_new() ? 1 : 0;
    });
    EXPECT_TRUE(completed > 0 && completed < kills);
}

TEST_F(SafetyTest, InterruptedAtAnySystemCall)
{
    at_system_calls(operations(), 61, [&](int at) {
        const int signal = std::array{SIGINT, SIGTERM, SIGHUP}[static_cast<std::size_t>(at % 3)];
        const int status = run_operation(at_number(at, {signal})).status;
        const bool is_complete = expect_old_or_new();
        const bool is_early = WIFSIGNALED(status); // before the change has begun
        EXPECT_TRUE(is_early ? !is_complete : WEXITSTATUS(status) == (is_complete ? 0 : 128 + signal))
            << signal << ": " << status;
    });
}

// File operations fail, one in each run, with EIO or ENOSPC.
TEST_F(SafetyTest, AnyFileOperationFails)
{
    const std::set<long> touching = {SYS_openat, SYS_write,  SYS_rename, SYS_fsync,    SYS_mkdir,    SYS_unlink,
                                     SYS_rmdir,  SYS_fchmod, SYS_read,   SYS_unlinkat, SYS_utimensat};
    int failures = 0;
    at_system_calls(operations(), 67, [&](int at) {
        bool has_failed = false;
        const auto fail = [&](const SystemCall &call) {
            const bool fails = call.number == at && touching.contains(call.id);
            has_failed = has_failed || fails;
            return Intervention{.error = !fails ? 0 : at % 2 == 0 ? EIO : ENOSPC};
        };
        const int status = run_operation(fail).status;
        if (!has_failed) {
            return;
        }
        ++failures;
        const std::string err = read_file("/tmp/err");
        const bool is_only_output = err.find("standard output") != std::string::npos;
        const bool is_repaired = // repair has stored its repair and fails afterwards, at another profile
            err.find("  repaired ") != std::string::npos || err.find("  removed ") != std::string::npos;
        EXPECT_EQ(status == 0 || is_only_output || is_repaired, expect_old_or_new()) << err;
    });
    EXPECT_GT(failures, 0);
}

TEST_F(SafetyTest, InLittleSpace)
{
    int rejected = 0;
    in_little_space(operations(), [&](int status) {
        const std::string err = read_file("/tmp/err");
        rejected += err.find("more bytes are needed") != err.npos ? 1 : 0;
        const bool is_complete = expect_old_or_new();
        EXPECT_EQ(status == 0, is_complete) << err;
        return is_complete;
    });
    EXPECT_TRUE(rejected > 20 || IsSkipped()); // the lack of space was noticed before anything was written
}

// After a kill, the install manager may use the library before the next command.
TEST_F(SafetyTest, ProfilesOfAnotherProgramAreKept)
{
    for (const bool is_stored : {false, true}) {
        run(create + "--replace");
        run("add a-1-1");
        Files expected = repository();
        EXPECT_TRUE(WIFSIGNALED(trace("add b-1-1", once_at(SYS_write, "active.txt", KILL))));
        EXPECT_TRUE(fs::exists(JOURNAL));
        if (is_stored) {
            EXPECT_EQ(store_as("default-sdr", 0, VERD_SWP_ACTIVE, VERD_VM_QX, {new_full_profile()}), 0U);
            expected = repository();
            std::erase_if(expected, [](const auto &file) { return file.first.starts_with(JOURNAL); });
        }
        const std::string err = run("list").err;
        EXPECT_TRUE(has(err, is_stored ? "another program has stored profiles since" : "undid a change"));
        EXPECT_EQ(repository(), expected);
    }
}

// If a single system call fails, even if the library returns 0, the command reports it and the old state remains.
TEST_F(SafetyTest, FailedCallsOfTheLibrary)
{
    // Preparation, change, system call, end of its path, error, message.
    const std::tuple<const char *, const char *, long, const char *, int, const char *> cases[] = {
        {"add-for-nodes a-1-1 --node 0/1/0", "add-for-nodes a-1-1 --node 0/2/0", SYS_openat, "active.bin", EROFS,
         "does not have the new content"},
        {"copy --from active --to prepared", "promote", SYS_rename, "prepared.bin", EIO, "Input/output error"},
        {"list", "add b-1-1", SYS_write, "undo.new/0", ENOSPC, "No space left on device"},
        {"list", "add c-1-1", SYS_write, "active.txt", ENOSPC, "active.txt: empty"},
    };
    run(create);
    for (const auto &[preparation, words, call, ending, err, message] : cases) {
        run(preparation);
        const Files expected = repository();
        const int status = trace(words, once_at(call, ending, {.error = err}));
        EXPECT_TRUE(WEXITSTATUS(status) == 1 && has(read_file("/tmp/err"), message)) << read_file("/tmp/err");
        EXPECT_EQ(repository(), expected) << words;
    }
}

// Ctrl-C, which a terminal sends to all processes of the command.
TEST_F(SafetyTest, InterruptedWithItsChildren)
{
    for (const std::string program : {"sync", "cp", "mv"}) {
        write_file("/tmp/bin/" + program, "#!/bin/sh\nkill -INT 0\nexec /bin/" + program + " \"$@\"\n");
        fs::permissions("/tmp/bin/" + program, fs::perms::owner_all);
    }
    run(create + "--local");
    run("commit --local");
    run("copy --local --from active --to prepared");
    const Files expected = repository();
    for (const char *const words : {"create --image i --sdr other --local", "add a-1-1 --local", "rollback --local",
                                    "promote --local", "copy --local --from active --to prepared"}) {
        const Ran interrupted = run(words, "setsid -w env --default-signal=INT PATH=/tmp/bin:$PATH ");
        EXPECT_EQ(interrupted.code, 128 + SIGINT) << words << interrupted.err;
        EXPECT_EQ(repository(), expected) << words;
    }

    // The library waits before it tries again to write a file.
    int sleeps = 0;
    const int status = trace("add a-1-1 --local", [&](const SystemCall &call) {
        const bool is_write = call.id == SYS_write && call.path().ends_with("active.bin");
        const bool is_first_sleep = call.id == SYS_clock_nanosleep && sleeps++ == 0;
        return Intervention{is_first_sleep ? SIGINT : 0, is_write ? ENOSPC : 0};
    });
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
    EXPECT_TRUE(sleeps > 0 && sleeps < 3) << sleeps; // it does not go on waiting
    EXPECT_EQ(repository(), expected);
}

TEST_F(SafetyTest, JournalsThatCannotBeUsed)
{
    run(create);
    const fs::path journal = fs::path(JOURNAL) / "journal";
    const std::string prepared = std::string(GLOBAL_QX) + "prepared.bin\n";
    for (const std::string &entries :
         {"restore 0 " + prepared + "end\n", "move " + prepared + "end\n", "remove " + prepared, std::string()}) {
        if (entries.empty()) {
            fs::create_directories(journal); // which cannot be read
        } else {
            write_file(journal, "swprofile undo journal 1\n" + entries);
        }
        write_file(fs::path(JOURNAL) / "7", "saved");
        const Files expected = repository();
        SCOPED_TRACE(entries);
        expect(
            {{"add a-1-1", 1, ""}, {"check --state active", 1, "is not undone yet"}, {"list", 0, "is not undone yet"}});
        EXPECT_EQ(repository(), expected);
        fs::remove_all(JOURNAL);
    }

    // A reader that may not undo a change reads the profile as it is. Here, the reader is root without capabilities,
    // and the files belong to another user.
    trace("add a-1-1", once_at(SYS_write, "active.txt", KILL));
    if (std::system("chown -R 65534 /install_repo/gl && setpriv --bounding-set -all true") == 0) {
        const Ran unprivileged = run("packages", "setpriv --bounding-set -all ");
        EXPECT_EQ(unprivileged.out, "a-1-1\n");
        EXPECT_TRUE(has(unprivileged.err, "is not undone yet"));
        fs::create_directory(std::string(JOURNAL) + ".ended"); // which it cannot remove, either
        fs::rename(JOURNAL, "/install_repo/gl/saved");
        EXPECT_EQ(run("packages", "setpriv --bounding-set -all timeout 20 ").out, "a-1-1\n");
        fs::rename("/install_repo/gl/saved", JOURNAL);
    }
    EXPECT_EQ(run("packages").out, "");
}

// Changes of existing files are rejected: saved files could not be renamed back.
TEST_F(SafetyTest, DirectoryOnAnotherFileSystem)
{
    fs::create_directories("/tmp/other");
    fs::create_directories("/install_repo/gl/instdb/sdr");
    fs::create_directory_symlink("/tmp/other", "/install_repo/gl/instdb/sdr/default-sdr");
    EXPECT_EQ(run(create).code, 0);
    const std::string bin = read_file(active_bin);
    for (const std::string words : {"add a-1-1", "create --image i --replace", "delete --state active --yes"}) {
        expect({{words, 1, "on another file system"}, {"check", 0, ""}});
        EXPECT_EQ(read_file(active_bin), bin) << words;
    }
}

// Changes run one after the other, and readers see complete profiles only.
TEST_F(SafetyTest, ChangesAtTheSameTime)
{
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(run_at_once({"swprofile " + create, "swprofile " + create}), 1) << "one must fail";
        run("delete --state active --yes");
    }
    run(create);
    std::vector<std::string> scripts;
    for (const std::string base : {"a", "b", "c", "d", "e", "f", "g", "h"}) {
        scripts.push_back("for i in $(seq 20); do swprofile add " + base + "$i-1-r1; done");
    }
    EXPECT_EQ(run_at_once(scripts), 0);
    EXPECT_EQ(json_of("packages --json")["names"].size(), 160U);

    // Both scopes unpack bundles in one work area.
    run(create + "--local");
    EXPECT_EQ(std::system("cd /tmp && touch z-1-1.rpm && mkdir -p /install_repo/gl/verdalis &&"
                          "tar -cf /install_repo/gl/verdalis/z-1-1.tar z-1-1.rpm"),
              0);
    scripts = {"swprofile copy --from active --to prepared && swprofile promote || [ $? = 3 ] || exit 1",
               "swprofile commit || exit 1",
               "swprofile add x-1-1 && swprofile remove x-1-1 --ignore-missing || exit 1",
               "swprofile add y-1-1 --state prepared || [ $? = 3 ] || exit 1",
               "swprofile check || exit 1",
               "swprofile list | grep -e damaged -e empty && exit 1 || true"};
    for (const std::string scope : {" --global", " --local"}) {
        scripts.push_back("swprofile add-for-nodes z-1-1 --type smu --all-nodes" + scope +
                          " && swprofile remove z-1-1 --ignore-missing" + scope + " || exit 1");
    }
    const std::string seconds = getenv("SWP_STEP") != nullptr ? "20" : "2";
    for (std::string &script : scripts) {
        script = "end=$(($(date +%s) + " + seconds + ")); while [ $(date +%s) -lt $end ]; do " + script + "; done";
    }
    EXPECT_EQ(run_at_once(scripts), 0) << read_file("/tmp/log");
}

// Readers keep no writer waiting: neither many in turn, nor one whose output is never read.
TEST_F(SafetyTest, ReadersKeepNoWriterWaiting)
{
    run("create --image i $(printf ' --package package%d-1-1' $(seq 2000))");
    FILE *const pipe = popen((SWPROFILE + " show --json").c_str(), "r");
    EXPECT_EQ(std::fgetc(pipe), '{'); // the rest fits into no pipe
    EXPECT_EQ(run("add a-1-1 --wait 5").code, 0);
    pclose(pipe);

    std::vector<std::string> scripts(6, "until [ -e /tmp/added ]; do swprofile check; done");
    scripts.emplace_back("swprofile add b-1-1 --wait 5; code=$?; touch /tmp/added; exit $code");
    EXPECT_EQ(run_at_once(scripts), 0) << read_file("/tmp/log");
}

TEST_F(SafetyTest, WaitingForALock)
{
    run(create);
    const int directory = open("/install_repo/gl/instdb", O_RDONLY | O_DIRECTORY);
    flock(directory, LOCK_EX);
    expect({{"add a-1-1 --no-wait", 1, ""},
            {"list --wait 0.6", 1, "note: waiting for another process"},
            // Not 1, which would mean "no".
            {"check --no-wait", 2, ""},
            {"has a-1-1 --no-wait", 2, ""},
            {"node-version 0/1/0 1 --no-wait", 2, ""},
            {"diff active committed --no-wait", 2, ""}});
    close(directory);
    EXPECT_EQ(run("add a-1-1 --no-wait").code, 0);
}

} // namespace
