#include "support/safety_test.h"

namespace
{

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

} // namespace

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
    files.erase("/install_repo/gl/instdb"); // created by the first command that locks it
    return files;
}

State SafetyTest::state()
{
    const std::string checked = run("check").out;
    return {repository(), checked};
}

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
    const TracedRun undisturbed = operation.call ? call_traced(operation.call, nullptr)
                                                 : run_traced(SWPROFILE " " + operation.arguments, nullptr);
    calls = undisturbed.calls;
    after = state();
    EXPECT_TRUE(undisturbed.status == 0 && before.files != after.files) << operation.name << read_file("/tmp/err");
}

int SafetyTest::at_system_calls(const std::vector<Operation> &operations, int sample,
                                const std::function<void(int)> &disturb)
{
#if defined(__SANITIZE_ADDRESS__)
    sample *= 7; // each run takes ten times as long
#elif defined(__clang__)
    sample *= 4; // the same calls, which the build by g++ disturbs more often
#endif
    const char *const given = getenv("SWP_STEP");
    const int step = given == nullptr ? sample : std::max(1, std::atoi(given));
    int count = 0;
    for (const Operation &each : operations) {
        prepare(each);
        for (int at = 1; at <= calls; at += step, ++count) {
            SCOPED_TRACE(operation.name + std::string(", system call ") + std::to_string(at));
            disturb(at);
        }
    }
    return count;
}

void SafetyTest::restore()
{
    replace_scopes("/tmp/saved", "/install_repo");
}

int SafetyTest::intervene(const AtCall &at_call) const
{
    restore();
    return operation.call ? call_traced(operation.call, at_call).status : trace(operation.arguments, at_call);
}

bool SafetyTest::expect_old_or_new() const
{
    const State found = state();
    EXPECT_TRUE(found == before || found == after) << found.checked << testing::PrintToString(found.files);
    return found == after;
}

int SafetyTest::run_at_once(const std::vector<std::string> &scripts)
{
    const std::string directory = fs::path(SWPROFILE).parent_path();
    std::string script = "exec >>/tmp/log 2>&1; PATH=" + directory + ":$PATH; failed=0; pids=\n";
    for (const std::string &each : scripts) {
        script += "(" + each + ") &\npids=\"$pids $!\"\n";
    }
    script += "for pid in $pids; do wait $pid || failed=$((failed + 1)); done; exit $failed";
    return WEXITSTATUS(std::system(script.c_str()));
}
