// The options that select a profile, and parsers shared by subcommands.
#pragma once

#include "profile/repository.h"

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

// A name or a number, in upper or lower case; a dash may replace a blank.
std::optional<uint32_t> parse_vm_type(const std::string &text);
std::optional<int32_t> parse_state(const std::string &text);

// The type of a package as a profile records it: "base", "kernel", "host-smu", or a number.
std::string package_type_text(uint32_t type);
std::optional<uint32_t> parse_package_type(const std::string &text);

CLI::Option *add_state_option(CLI::App &command, const std::string &flag, int32_t &state);
void add_scope_option(CLI::App &command, Selector &selector);
void add_profile_options(CLI::App &command, Selector &selector);  // SDR, VM type and scope
void add_selector_options(CLI::App &command, Selector &selector); // and state

void add_json_option(CLI::App &command, bool &is_json);

// --type: the install package type, which determines the type that the profile records.
void add_install_type_option(CLI::App &command, uint32_t &type);

// An option or argument that takes one of these values.
CLI::Option *add_choice_option(CLI::App &command, const std::string &name, std::string &target, const std::string &what,
                               const std::vector<std::string> &values);

// The options of add_selector_options(), for subcommands that work on every profile that matches.
class PlaceFilter
{
public:
    void add_options(CLI::App &command);

    // Was any of the options given?
    bool is_restricted() const;

    // The places that match every option that was given. For `visit_other`, see all_places().
    std::vector<Selector> places(const PathVisitor &visit_other = [](const std::filesystem::path &) {}) const;

private:
    Selector wanted = {"", 0, 0, false}; // by default, nothing is restricted
    const CLI::App *app = nullptr;
};
