// The undo journal of a change: copies of the affected files, from which they are put back if the change fails.
// docs/operations.md describes how it is used, swprofile-repository(5) its files.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

class Journal
{
public:
    // The journal of the scope with this directory. The caller must hold its exclusive lock to call a function that
    // changes files.
    explicit Journal(const std::filesystem::path &scope);

    // Is there an unfinished change?
    bool is_open() const;

    // Does any directory of a journal exist? Unless a change is running, a killed process has left it.
    bool exists() const;

    // Saves the files that exist and notes those that do not, durably. From then on, the journal is open.
    void open(const std::vector<std::filesystem::path> &files);

    // Notes the checksum of a profile that the change is about to write.
    void expect(const std::string &checksum) const;

    // The bytes that open() takes on the file system.
    static uint64_t space_for(const std::vector<std::filesystem::path> &files, uint64_t block_size);

    // Puts one of the files back.
    void put_back(const std::filesystem::path &file) const;

    // Ends the change: close() keeps the files as they are, undo() puts all back.
    void close() const;
    void undo() const;

    // Undoes the unfinished change of a killed process. If another program has stored profiles since, only ends the
    // journal. Removes journal directories that were never completed (.new) or whose change has ended (.ended).
    void recover() const;

private:
    struct Entry {
        std::string action; // "restore", "remove" or "remove-directory"
        std::filesystem::path path;
        std::filesystem::path copy; // for "restore"
    };

    void write(const std::vector<Entry> &entries) const;
    std::vector<Entry> read() const;
    bool has_foreign_profile() const;

    std::filesystem::path scope;
};

// The checksum of an encoded profile: its last 16 bytes.
std::string checksum_of(const std::string &encoding);
