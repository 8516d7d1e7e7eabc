// A change of profiles that is done completely or not at all. Every subcommand that changes profiles uses one.
#pragma once

#include "profile/selector.h"
#include "safety/journal.h"
#include "safety/lock.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class Change
{
public:
    // Locks the scope of the profile, and undoes an interrupted change there. includes_local does the same
    // for the local scope: the deletion of a global profile also deletes flat copies there.
    Change(const Selector &selector, bool is_dry_run, bool includes_local = false);
    Change(const Change &) = delete;
    Change &operator=(const Change &) = delete;
    ~Change();

    // Calls `hook` with every record before it is stored. It may change the record, or throw a Failure to reject it.
    using StoreHook = std::function<void(inst_sw_profile_sdr_ext &)>;
    void before_each_store(const StoreHook &hook) { store_hook = hook; }

    // Runs an operation of the library, then checks that the files of the `changed` profiles agree and have the
    // expected content. If either fails, or a signal has arrived, all files are put back, and a Failure says so. `what`
    // completes "cannot ...".
    using Operation = std::function<uint64_t(ErrorText &)>;
    void run(const std::string &what, const std::vector<Selector> &changed, const Operation &operation);

    // Saves files that are about to change. Throws a Failure if there is no space for the copies and for `growth` more
    // bytes. Not needed for stores: prepare_store() calls it.
    void prepare(const std::vector<std::filesystem::path> &files, uint64_t growth);

    // After prepare(): sets the encoding that the profile's file must have in the end. Not needed for stores.
    void expect(const Selector &selector, const std::string &encoding);

    // The bytes by which the files of a profile, flat copies included, grow when a .bin file and a twin of these sizes
    // replace them. A file that shrinks counts as 0.
    static uint64_t growth(const Selector &target, uint64_t bin_size, uint64_t twin_size);

    // Puts back a file that prepare() has saved.
    void put_back(const std::filesystem::path &file);

    // Called before the library stores a record. The store may follow only if the result is 0 and this is no dry run.
    uint64_t prepare_store(const Selector &stored, inst_sw_profile_sdr_ext &record);

    bool is_dry_run() const { return dry_run; }

    // In a dry run, the directory in which bundles are unpacked instead of the work area; the destructor removes it.
    std::filesystem::path unpack_directory;

    static Change *current(); // null if there is none
    static bool is_any_done();

private:
    struct Scope {
        std::filesystem::path directory;
        DirectoryLock lock;
        Journal journal;
    };

    void add_scope(bool is_local);
    void check_space(const Scope &scope, const std::vector<std::filesystem::path> &files, uint64_t growth) const;
    void check_result(const Selector &changed, const ErrorText &error) const;
    void finish(const std::vector<Selector> &changed, const ErrorText &error);
    void undo(Failure &failure);

    const bool dry_run;
    StoreHook store_hook;
    std::optional<Failure> rejection;
    std::map<std::filesystem::path, std::string> checksums; // the expected ones, by .bin file
    std::vector<std::unique_ptr<Scope>> scopes;             // the scope of the profile first; empty in a dry run
    std::vector<ReadLock> read_locks;                       // in a dry run only
};

// Adds --dry-run, --wait and --no-wait.
void add_change_options(CLI::App &command, bool &is_dry_run);
