#include "support/safety_test.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{

#if defined(__SANITIZE_ADDRESS__)
constexpr int COARSENESS = 7; // each run takes ten times as long
#elif defined(__clang__)
constexpr int COARSENESS = 4; // the same system calls, which the build by g++ disturbs more often
#else
constexpr int COARSENESS = 1;
#endif

State state()
{
    const std::string checked = run("check", "ASAN_OPTIONS=detect_leaks=0 ").out; // another test looks for leaks
    return {repository(), checked};
}

// Without directories: the library may leave a new one.
Files profiles_of(const State &state)
{
    Files files = state.files;
    std::erase_if(files, [](const auto &file) { return file.second == "directory"; });
    return files;
}

// Copies the profiles of both scopes over those of another directory.
void replace_scopes(const fs::path &from, const fs::path &to)
{
    fs::create_directories(to);
    for (const char *const scope : {"gl", "local"}) {
        fs::remove_all(to / scope);
        if (fs::exists(from / scope)) {
            fs::copy(from / scope, to / scope, fs::copy_options::recursive);
        }
    }
}

// Fills the file system page by page, then makes room for so many pages.
void leave_free(off_t pages)
{
    const std::string page(4096, '.');
    const int filler = open("/install_repo/filler", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    off_t size = 0;
    for (ssize_t written; (written = write(filler, page.data(), page.size())) > 0;) {
        size += written;
    }
    EXPECT_EQ(ftruncate(filler, size - pages * 4096), 0);
    close(filler);
}

} // namespace

void SafetyTest::prepare(const Operation &to_disturb)
{
    operation = to_disturb;
    fs::remove_all("/install_repo/gl");
    fs::remove_all("/install_repo/local");
    for (const std::string &command : operation.preparation) {
        ASSERT_EQ(run(command).code, 0) << command << read_file("/tmp/err");
    }
    replace_scopes("/install_repo", "/tmp/saved");
    before = state();
    const TracedRun undisturbed = run_operation(nullptr);
    calls = undisturbed.calls;
    after = state();
    EXPECT_TRUE(undisturbed.status == 0 && before.files != after.files) << operation.name << read_file("/tmp/err");
}

int SafetyTest::at_system_calls(const std::vector<Operation> &operations, int step,
                                const std::function<void(int)> &disturb)
{
    const char *const given = getenv("SWP_STEP");
    const int distance = given == nullptr ? step * COARSENESS : std::max(1, std::atoi(given));
    int count = 0;
    for (const Operation &each : operations) {
        prepare(each);
        for (int at = 1; at <= calls; at += distance, ++count) {
            SCOPED_TRACE(operation.name + std::string(", system call ") + std::to_string(at));
            replace_scopes("/tmp/saved", "/install_repo");
            disturb(at);
        }
    }
    return count;
}

void SafetyTest::in_little_space(const std::vector<Operation> &operations, const std::function<bool(int)> &is_complete)
{
    struct statvfs system = {};
    statvfs("/install_repo", &system);
    if (system.f_blocks >= 1000) {
        GTEST_SKIP()
            << "/install_repo is no small file system: set SWP_REPOSITORY_SIZE=1200000, which needs the right to mount";
    }
    for (const Operation &each : operations) {
        prepare(each);
        bool is_done = false;
        for (off_t pages = 0; !is_done && !HasFailure(); pages += COARSENESS) {
            SCOPED_TRACE(operation.name + std::string(", pages: ") + std::to_string(pages));
            fs::remove_all("/install_repo/log");
            replace_scopes("/tmp/saved", "/install_repo");
            leave_free(pages);
            const int status = run_operation(nullptr).status;
            fs::remove("/install_repo/filler");
            is_done = is_complete(status);
        }
    }
}

TracedRun SafetyTest::run_operation(const AtCall &at_call) const
{
    return operation.call ? call_traced(operation.call, at_call)
                          : run_traced(SWPROFILE + " " + operation.arguments, at_call);
}

bool SafetyTest::expect_old_or_new() const
{
    const State found = state();
    EXPECT_TRUE(found == before || found == after) << found.checked << testing::PrintToString(found.files);
    return found == after;
}

SafetyTest::Outcome SafetyTest::expect_old_new_or_reported() const
{
    const State found = state();
    const Files files = profiles_of(found);
    for (const auto &file : files) {
        const auto is_in = [&](const Files &known) { return std::count(known.begin(), known.end(), file) == 1; };
        EXPECT_TRUE(is_in(before.files) || is_in(after.files) || has(found.checked, file.first + ": ")) << file.first;
    }
    const Outcome outcome = files == profiles_of(before) ? OLD : files == profiles_of(after) ? NEW : MIXTURE;
    if (outcome == MIXTURE) {
        EXPECT_FALSE(has(found.checked, "nothing found")) << testing::PrintToString(files);
    } else {
        EXPECT_EQ(found.checked, outcome == OLD ? before.checked : after.checked);
    }
    return outcome;
}

int SafetyTest::run_at_once(const std::vector<std::string> &scripts)
{
    std::string script = "exec >>/tmp/log 2>&1; PATH=$(dirname " + SWPROFILE + "):$PATH; failed=0; pids=\n";
    for (const std::string &each : scripts) {
        script += "(" + each + ") &\npids=\"$pids $!\"\n";
    }
    script += "for pid in $pids; do wait $pid || failed=$((failed + 1)); done; exit $failed";
    return WEXITSTATUS(std::system(script.c_str()));
}
