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

// Path to content, without the header of text twins, which contains the time.
Files repository()
{
    Files files;
    for (const char *const scope : {"/install_repo/gl", "/install_repo/local"}) {
        if (!fs::exists(scope)) {
            continue;
        }
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(scope)) {
            if (entry.path() == "/install_repo/gl/instdb") {
                continue; // created by the first command that locks it
            }
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
constexpr char LOCAL_QX[] = "/install_repo/local/sdr/default-sdr/qx-swprofile-";
constexpr char JOURNAL[] = "/install_repo/gl/instdb/.swprofile-undo";

std::vector<std::string> words_of(const std::string &text)
{
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

// Intervenes once, in such a call for a file whose path ends like this; when it is opened, only within a change.
std::function<Intervention(const SystemCall &)> once_at(long id, const std::string &ending, Intervention what)
{
    return [=, is_done = false](const SystemCall &call) mutable {
        const bool fits =
            !is_done && call.id == id && (id != SYS_openat || fs::exists(JOURNAL)) && call.path().ends_with(ending);
        is_done = is_done || fits;
        return fits ? what : Intervention();
    };
}

class SafetyTest : public CommandTest
{
protected:
    // Prepares the repository, and finds out how it is after the operation, and how many system calls that takes.
    void prepare(const Operation &operation)
    {
        save(operation.preparation);
        name = operation.name;
        arguments = words_of(SWPROFILE " " + operation.arguments);
        before = repository();
        checked_before = run("check").out;
        calls = run_traced(arguments, [](const SystemCall &) { return Intervention(); }).calls;
        after = repository();
        checked_after = run("check").out;
        EXPECT_NE(before, after) << name << read_file("/tmp/err");
    }

    // Prepares the repository, and saves it for reset().
    static void save(const std::vector<std::string> &preparation)
    {
        for (const char *const directory : {"/install_repo/gl", "/install_repo/local", "/tmp/saved"}) {
            fs::remove_all(directory);
        }
        for (const std::string &command : preparation) {
            ASSERT_EQ(run(command).code, 0) << command << read_file("/tmp/err");
        }
        fs::create_directory("/tmp/saved");
        for (const char *const scope : {"gl", "local"}) {
            if (fs::exists(fs::path("/install_repo") / scope)) {
                fs::copy(fs::path("/install_repo") / scope, fs::path("/tmp/saved") / scope,
                         fs::copy_options::recursive);
            }
        }
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

    static int trace(const std::string &words, const std::function<Intervention(const SystemCall &)> &at_call)
    {
        return run_traced(words_of(SWPROFILE " " + words), at_call).status;
    }

    // Brings the repository back, runs the operation, and returns how it ended.
    int intervene(const std::function<Intervention(const SystemCall &)> &at_call) const
    {
        reset();
        return run_traced(arguments, at_call).status;
    }

    // The next command undoes an unfinished change. Then all files are those before or after it, as is check's output.
    bool expect_old_or_new(const std::string &when) const
    {
        const Ran checked = run("check");
        const Files found = repository();
        EXPECT_EQ(checked.out, found == after ? checked_after : checked_before) << name << ", " << when << "\n"
                                                                                << checked.err;
        EXPECT_TRUE(found == before || found == after) << name << ", " << when << difference(before, found);
        return found == after;
    }

    // Each profile is one of those before and after, or is rejected, and check reports a mixture. Is it one?
    bool expect_safe(const std::string &when) const
    {
        const auto files_of = [](Files files) {
            std::erase_if(files, [](const auto &file) { return file.second == "directory"; });
            return files;
        };
        const Files found = files_of(repository());
        const Ran checked = run("check");
        for (const auto &[path, content] : found) {
            const bool is_known = (before.contains(path) && before.at(path) == content) ||
                                  (after.contains(path) && after.at(path) == content);
            const bool is_rejected = checked.out.find(path + ": ") != std::string::npos;
            EXPECT_TRUE(is_known || is_rejected) << when << " " << path << "\n" << checked.out;
        }
        const bool is_mixture = found != files_of(before) && found != files_of(after);
        if (is_mixture) {
            EXPECT_EQ(checked.code, 1) << when << difference(files_of(before), found);
        } else {
            EXPECT_EQ(checked.out, found == files_of(after) ? checked_after : checked_before) << when;
        }
        return is_mixture;
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

    // Every how many system calls one is disturbed: SWP_STEP or, by default, a sample.
    static int step(int sample)
    {
#ifdef __SANITIZE_ADDRESS__
        sample *= 7; // each run takes ten times as long
#endif
        const char *const given = getenv("SWP_STEP");
        return given == nullptr ? sample : std::max(1, std::atoi(given));
    }

    std::string name;
    Files before;
    Files after;
    std::string checked_before;
    std::string checked_after;
    std::vector<std::string> arguments;
    int calls = 0;
};

// One operation per subcommand that changes profiles, mostly on profiles that have flat copies.
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
        {"replace", {active}, "create --local --replace --image i.iso --version 1"},
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

// Every call that touches a file fails once, with EIO or ENOSPC.
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
                const bool is_repaired = // although another profile could not be examined
                    err.find("  repaired ") != std::string::npos || err.find("  removed ") != std::string::npos;
                const bool is_complete = expect_old_or_new("failure at " + std::to_string(at));
                EXPECT_EQ(WEXITSTATUS(status) == 0 || is_only_output || is_repaired, is_complete)
                    << operation.name << " " << at << " of " << calls << ": " << err;
                ++failures;
            }
        }
    }
    std::printf("%d failures\n", failures);
}

// Runs in a small file system, in which a filler leaves each number of pages free.
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

    const std::string seconds = getenv("SWP_STEP") != nullptr ? "20" : "2";
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

// The library itself has no journal. When it is killed, each profile is the old one, the new one, missing, or rejected,
// and check reports every state of the files that is neither the one before nor the one after.
TEST_F(SafetyTest, LibraryKilledAtAnySystemCall)
{
    constexpr char KEY[] = "default-sdr";
    const std::string create_local = "create --local --image a.iso --version 1 --package p-1-r1 ";
    const std::string prepared = "copy --local --from active --to prepared";
    const std::string change = "add c-1-r1 --local";
    serv_packs packs = {};
    service_pack pack = {};
    char *rpm[] = {const_cast<char *>("p-1-r1.noarch")};
    sp_detail_set_sp_name(&pack, const_cast<char *>("SP"));
    sp_detail_set_sp_rpms(&pack, rpm, 1);
    serv_packs_set_service_packs(&packs, &pack, 1);
    const auto source = reinterpret_cast<uint64_t>(&packs);
    inst_node_loc node = {};
    inst_node_loc_set_loc_id_1(&node, 0);
    CreateRequest create_request;
    create_request.request.is_local = 1;
    const struct {
        const char *name;
        std::vector<std::string> preparation;
        std::function<uint64_t()> call;
    } operations[] = {
        {"create", {}, [&] { return inst_ldpath_create_sdr_swprofile(&create_request.request); }},
        {"replace", {create_local}, [&] { return inst_ldpath_create_sdr_swprofile(&create_request.request); }},
        {"add",
         {create_local},
         [&] {
             return inst_ldpath_add_swprofile_pkgs(KEY, 1, VERD_SWP_ACTIVE, VERD_VM_QX, "n-1-r1", nullptr, 0, 0,
                                                   VERD_PKG_BASE, 0, nullptr);
         }},
        {"remove",
         {create_local},
         [&] {
             return inst_ldpath_remove_swprofile_pkgs(KEY, 1, VERD_SWP_ACTIVE, VERD_VM_QX, "p-1-r1", nullptr, nullptr);
         }},
        {"add for nodes",
         {create_local},
         [&] {
             return inst_ldpath_add_pkg_location(KEY, 1, VERD_SWP_ACTIVE, VERD_VM_QX, &node, 1, "n-1-r1", 0,
                                                 VERD_PKG_BASE, 0);
         }},
        {"add service pack",
         {create_local},
         [&] {
             g_inst_pkg_fmt_info.is_new_format = 1;
             return inst_ldpath_add_swprofile_sps(KEY, 1, VERD_SWP_ACTIVE, VERD_VM_QX, source);
         }},
        {"remove service pack",
         {create_local + "--sp-package tp-q-1-r1 --service-pack SP=tp-q-1-r1"},
         [&] { return inst_ldpath_remove_swprofile_sps(KEY, 1, VERD_SWP_ACTIVE, VERD_VM_QX, &packs); }},
        {"promote",
         {create_local, prepared, change},
         [&] { return inst_ldpath_swp_move_prep_to_act(KEY, 1, VERD_VM_QX, nullptr); }},
        {"copy",
         {create_local, prepared, change},
         [&] { return inst_ldpath_swp_copy(KEY, 1, VERD_VM_QX, VERD_SWP_ACTIVE, VERD_SWP_PREPARED, nullptr); }},
        {"delete",
         {create_local},
         [&] { return inst_ldpath_delete_swprofile_file((std::string(LOCAL_QX) + "active.bin").c_str()); }},
    };
    int kills = 0;
    int partial = 0;
    for (const auto &[operation, preparation, call] : operations) {
        const auto make_call = [&call = call] { _exit(call() == 0 ? 0 : 1); };
        save(preparation);
        before = repository();
        checked_before = run("check").out;
        const TracedRun complete = run_traced(make_call, [](const SystemCall &) { return Intervention(); });
        after = repository();
        checked_after = run("check").out;
        EXPECT_TRUE(WEXITSTATUS(complete.status) == 0 && before != after) << operation;
        for (int at = 1; at <= complete.calls; at += step(5)) {
            reset();
            run_traced(make_call,
                       [at](const SystemCall &at_call) { return at_call.number == at ? KILL : Intervention(); });
            const std::string when = operation + std::string(" killed at ") + std::to_string(at);
            partial += expect_safe(when) ? 1 : 0;
            ++kills;
        }
    }
    std::printf("%d kills of the library, %d with a part of the files\n", kills, partial);
    EXPECT_GT(partial, 0);
}

// After a kill, the install manager may use the library before the next command.
TEST_F(SafetyTest, ProfilesOfAnotherProgramAreKept)
{
    const std::function<uint64_t()> others[] = {
        nullptr,
        [] {
            CreateRequest create_request;
            return inst_ldpath_create_sdr_swprofile(&create_request.request);
        },
        [] {
            const Fetched profile = {new_full_profile()};
            return inst_ldpath_store_sdr_swprofile(profile.ptr, 0, VERD_SWP_ACTIVE, nullptr, VERD_VM_QX, nullptr);
        },
        [] { return inst_ldpath_swp_copy("default-sdr", 0, VERD_VM_QX, VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, nullptr); },
    };
    for (const std::function<uint64_t()> &other : others) {
        run(create + "--replace");
        run("commit");
        run("add a-1-1");
        Files expected = repository();
        EXPECT_TRUE(WIFSIGNALED(trace("add b-1-1", once_at(SYS_write, "active.txt", KILL))));
        EXPECT_TRUE(fs::exists(JOURNAL));
        if (other) {
            EXPECT_EQ(other(), 0U);
            expected = repository();
            std::erase_if(expected, [](const auto &file) { return file.first.starts_with(JOURNAL); });
        }
        const std::string err = run("list").err;
        EXPECT_NE(err.find(other ? "another program has stored profiles since" : "undid a change"), err.npos) << err;
        EXPECT_EQ(difference(expected, repository()), "");
    }
}

// A single failing call of the library, even if the library returns 0, ends in a message and the state before.
TEST_F(SafetyTest, FailedCallsOfTheLibrary)
{
    const struct {
        const char *preparation;
        const char *words;
        long call;
        const char *ending;
        int err;
        const char *message;
    } cases[] = {
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
        const int status = trace(words, once_at(call, ending, {Intervention::FAIL, err}));
        EXPECT_EQ(WEXITSTATUS(status), 1) << words;
        EXPECT_NE(read_file("/tmp/err").find(message), std::string::npos) << read_file("/tmp/err");
        EXPECT_EQ(difference(expected, repository()), "") << words;
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
    for (const std::string words : {"create --image i --sdr other --local", "add a-1-1 --local", "rollback --local",
                                    "promote --local", "copy --local --from active --to prepared"}) {
        const int status = std::system(
            ("setsid -w env --default-signal=INT PATH=/tmp/bin:$PATH " SWPROFILE " " + words + " >/tmp/out 2>/tmp/err")
                .c_str());
        EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT) << words << read_file("/tmp/err");
        EXPECT_EQ(difference(expected, repository()), "") << words;
    }

    // The library waits before it tries again to write a file.
    int sleeps = 0;
    const int status = trace("add a-1-1 --local", [&](const SystemCall &call) {
        if (call.id == SYS_write && call.path().ends_with("active.bin")) {
            return Intervention{Intervention::FAIL, ENOSPC};
        }
        sleeps += call.id == SYS_clock_nanosleep ? 1 : 0;
        return call.id == SYS_clock_nanosleep && sleeps == 1 ? Intervention{Intervention::SIGNAL, SIGINT}
                                                             : Intervention();
    });
    EXPECT_EQ(WEXITSTATUS(status), 128 + SIGINT);
    EXPECT_TRUE(sleeps > 0 && sleeps < 3) << sleeps; // it does not go on waiting
    EXPECT_EQ(difference(expected, repository()), "");
}

TEST_F(SafetyTest, JournalsThatCannotBeUsed)
{
    run(create);
    const std::string prepared = std::string(GLOBAL_QX) + "prepared.bin\n";
    for (const std::string &entries :
         {"restore 0 " + prepared + "end\n", "move " + prepared + "end\n", "remove " + prepared, std::string()}) {
        const fs::path list = fs::path(JOURNAL) / "journal";
        fs::create_directories(entries.empty() ? list : list.parent_path()); // a directory cannot be read
        if (!entries.empty()) {
            write_file(list, "swprofile undo journal 1\n" + entries);
        }
        write_file(fs::path(JOURNAL) / "7", "saved");
        const Files expected = repository();
        EXPECT_EQ(run("add a-1-1").code, 1) << entries;
        EXPECT_NE(run("check --state active").out.find("is not undone yet"), std::string::npos) << entries;
        EXPECT_NE(run("list").err.find("is not undone yet"), std::string::npos) << entries;
        EXPECT_EQ(difference(expected, repository()), "") << entries;
        fs::remove_all(JOURNAL);
    }

    trace("add a-1-1", once_at(SYS_write, "active.txt", KILL));
    const std::string unprivileged = "setpriv --reuid 65534 --clear-groups " SWPROFILE " packages >/tmp/out 2>/tmp/err";
    if (geteuid() == 0 && std::system("setpriv --reuid 65534 --clear-groups true") == 0) {
        EXPECT_EQ(std::system(unprivileged.c_str()), 0);
        EXPECT_EQ(read_file("/tmp/out"), "a-1-1\n"); // the profile as it is
        EXPECT_NE(read_file("/tmp/err").find("is not undone yet"), std::string::npos) << read_file("/tmp/err");
    }
    EXPECT_EQ(run("packages").out, "");
}

// Saved files could not be renamed back.
TEST_F(SafetyTest, DirectoryOnAnotherFileSystem)
{
    fs::create_directories("/tmp/other");
    fs::create_directories("/install_repo/gl/instdb/sdr");
    fs::create_directory_symlink("/tmp/other", "/install_repo/gl/instdb/sdr/default-sdr");
    EXPECT_EQ(run(create).code, 0);
    const std::string bin = read_file(active_bin);
    for (const std::string &words :
         {std::string("add a-1-1"), create + "--replace", std::string("delete --state active --yes")}) {
        const Ran rejected = run(words);
        EXPECT_EQ(rejected.code, 1) << words;
        EXPECT_NE(rejected.err.find("on another file system"), std::string::npos) << rejected.err;
        EXPECT_EQ(read_file(active_bin), bin) << words;
        EXPECT_EQ(run("check").code, 0) << words;
    }
}

// Two changes at the same time run one after the other.
TEST_F(SafetyTest, TwoChangesAtTheSameTime)
{
    for (int round = 0; round < 10; ++round) {
        EXPECT_EQ(run_at_once({SWPROFILE " " + create, SWPROFILE " " + create}), 1) << "one of them exists already";
        run("commit");
        run("copy --from active --to prepared");
        // The package is added before the promotion, or there is no prepared profile any more.
        const int failed = run_at_once({SWPROFILE " promote", SWPROFILE " add p-1-1 --state prepared || test $? = 3",
                                        SWPROFILE " add c-1-1 --state committed"});
        EXPECT_EQ(failed, 0);
        EXPECT_EQ(run("exists --state prepared").code, 3);
        EXPECT_EQ(run("packages --state committed").out, "c-1-1\n");
        const bool is_added = read_file("/tmp/log").find("+ package p-1-1") != std::string::npos;
        EXPECT_EQ(run("packages").out, is_added ? "p-1-1\n" : "");
        fs::remove("/tmp/log");
        run("delete --all-states --yes");
    }
}

// Both scopes unpack bundles in the work area, while others read.
TEST_F(SafetyTest, BundlesForBothScopes)
{
    run(create);
    run(create + "--local");
    std::vector<std::string> scripts;
    for (const std::string scope : {"global", "local"}) {
        const std::string package = scope + "-1-1";
        std::system(("mkdir -p /install_repo/gl/verdalis && cd /tmp && touch " + package +
                     ".rpm && tar -cf "
                     "/install_repo/gl/verdalis/" +
                     package + ".tar " + package + ".rpm")
                        .c_str());
        scripts.push_back("for i in $(seq 8); do timeout 60 " SWPROFILE " add-for-nodes " + package + " --type smu --" +
                          scope + " --all-nodes && " SWPROFILE " remove " + package + " --" + scope +
                          " || exit 1; done; touch /tmp/" + scope);
    }
    const std::string reader =
        "until [ -e /tmp/global -a -e /tmp/local ]; do timeout 60 " SWPROFILE " list || exit 1; done";
    scripts.insert(scripts.end(), 2, reader);
    EXPECT_EQ(run_at_once(scripts), 0) << read_file("/tmp/log");
}

// Readers keep no writer waiting: neither many that come one after the other, nor one whose output nobody reads.
TEST_F(SafetyTest, WritersBesideReaders)
{
    nlohmann::json profile = {{"image", {{"name", "i"}}}};
    for (int i = 0; i < 2000; ++i) {
        profile["packages"].push_back({{"name", "package" + std::to_string(i) + "-1-1"}});
    }
    write_file("/tmp/large.json", profile.dump());
    run("create --from /tmp/large.json");
    FILE *const pipe = popen(SWPROFILE " show --json", "r");
    EXPECT_EQ(std::fgetc(pipe), '{'); // the rest fits into no pipe
    EXPECT_EQ(run("add a-1-1 --wait 5").code, 0);
    pclose(pipe);

    std::vector<std::string> scripts(6, "until [ -e /tmp/added ]; do " SWPROFILE " check; done");
    scripts.emplace_back(SWPROFILE " add b-1-1 --wait 5; code=$?; touch /tmp/added; exit $code");
    EXPECT_EQ(run_at_once(scripts), 0) << read_file("/tmp/log");
}

TEST_F(SafetyTest, WaitingForALock)
{
    run(create);
    const int directory = open("/install_repo/gl/instdb", O_RDONLY | O_DIRECTORY);
    flock(directory, LOCK_EX);
    EXPECT_EQ(run("add a-1-1 --no-wait").code, 1);
    for (const std::string question : {"check", "has a-1-1", "node-version 0/1/0 1", "diff active committed"}) {
        EXPECT_EQ(run(question + " --no-wait").code, 2) << question; // not "no"
    }
    const Ran waited = run("list --wait 0.6");
    EXPECT_EQ(waited.code, 1);
    EXPECT_TRUE(waited.err.starts_with("swprofile: note: waiting for another process")) << waited.err;
    close(directory);
    EXPECT_EQ(run("add a-1-1 --no-wait").code, 0);
}

} // namespace
