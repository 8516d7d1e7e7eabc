#include "support/traced_process.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

[[noreturn]] void exec_traced(const std::vector<std::string> &arguments)
{
    std::vector<char *> argv;
    for (const std::string &argument : arguments) {
        argv.push_back(const_cast<char *>(argument.c_str()));
    }
    argv.push_back(nullptr);
    const int out = open("/tmp/out", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open("/tmp/err", O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // LeakSanitizer cannot work in a traced process, and would fail it
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    execv(argv[0], argv.data());
    _exit(127);
}

// Replaces the call by one that does not exist; its result is set when it returns.
void skip_call(pid_t child)
{
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    registers.orig_rax = static_cast<unsigned long long>(-1);
    ptrace(PTRACE_SETREGS, child, nullptr, &registers);
}

void set_result(pid_t child, int err)
{
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    registers.rax = static_cast<unsigned long long>(-err);
    ptrace(PTRACE_SETREGS, child, nullptr, &registers);
}

long call_of(pid_t child)
{
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    return static_cast<long>(registers.orig_rax);
}

} // namespace

std::string SystemCall::path() const
{
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, process, nullptr, &registers);
    const std::string directory = "/proc/" + std::to_string(process);
    if (id == SYS_write) {
        std::error_code ignored;
        return std::filesystem::read_symlink(directory + "/fd/" + std::to_string(registers.rdi), ignored);
    }
    std::ifstream memory(directory + "/mem", std::ios::binary);
    memory.seekg(static_cast<std::streamoff>(id == SYS_openat ? registers.rsi : registers.rdi));
    std::string text;
    std::getline(memory, text, '\0');
    return text;
}

namespace
{

TracedRun trace(pid_t child, bool is_armed, const std::function<Intervention(const SystemCall &)> &at_call)
{
    TracedRun run = {};
    waitpid(child, &run.status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool is_entry = true;
    int failure = 0;
    long signal = 0;
    while (ptrace(PTRACE_SYSCALL, child, nullptr, signal) == 0 && waitpid(child, &run.status, 0) == child &&
           WIFSTOPPED(run.status)) {
        signal = 0;
        if (WSTOPSIG(run.status) != (SIGTRAP | 0x80)) {
            signal = WSTOPSIG(run.status) == SIGTRAP ? 0 : WSTOPSIG(run.status); // SIGTRAP: of execv()
            continue;
        }
        if (!is_entry && failure != 0) {
            set_result(child, failure);
            failure = 0;
        }
        const bool was_entry = is_entry;
        is_entry = !is_entry;
        if (!was_entry) {
            continue;
        }
        const long id = call_of(child);
        is_armed = is_armed || id == SYS_flock;
        if (!is_armed) {
            continue;
        }
        const Intervention done = at_call({++run.calls, id, child});
        if (done.kind == Intervention::KILL) {
            kill(child, SIGKILL);
            waitpid(child, &run.status, 0);
            break;
        } else if (done.kind == Intervention::SIGNAL) {
            kill(child, done.value);
        } else if (done.kind == Intervention::FAIL) {
            failure = done.value;
            skip_call(child);
        }
    }
    return run;
}

} // namespace

TracedRun run_traced(const std::vector<std::string> &arguments,
                     const std::function<Intervention(const SystemCall &)> &at_call)
{
    const pid_t child = fork();
    if (child == 0) {
        exec_traced(arguments);
    }
    return trace(child, false, at_call);
}

TracedRun run_traced(const std::function<void()> &call, const std::function<Intervention(const SystemCall &)> &at_call)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        call();
        _exit(0);
    }
    const TracedRun run = trace(child, true, at_call);
    while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) { // for shell commands that outlive a killed process
    }
    return run;
}
