#include "safety/lock.h"

#include "profile/failure.h"
#include "safety/interruption.h"
#include "safety/journal.h"

#include "verd_inst_ldpath.h"

#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

std::optional<Seconds> longest_wait;

// Polls, so that a signal and the end of the time are noticed.
void lock(int fd, LockMode mode, const fs::path &directory)
{
    constexpr Seconds SILENCE(0.5);
    const auto start = Clock::now();
    const int operation = (mode == LockMode::SHARED ? LOCK_SH : LOCK_EX) | LOCK_NB;
    for (bool is_reported = false; flock(fd, operation) != 0;) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            throw Failure(FAILED, "cannot lock " + directory.string(), {std::strerror(errno)});
        }
        fail_if_interrupted();
        const Seconds waited = Clock::now() - start;
        if (longest_wait && waited >= *longest_wait) {
            throw Failure(FAILED, "another swprofile is changing profiles in " + directory.string());
        }
        if (!is_reported && waited >= SILENCE) {
            note("waiting for another swprofile that is changing profiles in " + directory.string());
            is_reported = true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

} // namespace

fs::path scope_directory(bool is_local)
{
    return fs::path(is_local ? VERD_LOCAL_DIRECTORY : VERD_GLOBAL_DIRECTORY).parent_path();
}

ScopeLock::ScopeLock(bool is_local, LockMode mode)
{
    const fs::path directory = scope_directory(is_local);
    std::error_code error;
    if (mode == LockMode::EXCLUSIVE && !fs::create_directories(directory, error) && error) {
        throw Failure(FAILED, "cannot create " + directory.string(), {error.message()});
    }
    // Not closed on exec: the shell commands of a change that was killed hold the lock until they end, so that the next
    // change does not begin while they still move files.
    fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY);
    if (fd < 0) {
        if (mode == LockMode::SHARED && (errno == ENOENT || errno == EACCES)) {
            return;
        }
        throw Failure(FAILED, "cannot open " + directory.string(), {std::strerror(errno)});
    }
    try {
        lock(fd, mode, directory);
    } catch (...) {
        close(fd);
        throw;
    }
}

ScopeLock::~ScopeLock()
{
    if (fd >= 0) {
        close(fd);
    }
}

ReadLock::ReadLock(bool is_local)
{
    locks.push_back(std::make_unique<ScopeLock>(is_local, LockMode::SHARED));
    if (Journal(scope_directory(is_local)).exists()) { // of a process that was killed, since it has no lock
        locks.clear();
        try {
            const ScopeLock exclusive(is_local, LockMode::EXCLUSIVE);
            Journal(scope_directory(is_local)).recover();
        } catch (const Failure &failure) {
            note("a change that was interrupted is not undone yet: " + std::string(failure.what()));
        }
        locks.push_back(std::make_unique<ScopeLock>(is_local, LockMode::SHARED));
    }
}

ReadLock::ReadLock() : ReadLock(false)
{
    ReadLock local(true);
    locks.push_back(std::move(local.locks.front()));
}

void add_wait_options(CLI::App &command)
{
    CLI::Option *const wait = command
                                  .add_option_function<double>(
                                      "--wait", [](double seconds) { longest_wait = Seconds(seconds); },
                                      "seconds to wait for another swprofile; by default as long as it takes")
                                  ->check(CLI::NonNegativeNumber)
                                  ->type_name("SECONDS");
    command
        .add_flag_callback(
            "--no-wait", [] { longest_wait = Seconds(0); }, "fail if another swprofile is changing profiles")
        ->excludes(wait);
}
