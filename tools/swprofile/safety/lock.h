// Locks that serialize changes of profiles: flocks on directories, which end with the process and its shell
// commands.
#pragma once

#include "profile/selector.h"
#include "safety/durable.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <vector>

// A process that waits for a directory first locks the parent directory, the queue. UNQUEUED is an exclusive lock
// without the queue, for the work area. Its queue would be /install_repo, the same as for the local scope. That could
// deadlock: one process holds the local scope and waits for the queue, another holds the queue and waits for the local
// scope.
enum class LockMode { SHARED, EXCLUSIVE, UNQUEUED };

// "/install_repo/local" or "/install_repo/gl/instdb".
std::filesystem::path scope_directory(bool is_local);

// Waits for the lock; --wait limits the waits for all locks together. If the directory is missing or may not be opened,
// a shared lock locks nothing.
class DirectoryLock
{
public:
    DirectoryLock(const std::filesystem::path &directory, LockMode mode);

private:
    Descriptor locked;
};

// Locks scopes for reading. First undoes an interrupted change, if permissions allow it.
class ReadLock
{
public:
    explicit ReadLock(bool is_local);
    ReadLock(); // both scopes

private:
    std::vector<std::unique_ptr<DirectoryLock>> locks;
};

// Fetches a profile under a lock. The lock ends before the profile is printed: output may wait for a pager.
Profile fetch_locked(const Selector &selector);

// Adds --wait and --no-wait.
void add_wait_options(CLI::App &command);
