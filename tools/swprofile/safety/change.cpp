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
bool any_done = false;

bool is_below(const fs::path &file, const fs::path &directory)
{
    return file.lexically_normal().string().starts_with(directory.string() + "/");
}

std::string encoding_of(const inst_sw_profile_sdr_ext &record)
{
    std::string bytes(zeld_inst_sw_profile_sdr_ext_encode_ext(&record, nullptr, 0, 0, 0, 0), '\0');
    zeld_inst_sw_profile_sdr_ext_encode_ext(&record, bytes.data(), static_cast<uint32_t>(bytes.size()), 0, 0, 0);
    return bytes;
}

} // namespace

Change *Change::current()
{
    return current_change;
}

bool Change::is_any_done()
{
    return any_done;
}

Change::Change(const Selector &selector, bool is_dry, bool includes_local) : dry_run(is_dry)
{
    catch_signals();
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
    std::error_code error;
    if (!fs::create_directories(directory, error) && error) {
        throw Failure(FAILED, "cannot create " + directory.string(), {error.message()});
    }
    if (!scopes.empty() && fs::equivalent(scopes.front()->directory, directory, error)) {
        throw Failure(FAILED, "the local and the global profiles are in one directory",
                      {scopes.front()->directory.string() + " is " + directory.string()});
    }
    scopes.emplace_back(new Scope{directory, {directory, LockMode::EXCLUSIVE}, Journal(directory)});
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
            finish(changed, error);
        }
    } catch (Failure &failure) {
        undo(failure);
        throw;
    } catch (const std::exception &error) {
        Failure failure(FAILED, "cannot " + what, {error.what()});
        undo(failure);
        throw failure;
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
        return; // a full disk then shows as a failed write
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

void Change::expect(const Selector &selector, const std::string &encoding)
{
    const std::string checksum = checksum_of(encoding);
    checksums[selector.files().front()] = checksum;
    scopes.front()->journal.expect(checksum);
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
        if (store_hook) {
            store_hook(record);
        }
        if (!dry_run) {
            const std::string encoding = encoding_of(record);
            prepare(stored.files(), growth(stored, encoding.size(), rendered_text(record).size() + TWIN_HEADER_SIZE));
            expect(stored, encoding);
        }
        return 0;
    } catch (const Failure &failure) { // the library is compiled without exceptions
        rejection = failure;
    } catch (const std::exception &error) {
        rejection = Failure(FAILED, "cannot store the " + stored.describe(), {error.what()});
    }
    return INST_RC_FAILED;
}

uint64_t Change::growth(const Selector &target, uint64_t bin_size, uint64_t twin_size)
{
    uint64_t sum = 0;
    bool is_bin = true;
    for (const fs::path &file : target.files()) { // both files, then both flat copies
        const uint64_t size = is_bin ? bin_size : twin_size;
        sum += size - std::min(size, size_of(file));
        is_bin = !is_bin;
    }
    return sum;
}

void Change::check_result(const Selector &changed, const ErrorText &error) const
{
    std::vector<std::string> details = error.entries();
    const fs::path bin = changed.files().front();
    const auto expected = checksums.find(bin);
    if (expected != checksums.end() && checksum_of(content_of(bin)) != expected->second) {
        details.push_back("does not have the new content: " + bin.string());
        throw Failure(FAILED, "cannot store the " + changed.describe(), details);
    }
    for (const Finding &finding : inspect(changed).findings) {
        if (is_about_files(finding)) {
            details.push_back(text_of(finding));
            throw Failure(FAILED, "cannot store the " + changed.describe(), details);
        }
    }
}

void Change::finish(const std::vector<Selector> &changed, const ErrorText &error)
{
    std::set<fs::path> directories;
    for (const Selector &selector : changed) {
        check_result(selector, error);
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
    // The journal of the profile's scope is closed last: until then, the next command undoes the change after a crash.
    // Deleting a global profile also opens a local journal, because the library also deletes the flat copies of the
    // local profile, which have the same names. They have been put back by now, so that journal can be closed first.
    std::for_each(scopes.rbegin(), scopes.rend(), [](const std::unique_ptr<Scope> &scope) {
        if (scope->journal.is_open()) {
            scope->journal.close();
        }
    });
    any_done = true;
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
        failure.details.emplace_back("no profile was changed");
    } catch (const Failure &second) {
        failure.details.emplace_back(second.what());
        failure.details.insert(failure.details.end(), second.details.begin(), second.details.end());
        failure.details.emplace_back("not all files could be put back; the next swprofile tries again");
    }
}

void add_change_options(CLI::App &command, bool &is_dry_run)
{
    command.add_flag("--dry-run", is_dry_run, "only report what would change");
    add_wait_options(command);
}
