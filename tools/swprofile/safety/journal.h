// The undo journal of a change: copies of the files at stake, from which they are put back if the change does not
// succeed. docs/operations.md describes its form.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

class Journal
{
public:
    // The journal of the scope with this directory, which must be locked exclusively for everything that changes files.
    explicit Journal(const std::filesystem::path &scope);

    // Is there a change that has begun and not ended?
    bool is_open() const;

    // Is there anything of a journal? If no change is going on, a process that was killed has left it.
    bool exists() const;

    // Saves the files that exist and notes those that do not, durably. From then on, the journal is open.
    void open(const std::vector<std::filesystem::path> &files);

    // Notes the checksum of a profile that the change is about to write.
    void expect(const std::string &checksum) const;

    // The bytes that open() takes on the file system.
    static uint64_t space_for(const std::vector<std::filesystem::path> &files, uint64_t block_size);

    // Puts one of the files back as it was, before the change ends.
    void put_back(const std::filesystem::path &file) const;

    // Ends the change: keeps the files as they are, or puts all back as they were.
    void keep() const;
    void undo() const;

    // Undoes a change that a process left open when it was killed, unless somebody else has stored profiles since, and
    // removes what others left behind.
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
