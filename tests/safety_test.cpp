// The command does a change completely or not at all: whenever it is killed, interrupted, or out of space.
#include "support/command_test.h"
#include "support/traced_process.h"

#include <csignal>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <set>
#include <sys/file.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace
{

using Files = std::map<std::string, std::string>;

// The files of the repository without their times; the header of a text twin names one.
Files repository()
{
    Files files;
    for (const char *const scope : {"/install_repo/gl", "/install_repo/local"}) {
        if (!fs::exists(scope)) {
            continue;
        }
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(scope)) {
            const std::string content = entry.is_regular_file() ? read_file(entry.path()) : "directory";
            const bool is_twin = entry.path().extension() == ".txt";
            files[entry.path()] = is_twin ? content.substr(std::min(content.find("\n\n"), content.size())) : content;
        }
    }
    return files;
}

std::string difference(const Files &expected, const Files &found)
{
    std::string text;
    for (const auto &[path, content] : expected) {
        const auto at = found.find(path);
        text += at == found.end() ? "\n- " + path : at->second != content ? "\n~ " + path : "";
    }
    for (const auto &[path, content] : found) {
        text += expected.contains(path) ? "" : "\n+ " + path;
    }
    return text;
}

struct Operation {
    const char *name;
    std::vector<std::string> preparation;
    std::string arguments;
};

const Intervention KILL = {Intervention::KILL};

class SafetyTest : public CommandTest
{
protected:
    // Prepares the repository, and finds out how it is after the operation, and how many system calls that takes.
    void prepare(const Operation &operation)
    {
        for (const char *const directory : {"/install_repo/gl", "/install_repo/local", "/tmp/saved"}) {
            fs::remove_all(directory);
        }
        for (const std::string &command : operation.preparation) {
            ASSERT_EQ(run(command).code, 0) << operation.name << command << read_file("/tmp/err");
        }
        fs::create_directory("/tmp/saved");
        for (const char *const scope : {"gl", "local"}) {
            if (fs::exists(fs::path("/install_repo") / scope)) {
                fs::copy(fs::path("/install_repo") / scope, fs::path("/tmp/saved") / scope,
                         fs::copy_options::recursive);
            }
        }
        name = operation.name;
        arguments = {SWPROFILE};
        std::istringstream words(operation.arguments);
        std::copy(std::istream_iterator<std::string>(words), {}, std::back_inserter(arguments));
        before = repository();
        calls = run_traced(arguments, [](const SystemCall &) { return Intervention(); }).calls;
        after = repository();
        EXPECT_NE(before, after) << name << read_file("/tmp/err");
    }

    static void reset()
    {
        for (const char *const scope : {"gl", "local"}) {
            fs::remove_all(fs::path("/install_repo") / scope);
            if (fs::exists(fs::path("/tmp/saved") / scope)) {
                fs::copy(fs::path("/tmp/saved") / scope, fs::path("/install_repo") / scope,
                         fs::copy_options::recursive);
            }
        }
    }

    // Brings the repository back, runs the operation, and returns how it ended.
    int intervene(const std::function<Intervention(const SystemCall &)> &at_call) const
    {
        reset();
        return run_traced(arguments, at_call).status;
    }

    // The next command undoes what is half done. Then everything is as before or as after, and consistent.
    bool expect_old_or_new(const std::string &when) const
    {
        const Ran checked = run("check");
        EXPECT_EQ(checked.code, 0) << name << ", " << when << "\n" << checked.out << checked.err;
        const Files found = repository();
        EXPECT_TRUE(found == before || found == after) << name << ", " << when << difference(before, found);
        return found == after;
    }

    // Runs shell scripts at the same time, and returns how many failed.
    static int run_at_once(const std::vector<std::string> &scripts)
    {
        std::vector<pid_t> children;
        for (const std::string &script : scripts) {
            children.push_back(fork());
            if (children.back() == 0) {
                execl("/bin/sh", "sh", "-c", ("exec >>/tmp/log 2>&1; " + script).c_str(), nullptr);
                _exit(127);
            }
        }
        return static_cast<int>(std::count_if(children.begin(), children.end(), [](pid_t child) {
            int status = 0;
            waitpid(child, &status, 0);
            return status != 0;
        }));
    }

