// File operations. The durable ones have reached the disk when they return; the caller of copy_durably() and
// write_durably() syncs the directory. Failures name the file and the cause.
#pragma once

#include <filesystem>
#include <string>
#include <unistd.h>

// An open file or directory.
struct Descriptor {
    explicit Descriptor(int opened) : fd(opened) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (fd >= 0) {
            close(fd);
        }
    }

    const int fd; // negative if it could not be opened
};

void make_directory(const std::filesystem::path &directory); // only its owner may enter it

std::string read_file(const std::filesystem::path &file);

// Copies content, owner, mode and times of a regular file within a file system; the target must not exist.
void copy_durably(const std::filesystem::path &from, const std::filesystem::path &to);
void write_durably(const std::filesystem::path &file, const std::string &content);

void remove_durably(const std::filesystem::path &file);                               // if it exists
void rename_file(const std::filesystem::path &from, const std::filesystem::path &to); // without syncing

// Renames, and syncs both directories.
void move_durably(const std::filesystem::path &from, const std::filesystem::path &to);

void sync_file(const std::filesystem::path &file);
void sync_directory(const std::filesystem::path &directory);
