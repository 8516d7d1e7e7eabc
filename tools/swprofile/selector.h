// Which profile is meant: the options that all subcommands share.
#pragma once

#include "failure.h"

#include "verd_inst_ldpath.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

struct FreeProfile {
    void operator()(inst_sw_profile_sdr_ext *profile) const { inst_ldpath_free_swprofile_ext(&profile); }
};
using Profile = std::unique_ptr<inst_sw_profile_sdr_ext, FreeProfile>;

struct Selector {
    std::string sdr = "default-sdr";
    uint32_t vm_type = VERD_VM_QX;
    int32_t state = VERD_SWP_ACTIVE;
    bool is_local = false;

    // "active QX profile of default-sdr (global)"
    std::string describe() const;
    std::string path() const;

    // Fetches the profile; an absent, empty or damaged one is a Failure that says so.
    Profile fetch() const;

    // The same for operations that fetch it themselves: before, a file that would make us wait is a Failure; after,
    // what a failed fetch comes to.
    void check_file() const;
    Failure fetch_failure(uint64_t rc, const ErrorText &error) const;

    // Where its files are: the .bin, its twin, and their flat copies where it has such.
    std::vector<std::filesystem::path> files() const;

    // Before it is stored: a file to be written that is no regular one, such as a fifo, which would make us wait, is a
    // Failure.
    void check_files() const;

    // Fetches a profile that is to be edited. One that names another SDR, where the edit would be stored, is a Failure.
    Profile fetch_to_edit() const;

    // What a record says of its SDR that isn't so, or "".
    std::string sdr_fault(const inst_sw_profile_sdr_ext &profile) const;

    // After a failed store: is a profile that was there gone? If so, tells.
    bool is_lost() const;
    void tell_loss(Failure &failure) const;

    // Fetches the profile that has just been stored. Success may have been told of one that isn't there.
    Profile fetch_stored() const;
};

// Names or numbers, without regard to case; a dash may stand for a blank.
std::optional<uint32_t> parse_vm_type(const std::string &text);
std::optional<int32_t> parse_state(const std::string &text);

void add_sdr_option(CLI::App &command, Selector &selector);
void add_vm_option(CLI::App &command, Selector &selector);
CLI::Option *add_state_option(CLI::App &command, const std::string &flag, int32_t &state);
void add_scope_option(CLI::App &command, Selector &selector);
void add_selector_options(CLI::App &command, Selector &selector); // the four of them
