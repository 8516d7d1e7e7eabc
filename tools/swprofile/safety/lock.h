// Locks that keep changes of profiles apart. They are flocks on directories, which vanish with the process.
#pragma once

#include "profile/selector.h"
#include "safety/durable.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <vector>

enum class LockMode { SHARED, EXCLUSIVE };

// "/install_repo/local" or "/install_repo/gl/instdb".
std::filesystem::path scope_directory(bool is_local);

// Waits for the lock, up to the time that the options give. If the directory is missing, a shared lock locks nothing.
class DirectoryLock
{
public:
    DirectoryLock(const std::filesystem::path &directory, LockMode mode);

private:
    Descriptor locked;
};

// Holds scopes while profiles are read. A change that was interrupted is undone before, if this process may do so.
class ReadLock
{
public:
    explicit ReadLock(bool is_local);
    ReadLock(); // both scopes

private:
    std::vector<std::unique_ptr<DirectoryLock>> locks;
};

// Fetches a profile under a lock that has ended before the profile is printed, which may wait for a pager.
Profile fetch_locked(const Selector &selector);

// Adds --wait and --no-wait.
void add_wait_options(CLI::App &command);
