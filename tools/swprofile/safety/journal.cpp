#include "safety/journal.h"

#include "profile/repository.h"
#include "safety/durable.h"

#include <algorithm>
#include <cstdlib>
#include <set>
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
constexpr char LAST_LINE[] = "end";
constexpr char EXPECTED[] = "expected.";

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

// Unlike name_exists(), throws if the file cannot be examined, so that a saved copy that exists never counts as
// missing.
bool exists_or_throw(const fs::path &file)
{
    std::error_code error;
    const fs::file_status status = fs::symlink_status(file, error);
    if (status.type() == fs::file_type::none) {
        throw Failure(FAILED, "cannot examine " + file.string(), {error.message()});
    }
    return fs::exists(status);
}

bool is_decodable(const std::string &encoding)
{
    inst_sw_profile_sdr_ext record = {};
    const int32_t status = zeld_inst_sw_profile_sdr_ext_decode_ext(
        &record, encoding.data(), static_cast<uint32_t>(encoding.size()), std::malloc, 0);
    zeld_inst_sw_profile_sdr_ext_free_ext(&record, std::free);
    return status == 0;
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
        return; // a second store of this change, of the same files
    }
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
    write_durably(directory / LIST, list + LAST_LINE + "\n");
    sync_directory(directory);
    move_durably(directory, scope / OPEN);
}

std::vector<Journal::Entry> Journal::read() const
{
    std::istringstream list(read_file(scope / OPEN / LIST));
    std::string line;
    std::vector<Entry> entries;
    bool is_valid = std::getline(list, line) && line == FIRST_LINE;
    while (is_valid && std::getline(list, line) && line != LAST_LINE) {
        std::istringstream words(line);
        Entry entry;
        std::string copy;
        words >> entry.action;
        if (entry.action == RESTORE) {
            words >> copy;
            entry.copy = scope / OPEN / copy;
        }
        std::string path;
        is_valid = std::getline(words >> std::ws, path) && path.starts_with('/') &&
                   (entry.action == RESTORE || entry.action == REMOVE || entry.action == REMOVE_DIRECTORY);
        entry.path = path;
        entries.push_back(entry);
    }
    if (!is_valid || line != LAST_LINE) {
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

void Journal::expect(const std::string &checksum) const
{
    int number = 0;
    while (exists_or_throw(scope / OPEN / (EXPECTED + std::to_string(number)))) {
        ++number;
    }
    write_durably(scope / OPEN / (EXPECTED + std::to_string(number)), checksum);
    sync_directory(scope / OPEN);
}

void Journal::put_back(const fs::path &file) const
{
    for (const Entry &entry : read()) {
        if (entry.path == file && entry.action == RESTORE && exists_or_throw(entry.copy)) {
            move_durably(entry.copy, file);
        }
    }
}

void Journal::close() const
{
    std::error_code ignored;
    fs::remove_all(scope / ENDED, ignored);
    rename_file(scope / OPEN, scope / ENDED);
    try {
        sync_directory(scope);
    } catch (const Failure &) { // the rename can be lost in a crash, so the change is not complete
        rename_file(scope / ENDED, scope / OPEN);
        throw;
    }
    fs::remove_all(scope / ENDED, ignored);
}

void Journal::undo() const
{
    for (const Entry &entry : read()) {
        if (entry.action == REMOVE) {
            remove_durably(entry.path);
        } else if (entry.action == REMOVE_DIRECTORY) {
            static_cast<void>(rmdir(entry.path.c_str())); // it may contain another program's files by now
        } else if (exists_or_throw(entry.copy)) {
            std::error_code ignored;
            fs::create_directories(entry.path.parent_path(), ignored);
            move_durably(entry.copy, entry.path);
        } else if (!exists_or_throw(entry.path)) { // otherwise it has been put back already
            throw Failure(FAILED, "cannot put back " + entry.path.string(),
                          {"its saved copy is missing: " + entry.copy.string()});
        }
    }
    close();
}

// A complete profile that is neither a saved one nor an expected one was stored by another program.
bool Journal::has_foreign_profile() const
{
    std::set<std::string> known;
    const std::vector<Entry> entries = read();
    for (const Entry &entry : entries) {
        if (entry.action == RESTORE && exists_or_throw(entry.copy)) {
            known.insert(checksum_of(read_file(entry.copy)));
        }
    }
    for (int i = 0; exists_or_throw(scope / OPEN / (EXPECTED + std::to_string(i))); ++i) {
        known.insert(read_file(scope / OPEN / (EXPECTED + std::to_string(i))));
    }
    return std::ranges::any_of(entries, [&](const Entry &entry) {
        // If the copy has been put back already, the file is the saved one.
        std::error_code ignored;
        const bool can_be = entry.path.extension() == ".bin" && fs::is_regular_file(entry.path, ignored) &&
                            (entry.action == REMOVE || (entry.action == RESTORE && exists_or_throw(entry.copy)));
        const std::string content = can_be ? read_file(entry.path) : "";
        return can_be && is_decodable(content) && !known.contains(checksum_of(content));
    });
}

void Journal::recover() const
{
    if (is_open() && has_foreign_profile()) {
        close();
        note("a change in " + scope.string() +
             " was interrupted; another program has stored profiles since, so it is not undone");
    } else if (is_open()) {
        undo();
        note("undid a change that was interrupted, in " + scope.string());
    }
    std::error_code ignored;
    fs::remove_all(scope / NEW, ignored);
    fs::remove_all(scope / ENDED, ignored);
}

std::string checksum_of(const std::string &encoding)
{
    return encoding.substr(encoding.size() - std::min<std::size_t>(encoding.size(), 16));
}
