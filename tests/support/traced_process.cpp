#include "support/traced_process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
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

user_regs_struct registers_of(pid_t child)
{
    user_regs_struct registers;
    ptrace(PTRACE_GETREGS, child, nullptr, &registers);
    return registers;
}

TracedRun trace(pid_t child, bool is_counting, const AtCall &at_call)
{
    TracedRun run = {};
    waitpid(child, &run.status, 0);
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    bool is_entry = false, is_replaced = false;
    int error = 0;
    for (; WIFSTOPPED(run.status); waitpid(child, &run.status, 0)) {
        const int stop = WSTOPSIG(run.status);
        if (stop == (SIGTRAP | 0x80)) {
            user_regs_struct registers = registers_of(child);
            is_entry = !is_entry;
            is_counting = is_counting || registers.orig_rax == SYS_flock;
            if (is_entry && is_counting) {
                const SystemCall call = {++run.calls, static_cast<long>(registers.orig_rax), child};
                const Intervention done = at_call ? at_call(call) : Intervention();
                kill(child, done.signal);
                error = done.error;
                is_replaced = error != 0 || (call.id == SYS_clock_nanosleep && done.signal == 0);
            }
            if (is_replaced) { // at the entry by call -1, which does nothing; at the exit, the result is set
                (is_entry ? registers.orig_rax : registers.rax) = static_cast<uint64_t>(is_entry ? -1 : -error);
                ptrace(PTRACE_SETREGS, child, nullptr, &registers);
            }
        }
        // The signal of a stop at a system call, exec or raise() is for the tracer only; any other one is passed on.
        const bool is_own = (stop & 0x7f) == SIGTRAP || stop == SIGSTOP;
        ptrace(PTRACE_SYSCALL, child, nullptr, static_cast<long>(is_own ? 0 : stop));
    }
    return run;
}

TracedRun fork_traced(const std::function<uint64_t()> &function, bool is_counting, const AtCall &at_call)
{
    const pid_t child = fork();
    if (child == 0) {
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        raise(SIGSTOP);
        _exit(function() == 0 ? 0 : 1);
    }
    return trace(child, is_counting, at_call);
}

} // namespace

std::string SystemCall::path() const
{
    const user_regs_struct registers = registers_of(process);
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

TracedRun run_traced(const std::string &command, const AtCall &at_call)
{
    const std::string script = "exec " + command + " >/tmp/out 2>/tmp/err";
    const auto exec = [&] {
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1); // LeakSanitizer cannot work in a traced process, and would fail it
        return static_cast<uint64_t>(execl("/bin/sh", "sh", "-c", script.c_str(), nullptr));
    };
    return fork_traced(exec, false, at_call);
}

TracedRun call_traced(const std::function<uint64_t()> &function, const AtCall &at_call)
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    const TracedRun run = fork_traced(function, true, at_call);
    while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) { // for shell commands that outlive a killed process
    }
    return run;
}
