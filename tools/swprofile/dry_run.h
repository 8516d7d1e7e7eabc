// A dry run: an operation of the library does all but the storing, and what would be stored is compared with what is.
#pragma once

#include "difference.h"
#include "selector.h"

// While one is alive, nothing that the library is to store is stored; in a dry run, that is: otherwise it does nothing.
class DryRun
{
public:
    DryRun(bool is_wanted, const Selector &selector, const inst_sw_profile_sdr_ext &stored);
    DryRun(const DryRun &) = delete;
    DryRun &operator=(const DryRun &) = delete;
    ~DryRun();

    // Prints what the operation would have changed. False when this is no dry run.
    bool print() const;

    void take(const inst_sw_profile_sdr_ext &edited); // what would be stored

private:
    const bool is_wanted;
    const Selector &selector;
    const inst_sw_profile_sdr_ext &before;
    std::vector<std::vector<Change>> stores;
};

// Has the library stored a profile, or tried to?
bool has_stored();

// Adds the option --dry-run.
void add_dry_run_option(CLI::App &command, bool &is_dry_run);