    // How many system calls are passed over: none if the tests have time.
    static int step(int sample) { return getenv("SWP_DEEP") != nullptr ? 1 : sample; }

    std::string name;
    Files before;
    Files after;
    std::vector<std::string> arguments;
    int calls = 0;
};

// Every subcommand that changes profiles. Their profiles have flat copies, so that most files are at stake.
std::vector<Operation> operations()
{
    write_file("/install_repo/sp1.json", R"([{"name": "SP1", "rpms": ["tp-q-1-r1"]}])");
    write_file("/install_repo/sp2.json", R"([{"name": "SP2", "rpms": ["p-1-r1.noarch"]}])");
    const std::string active = "create --local --image a.iso --version 1 --package p-1-r1 --sp-package tp-q-1-r1 "
                               "--service-pack SP1=tp-q-1-r1";
    const std::string prepared = "create --local --state prepared --image b.iso --version 2";
    const std::string commit = "commit --local";
    const std::string change = "add c-1-r1 --local";
    return {
        {"create", {}, "create --local --image i.iso --version 1"},
        {"replace", {active}, "create --local --replace --image i.iso --version 1"},
        {"add", {active}, "add n-1-r1 --local"},
        {"remove", {active}, "remove p-1-r1 --local"},
        {"add-host", {"create --vm admin --image k.iso --version 1"}, "add-host a-host-1-1 b-host-1-1"},
        {"add-for-nodes", {active}, "add-for-nodes n-1-r1 --local --node 0/1/0"},
        {"service-pack add", {active}, "service-pack add /install_repo/sp2.json --local"},
        {"service-pack remove", {active}, "service-pack remove /install_repo/sp1.json --local"},
        {"promote", {active, prepared, commit}, "promote --local"},
        {"commit", {active, commit, change}, "commit --local"},
        {"rollback", {active, commit, change}, "rollback --local"},
        {"delete", {active, prepared, commit}, "delete --local --all-states --yes"},
        {"delete global", {active, "create --image g.iso --version 1"}, "delete --state active --yes"},
    };
}

TEST_F(SafetyTest, KilledAtAnySystemCall)
{
    int kills = 0;
    int completed = 0;
    for (const Operation &operation : operations()) {
        prepare(operation);
        for (int at = 1; at <= calls; at += step(29)) {
            intervene([at](const SystemCall &call) { return call.number == at ? KILL : Intervention(); });
            completed += expect_old_or_new("killed at " + std::to_string(at)) ? 1 : 0;
            ++kills;
        }
    }
    std::printf("%d kills; %d times the change was complete\n", kills, completed);
    EXPECT_TRUE(completed > 0 && completed < kills);
}

TEST_F(SafetyTest, InterruptedAtAnySystemCall)
{
    int interruptions = 0;
    for (const Operation &operation : operations()) {
        prepare(operation);
        for (int moment = 0; moment < 100; moment += step(25)) {
            for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
                const int at = 1 + calls * moment / 100;
                const int status = intervene([=](const SystemCall &call) {
                    return call.number == at ? Intervention{Intervention::SIGNAL, signal} : Intervention();
                });
                const std::string when = "signal " + std::to_string(signal) + " at " + std::to_string(at);
                const bool is_complete = expect_old_or_new(when);
                const bool is_early = WIFSIGNALED(status); // before the change has begun
                EXPECT_TRUE(is_early ? !is_complete : WEXITSTATUS(status) == (is_complete ? 0 : 128 + signal))
                    << operation.name << when << status;
                ++interruptions;
            }
        }
    }
    std::printf("%d interruptions\n", interruptions);
}

