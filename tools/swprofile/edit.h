// What the subcommands that edit a stored profile have in common.
#pragma once

#include "dry_run.h"

#include <functional>
#include <string>

struct EditOptions {
    Selector selector;
    bool is_new_format = false; // the new package rules
    bool is_dry_run = false;
    std::string service_pack_file;
};

// What is wrong with the path of a file that is to be read, or "".
std::string file_fault(const std::string &file);

void add_new_format_option(CLI::App &command, bool &is_new_format);
void add_package_type_option(CLI::App &command, uint32_t &type);

// To be given after --new-format.
CLI::Option *add_service_packs_option(CLI::App &command, std::string &file);

// Calls the operation and returns the profile as it is then; in a dry run, tells what it would have changed, and
// returns null. A failure tells what has been done all the same, and a profile that a failed store has removed is
// stored again as it was before. `what` is what can't be done then, as in "add x to".
Profile run_edit(const Selector &selector, bool is_dry_run, const Profile &before, const std::string &what,
                 const std::function<uint64_t(ErrorText &)> &operation);

// Fetches the profile, calls the operation with the service packs of the file, null for none, and tells what has
// changed or, in a dry run, would change. `what` is what can't be done when it fails.
void edit_profile(const EditOptions &options, const std::string &what,
                  const std::function<uint64_t(serv_packs *, ErrorText &)> &operation);
