#include "safety/lock.h"

#include "safety/interruption.h"
#include "safety/journal.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <sys/file.h>
#include <thread>

namespace fs = std::filesystem;

namespace
{

using Seconds = std::chrono::duration<double>;

std::optional<Seconds> longest_wait; // of the command, for all locks together

Seconds waited(0); // so far

bool try_lock(int fd, int operation, const fs::path &directory)
{
    if (flock(fd, operation | LOCK_NB) == 0) {
        return true;
    }
    if (errno != EWOULDBLOCK && errno != EINTR) {
        throw Failure(FAILED, "cannot lock " + directory.string(), {std::strerror(errno)});
    }
    return false;
}

// Polls, to notice signals and the end of the waiting time.
void wait_until(const std::function<bool()> &is_locked, const fs::path &directory)
{
    static bool is_reported = false;
    const std::string holder = "another process that uses " + directory.string();
    while (!is_locked()) {
        fail_if_interrupted();
        if (longest_wait && waited >= *longest_wait) {
            throw Failure(FAILED, "not waiting any longer for " + holder, {}, "fuser -v " + directory.string());
        }
        if (!is_reported && waited >= Seconds(0.5)) {
            note("waiting for " + holder);
            is_reported = true;
        }
        constexpr std::chrono::milliseconds PERIOD(5);
        std::this_thread::sleep_for(PERIOD);
        waited += PERIOD;
    }
}

std::string seconds_fault(const std::string &text)
{
    char *end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    const bool is_valid = !text.empty() && *end == '\0' && std::isfinite(seconds) && seconds >= 0;
    return is_valid ? "" : "must be a number of seconds, 0 or more";
}

} // namespace

fs::path scope_directory(bool is_local)
{
    return fs::path(is_local ? VERD_LOCAL_DIRECTORY : VERD_GLOBAL_DIRECTORY).parent_path();
}

// Not closed on exec: the shell commands of a change that was killed hold the lock until they end, so that the next
// change does not begin while they still move files.
DirectoryLock::DirectoryLock(const fs::path &directory, LockMode mode)
    : locked(open(directory.c_str(), O_RDONLY | O_DIRECTORY))
{
    const int err = errno;
    if (locked.fd < 0 && mode == LockMode::SHARED && (err == ENOENT || err == EACCES)) {
        return;
    }
    if (locked.fd < 0) {
        throw Failure(FAILED, "cannot open " + directory.string(), {std::strerror(err)});
    }
    // The parent directory's lock is the queue: only its holder waits for the directory, so that a series of readers
    // cannot keep a writer waiting.
    const Descriptor queue(open(directory.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // The holder of the queue may have been stopped (SIGSTOP), so after ten seconds in the queue a process also tries
    // to lock the directory directly.
    const auto lock = [&] { return try_lock(locked.fd, mode == LockMode::SHARED ? LOCK_SH : LOCK_EX, directory); };
    bool is_locked = false;
    if (queue.fd >= 0 && mode != LockMode::UNQUEUED && (!longest_wait || longest_wait->count() > 0)) {
        const Seconds end = waited + Seconds(10);
        const auto enter = [&] { return try_lock(queue.fd, LOCK_EX, directory); };
        wait_until([&] { return enter() || (waited > end && (is_locked = lock())); }, directory);
    }
    if (!is_locked) {
        wait_until(lock, directory);
    }
}

ReadLock::ReadLock(bool is_local)
{
    Journal journal(scope_directory(is_local));
    locks.push_back(std::make_unique<DirectoryLock>(scope_directory(is_local), LockMode::SHARED));
    for (bool can_undo = true; can_undo && journal.exists();) { // a killed process has left it
        locks.clear();
        try {
            const DirectoryLock exclusive(scope_directory(is_local), LockMode::EXCLUSIVE);
            journal.recover();
            can_undo = !journal.exists(); // what cannot be removed harms no reader
        } catch (const Failure &failure) {
            if (journal.is_open()) {
                note("a change that was interrupted is not undone yet: " + std::string(failure.what()) +
                     (failure.details.empty() ? "" : ": " + failure.details.front()));
            }
            can_undo = false;
        }
        locks.push_back(std::make_unique<DirectoryLock>(scope_directory(is_local), LockMode::SHARED));
    }
}

ReadLock::ReadLock() : ReadLock(false)
{
    ReadLock local(true);
    locks.push_back(std::move(local.locks.front()));
}

Profile fetch_locked(const Selector &selector)
{
    const ReadLock lock(selector.is_local);
    return selector.fetch();
}

void add_wait_options(CLI::App &command)
{
    CLI::Option *const wait = command
                                  .add_option_function<double>(
                                      "--wait", [](double seconds) { longest_wait = Seconds(seconds); },
                                      "seconds to wait for other processes; by default as long as it takes")
                                  ->check(seconds_fault)
                                  ->type_name("SECONDS");
    command
        .add_flag_callback(
            "--no-wait", [] { longest_wait = Seconds(0); }, "fail instead of waiting for other processes")
        ->excludes(wait);
}