// Everything that touches a file fails once, with an error that disks have.
TEST_F(SafetyTest, AnyFileOperationFails)
{
    const std::set<long> touching = {SYS_openat, SYS_write,  SYS_rename, SYS_fsync,    SYS_mkdir,    SYS_unlink,
                                     SYS_rmdir,  SYS_fchmod, SYS_read,   SYS_unlinkat, SYS_utimensat};
    int failures = 0;
    for (const Operation &operation : operations()) {
        prepare(operation);
        for (int at = 1; at <= calls; at += step(41)) {
            bool has_failed = false;
            const int status = intervene([&](const SystemCall &call) {
                has_failed = has_failed || (call.number == at && touching.contains(call.id));
                return call.number == at && has_failed ? Intervention{Intervention::FAIL, at % 2 == 0 ? EIO : ENOSPC}
                                                       : Intervention();
            });
            if (has_failed) {
                const std::string err = read_file("/tmp/err");
                const bool is_only_output = err.find("standard output") != std::string::npos;
                const bool is_complete = expect_old_or_new("failure at " + std::to_string(at));
                EXPECT_EQ(WEXITSTATUS(status) == 0 || is_only_output, is_complete)
                    << operation.name << " " << at << " of " << calls << ": " << err;
                ++failures;
            }
        }
    }
    std::printf("%d failures\n", failures);
}

// Runs in a small file system, of which a filler leaves so many pages free.
TEST_F(SafetyTest, InLittleSpace)
{
    struct statvfs system = {};
    statvfs("/install_repo", &system);
    if (system.f_blocks >= 1000) {
        GTEST_SKIP() << "/install_repo is no small file system: SWP_REPOSITORY_SIZE=1200000 has no effect here";
    }
    int rejected = 0;
    for (const Operation &operation : operations()) {
        prepare(operation);
        bool is_complete = false;
        for (uint64_t pages = 0; !is_complete; ++pages) {
            fs::remove_all("/install_repo/log");
            reset();
            statvfs("/install_repo", &system);
            ASSERT_GE(system.f_bfree, pages);
            write_file("/install_repo/filler", std::string((system.f_bfree - pages) * system.f_bsize, '.'));
            const int status = run_traced(arguments, [](const SystemCall &) { return Intervention(); }).status;
            const std::string err = read_file("/tmp/err");
            fs::remove("/install_repo/filler");
            is_complete = expect_old_or_new(std::to_string(pages) + " pages");
            EXPECT_EQ(WEXITSTATUS(status) == 0, is_complete) << operation.name << err;
            rejected += err.find("more bytes are needed") != err.npos ? 1 : 0;
        }
    }
    std::printf("%d times, the missing bytes were known before\n", rejected);
    EXPECT_GT(rejected, 20);
}

// Processes that change one profile, and one that checks it, do not disturb each other.
TEST_F(SafetyTest, ChangesAtTheSameTime)
{
    run(create);
    std::vector<std::string> scripts;
    for (int process = 0; process < 8; ++process) {
        scripts.push_back("for i in $(seq 20); do " SWPROFILE " add p" + std::to_string(process) + "x$i-1-r1; done");
    }
    EXPECT_EQ(run_at_once(scripts), 0);
    EXPECT_EQ(json_of("packages --json")["names"].size(), 160U);

    const std::string seconds = getenv("SWP_DEEP") != nullptr ? "20" : "2";
    const auto repeated = [&](const std::string &body) {
        return "end=$(($(date +%s) + " + seconds + ")); while [ $(date +%s) -lt $end ]; do " + body + "; done";
    };
    EXPECT_EQ(run_at_once({repeated(SWPROFILE " copy --from active --to prepared && " SWPROFILE
                                              " promote || [ $? = 3 ] || exit 1"),
                           repeated(SWPROFILE " commit || exit 1"),
                           repeated(SWPROFILE " add a-1-1 && " SWPROFILE " remove a-1-1 --ignore-missing || exit 1"),
                           repeated(SWPROFILE " check || exit 1"),
                           repeated(SWPROFILE " list | grep -e damaged -e empty && exit 1 || true")}),
              0);
}

TEST_F(SafetyTest, WaitingForALock)
{
    run(create);
    const int directory = open("/install_repo/gl/instdb", O_RDONLY | O_DIRECTORY);
    flock(directory, LOCK_EX);
    EXPECT_EQ(run("add a-1-1 --no-wait").code, 1);
    EXPECT_EQ(run("check --no-wait").code, 2);
    const Ran waited = run("list --wait 0.6");
    EXPECT_EQ(waited.code, 1);
    EXPECT_TRUE(waited.err.starts_with("swprofile: note: waiting for another process")) << waited.err;
    close(directory);
    EXPECT_EQ(run("add a-1-1 --no-wait").code, 0);
}

} // namespace
