// Locks that keep changes of profiles apart. They are flocks on the directory of a scope, which vanish with the
// process.
#pragma once

#include <CLI/CLI.hpp>

#include <filesystem>
#include <vector>

enum class LockMode { SHARED, EXCLUSIVE };

// "/install_repo/local" or "/install_repo/gl/instdb".
std::filesystem::path scope_directory(bool is_local);

class ScopeLock
{
public:
    // Waits for the lock, up to the time that the options give. A missing directory is created for an exclusive lock;
    // for a shared one there is nothing to lock.
    ScopeLock(bool is_local, LockMode mode);
    ScopeLock(const ScopeLock &) = delete;
    ScopeLock &operator=(const ScopeLock &) = delete;
    ~ScopeLock();

private:
    int fd = -1;
};

// Holds scopes while profiles are read. A change that was interrupted is undone before, if this process may do so.
class ReadLock
{
public:
    explicit ReadLock(bool is_local);
    ReadLock(); // both scopes

private:
    std::vector<std::unique_ptr<ScopeLock>> locks;
};

// Adds --wait and --no-wait.
void add_wait_options(CLI::App &command);
