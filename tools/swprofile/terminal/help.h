// Help, and answers to wrong usage.
#pragma once

#include "profile/failure.h"

#include <CLI/CLI.hpp>

#include <string>

// Breaks a line at blanks to fit 80 columns. What follows is indented like the text or, if the line has two columns,
// the second one. An example is broken before an option.
std::string wrapped(const std::string &line);

// Wraps every line of a help. The lines of a paragraph of the footer are joined before.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_subcommand(const CLI::App *subcommand) const override;
    std::string make_footer(const CLI::App *app) const override;
};

// The failure for a command line that was rejected, which may name what was probably meant.
Failure usage_failure(const CLI::App &command, const CLI::ParseError &error);

// Are there words on the command line where a subcommand is missing?
bool has_unknown_subcommand(const CLI::App &command);
