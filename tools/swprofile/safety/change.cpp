#include "safety/change.h"

#include "profile/findings.h"
#include "profile/repository.h"
#include "safety/durable.h"
#include "safety/interruption.h"

#include <algorithm>
#include <set>
#include <sys/statvfs.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace
{

constexpr std::size_t TWIN_HEADER_SIZE = 256; // at most: title, time, and the name of the program

Change *current_change = nullptr;

bool is_below(const fs::path &file, const fs::path &directory)
{
    return file.lexically_normal().string().starts_with(directory.string() + "/");
}

// The bytes by which the files grow when this record is stored: .bin, twin, and their flat copies.
uint64_t growth_of(const std::vector<fs::path> &files, const inst_sw_profile_sdr_ext &record)
{
    const uint64_t sizes[] = {zeld_inst_sw_profile_sdr_ext_encode_ext(&record, nullptr, 0, 0, 0, 0),
                              rendered_text(record).size() + TWIN_HEADER_SIZE};
    uint64_t growth = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const uint64_t size = sizes[i % 2];
        growth += size - std::min(size, size_of(files[i]));
    }
    return growth;
}

} // namespace

Change *Change::current()
{
    return current_change;
}

Change::Change(const Selector &selector, bool is_dry, bool includes_local) : dry_run(is_dry)
{
    if (!dry_run) {
        catch_signals();
    }
    if (!selector.is_local) {
        add_scope(false);
    }
    if (selector.is_local || includes_local) {
        add_scope(true);
    }
    current_change = this;
}

Change::~Change()
{
    current_change = nullptr;
    if (!unpack_directory.empty()) {
        std::error_code ignored;
        fs::remove_all(unpack_directory, ignored);
    }
}

void Change::add_scope(bool is_local)
{
    if (dry_run) {
        read_locks.emplace_back(is_local);
        return;
    }
    const fs::path directory = scope_directory(is_local);
    scopes.emplace_back(new Scope{directory, {is_local, LockMode::EXCLUSIVE}, Journal(directory)});
    scopes.back()->journal.recover();
}

void Change::run(const std::string &what, const std::vector<Selector> &changed, const Operation &operation)
{
    try {
        ErrorText error;
        const uint64_t rc = operation(error);
        if (rejection) {
            throw *rejection;
        }
        fail_if_interrupted();
        if (rc != 0) {
            throw failure_of(rc, "cannot " + what, error);
        }
        if (!dry_run) {
            finish(changed);
        }
    } catch (Failure &failure) {
        undo(failure);
        throw;
    }
}

void Change::prepare(const std::vector<fs::path> &files, uint64_t growth)
{
    for (const std::unique_ptr<Scope> &scope : scopes) {
        std::vector<fs::path> own;
        std::copy_if(files.begin(), files.end(), std::back_inserter(own),
                     [&](const fs::path &file) { return is_below(file, scope->directory); });
        check_space(*scope, own, growth);
        scope->journal.open(own);
    }
}

void Change::check_space(const Scope &scope, const std::vector<fs::path> &files, uint64_t growth) const
{
    struct statvfs system = {};
    if (statvfs(scope.directory.c_str(), &system) != 0) {
        return; // the writes will tell
    }
    const uint64_t block = system.f_frsize;
    const uint64_t available = block * (geteuid() == 0 ? system.f_bfree : system.f_bavail);
    const uint64_t copies = scope.journal.is_open() ? 0 : Journal::space_for(files, block);
    const uint64_t needed = copies + (growth + files.size() * (block - 1)) / block * block;
    if (needed > available) {
        throw Failure(FAILED, "not enough space on the file system of " + scope.directory.string(),
                      {std::to_string(needed - available) + " more bytes are needed"},
                      "df " + scope.directory.string());
    }
}

void Change::put_back(const fs::path &file)
{
    for (const std::unique_ptr<Scope> &scope : scopes) {
        if (is_below(file, scope->directory)) {
            scope->journal.put_back(file);
        }
    }
}

uint64_t Change::prepare_store(const Selector &stored, inst_sw_profile_sdr_ext &record)
{
    try {
        fail_if_interrupted();
        if (looks) {
            looks(record);
        }
        if (!dry_run) {
            const std::vector<fs::path> files = stored.files();
            prepare(files, growth_of(files, record));
        }
        return 0;
    } catch (const Failure &failure) { // the library is no place for exceptions
        rejection = failure;
        return INST_RC_FAILED;
    }
}

void Change::finish(const std::vector<Selector> &changed)
{
    std::set<fs::path> directories;
    for (const Selector &selector : changed) {
        for (const Finding &finding : inspect(selector).findings) {
            if (is_about_files(finding)) {
                throw Failure(FAILED, "cannot store the " + selector.describe(), {text_of(finding)});
            }
        }
        for (const fs::path &file : selector.files()) {
            if (name_exists(file)) {
                sync_file(file);
            }
            if (name_exists(file.parent_path())) {
                directories.insert(file.parent_path());
            }
        }
    }
    std::for_each(directories.begin(), directories.end(), sync_directory);
    fail_if_interrupted();
    // The scope of the profile comes last: until it ends, the change is undone.
    std::for_each(scopes.rbegin(), scopes.rend(), [](const std::unique_ptr<Scope> &scope) {
        if (scope->journal.is_open()) {
            scope->journal.keep();
        }
    });
}

void Change::undo(Failure &failure)
{
    if (dry_run) {
        return;
    }
    try {
        for (const std::unique_ptr<Scope> &scope : scopes) {
            if (scope->journal.is_open()) {
                scope->journal.undo();
            }
        }
        failure.details.emplace_back("nothing was changed");
    } catch (const Failure &second) {
        failure.details.emplace_back(second.what());
        failure.details.insert(failure.details.end(), second.details.begin(), second.details.end());
        failure.details.emplace_back("the change is half done; the next swprofile undoes it");
    }
}

void add_change_options(CLI::App &command, bool &is_dry_run)
{
    command.add_flag("--dry-run", is_dry_run, "only report what would change");
    add_wait_options(command);
}
