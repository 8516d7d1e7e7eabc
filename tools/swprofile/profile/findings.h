// Inconsistencies of a profile and its files: for check and repair, and to verify a change.
#pragma once

#include "profile/selector.h"

#include <filesystem>
#include <string>
#include <vector>

// The codes are stable, for scripts; `swprofile check --help` lists them.
struct Finding {
    std::string code;
    std::filesystem::path path;
    std::string text;
};

std::string text_of(const Finding &finding); // "PATH: TEXT"

struct Inspection {
    bool exists = false;       // does the place have a .bin file, whatever its content?
    Profile profile = nullptr; // null if it cannot be fetched
    std::vector<Finding> findings;
};

// Examines the .bin file only. If it exists but cannot be fetched, the finding says why.
Inspection inspect_bin(const Selector &selector);

Inspection inspect(const Selector &selector);

// Is a file missing, damaged, left over or different from the profile? Other findings are about the profile's content.
bool is_about_files(const Finding &finding);

// Are packages of the body marked as members although it has no service pack?
bool has_marks_without_service_pack(const inst_sw_profile_info &body);

// Unmarks packages, in the profile and its location profiles, where there is no service pack.
void clear_marks_without_service_pack(inst_sw_profile_sdr_ext &profile);
