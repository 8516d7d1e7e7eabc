// Code shared by the subcommands that edit a stored profile.
#pragma once

#include "profile/difference.h"
#include "profile/options.h"
#include "safety/change.h"
#include "json/read_json.h"

#include <functional>
#include <string>

struct EditOptions {
    Selector selector;
    bool is_new_format = false; // the new package rules
    bool is_dry_run = false;
    bool ignores_missing = false; // succeeds if nothing changes
    std::optional<std::string> service_pack_file;
};

// Adds the selecting options, --dry-run and those about waiting.
void add_edit_options(CLI::App &command, EditOptions &options);

// --service-packs requires --new-format: under the old package rules no package is a member of a service pack.
void add_rule_options(CLI::App &command, EditOptions &options, const std::string &service_packs_help);

void add_ignore_missing_option(CLI::App &command, EditOptions &options);

// An edit of a stored profile. `what` completes "cannot ... the active QX profile".
struct Edit {
    const EditOptions &options;
    std::string what;

    // Calls the library with the service packs of the file; null without a file.
    std::function<uint64_t(serv_packs *, ErrorText &)> operation;

    // Called before the operation and before each store. Both may throw a Failure.
    std::function<void(const inst_sw_profile_sdr_ext &before, serv_packs *)> before_operation = {};
    std::function<void(const inst_sw_profile_sdr_ext &before, inst_sw_profile_sdr_ext &after)> before_store = {};

    // Thrown if nothing changes and ignores_missing is false. Without this Failure, an edit that changes nothing
    // succeeds.
    std::optional<Failure> failure_if_unchanged = std::nullopt;
};

// Rejects a name that the new package rules cannot split: the library would fail without naming it. The body is that of
// the location profile, or the main one if `location` is null.
void check_names(const EditOptions &options, const inst_sw_profile_info &body,
                 const inst_sw_profile_loc *location = nullptr);

bool has_package(const inst_sw_profile_info &body, const std::string &package);

// Runs the edit and prints the differences that it has made, or would make in a dry run.
void run_edit(const Edit &edit);

// Unmarks all packages if the last service pack has been removed: the library leaves some of them marked.
void unmark_after_last_service_pack(const inst_sw_profile_sdr_ext &before, inst_sw_profile_sdr_ext &after);
