// Which profile a subcommand is about.
#pragma once

#include "profile/failure.h"

#include "verd_inst_ldpath.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

struct FreeProfile {
    void operator()(inst_sw_profile_sdr_ext *profile) const { inst_ldpath_free_swprofile_ext(&profile); }
};
using Profile = std::unique_ptr<inst_sw_profile_sdr_ext, FreeProfile>;

inline constexpr int32_t STATES[] = {VERD_SWP_COMMITTED, VERD_SWP_ACTIVE, VERD_SWP_PREPARED};

// The VM types that have profiles.
std::vector<uint32_t> vm_types();

struct Selector {
    std::string sdr = VERD_DEFAULT_SDR;
    uint32_t vm_type = VERD_VM_QX;
    int32_t state = VERD_SWP_ACTIVE;
    bool is_local = false;

    Selector with_state(int32_t other) const;

    // "active QX profile of default-sdr (global)"
    std::string describe() const;

    // "swprofile SUBCOMMAND --vm admin --local", with the options that are not the default.
    std::string command(const std::string &subcommand) const;

    // Calls a function of the library whose first arguments select a profile.
    template <class Function, class... Arguments> uint64_t call(Function function, Arguments... arguments) const
    {
        return function(sdr.c_str(), is_local, state, vm_type, arguments...);
    }

    std::string path() const;

    // The .bin file, its text twin, and their flat copies if it has any.
    std::vector<std::filesystem::path> files() const;

    // Fetches the profile. If it is missing, empty or damaged, the Failure says so.
    Profile fetch() const;

    // Translates the result code of a library call that fetches this profile.
    Failure fetch_failure(uint64_t rc, const ErrorText &error) const;

    // Rejects a file that would block or mislead a reader or a writer, such as a FIFO or, for writers, a symbolic link.
    void check_readable() const;
    void check_writable() const;

    // The global QX and LC QX profiles of an SDR are one file.
    bool is_shared() const;

    // Prints a note if the file, which is about to be changed, contains the profile of the other type.
    void note_shared(const Profile &existing) const;
};

// The profile as its text twin renders it.
std::string rendered_text(const inst_sw_profile_sdr_ext &profile);

// The mismatch between the record's own SDR or VM type and the selector; "" if there is none.
std::string identity_fault(const Selector &selector, const inst_sw_profile_sdr_ext &profile);

// Fetches a profile that is about to be stored again, moved or copied. Rejects one with another SDR or VM type.
Profile fetch_own(const Selector &selector);
