#include "safety/journal.h"

#include "profile/failure.h"
#include "profile/repository.h"
#include "safety/durable.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr char OPEN[] = ".swprofile-undo";
constexpr char NEW[] = ".swprofile-undo.new";
constexpr char ENDED[] = ".swprofile-undo.ended";
constexpr char LIST[] = "journal";
constexpr char FIRST_LINE[] = "swprofile undo journal 1";

constexpr char RESTORE[] = "restore";
constexpr char REMOVE[] = "remove";
constexpr char REMOVE_DIRECTORY[] = "remove-directory";

// The directories above a file that do not exist, the deepest first.
std::vector<fs::path> missing_directories(const fs::path &file)
{
    std::vector<fs::path> missing;
    for (fs::path directory = file.parent_path(); !name_exists(directory); directory = directory.parent_path()) {
        missing.push_back(directory);
    }
    return missing;
}

void remove_file(const fs::path &file)
{
    if (unlink(file.c_str()) != 0 && errno != ENOENT) {
        throw Failure(FAILED, "cannot remove " + file.string(), {std::strerror(errno)});
    }
}

} // namespace

Journal::Journal(const fs::path &directory) : scope(directory) {}

bool Journal::is_open() const
{
    return name_exists(scope / OPEN);
}

bool Journal::exists() const
{
    return is_open() || name_exists(scope / NEW) || name_exists(scope / ENDED);
}

void Journal::open(const std::vector<fs::path> &files)
{
    if (is_open()) {
        return; // another store of the same change
    }
    recover();
    std::vector<Entry> entries;
    std::vector<Entry> directories;
    for (const fs::path &file : files) {
        if (name_exists(file)) {
            entries.push_back({RESTORE, file, std::to_string(entries.size())});
            continue;
        }
        entries.push_back({REMOVE, file, {}});
        for (const fs::path &directory : missing_directories(file)) {
            if (std::ranges::find(directories, directory, &Entry::path) == directories.end()) {
                directories.push_back({REMOVE_DIRECTORY, directory, {}});
            }
        }
    }
    entries.insert(entries.end(), directories.begin(), directories.end());
    try {
        write(entries);
    } catch (const Failure &) {
        std::error_code ignored;
        fs::remove_all(scope / NEW, ignored);
        throw;
    }
}

void Journal::write(const std::vector<Entry> &entries) const
{
    const fs::path directory = scope / NEW;
    make_directory(directory);
    std::string list = std::string(FIRST_LINE) + "\n";
    for (const Entry &entry : entries) {
        list += entry.action + " " + (entry.copy.empty() ? "" : entry.copy.string() + " ") + entry.path.string() + "\n";
        if (!entry.copy.empty()) {
            copy_durably(entry.path, directory / entry.copy);
        }
    }
    write_durably(directory / LIST, list);
    sync_directory(directory);
    move_durably(directory, scope / OPEN);
}

std::vector<Journal::Entry> Journal::read() const
{
    std::istringstream list(content_of(scope / OPEN / LIST));
    std::string line;
    std::vector<Entry> entries;
    bool is_valid = std::getline(list, line) && line == FIRST_LINE;
    while (is_valid && std::getline(list, line)) {
        std::istringstream words(line);
        Entry entry;
        std::string copy;
        is_valid = static_cast<bool>(words >> entry.action);
        if (entry.action == RESTORE) {
            words >> copy;
            entry.copy = scope / OPEN / copy;
        }
        std::string path;
        is_valid = is_valid && std::getline(words >> std::ws, path) && path.starts_with('/');
        entry.path = path;
        entries.push_back(entry);
    }
    if (!is_valid) {
        throw Failure(FAILED, "the undo journal cannot be used: " + (scope / OPEN).string(),
                      {"its list of files is damaged; put the saved files back by hand and remove the directory"});
    }
    return entries;
}

uint64_t Journal::space_for(const std::vector<fs::path> &files, uint64_t block_size)
{
    uint64_t blocks = 3; // the directory, the list, and a block of the scope's directory
    for (const fs::path &file : files) {
        blocks += (size_of(file) + block_size - 1) / block_size;
    }
    return blocks * block_size;
}

void Journal::put_back(const fs::path &file)
{
    for (const Entry &entry : read()) {
        if (entry.path == file && name_exists(entry.copy)) {
            move_durably(entry.copy, file);
        }
    }
}

void Journal::keep()
{
    std::error_code ignored;
    fs::remove_all(scope / ENDED, ignored);
    rename_file(scope / OPEN, scope / ENDED);
    try {
        sync_directory(scope);
    } catch (const Failure &) { // a crash might bring the open journal back
        rename_file(scope / ENDED, scope / OPEN);
        throw;
    }
    fs::remove_all(scope / ENDED, ignored);
}

void Journal::undo()
{
    for (const Entry &entry : read()) {
        if (entry.action == REMOVE) {
            remove_file(entry.path);
        } else if (entry.action == REMOVE_DIRECTORY) {
            static_cast<void>(rmdir(entry.path.c_str())); // somebody else's files may be there by now
        } else if (name_exists(entry.copy)) {             // otherwise it has been put back already
            std::error_code ignored;
            fs::create_directories(entry.path.parent_path(), ignored);
            move_durably(entry.copy, entry.path);
        }
    }
    keep(); // what is there now
}

void Journal::recover()
{
    if (is_open()) {
        undo();
        note("undid a change that was interrupted, in " + scope.string());
    }
    std::error_code ignored;
    fs::remove_all(scope / NEW, ignored);
    fs::remove_all(scope / ENDED, ignored);
}
