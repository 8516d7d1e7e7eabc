// Help, and answers to wrong usage.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

// Breaks a line at blanks to fit 80 columns. Continuation lines are indented like the text or, if the line has two
// columns, like the second one. Examples are preferably broken before an option; their continuation lines are indented
// by 6.
std::string wrapped(const std::string &line);

// Wraps every line of a help. The lines of a paragraph of the footer are joined first.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_subcommand(const CLI::App *subcommand) const override;
    std::string make_footer(const CLI::App *app) const override;
};

// Called if parsing ended without running a subcommand: prints the requested help or version, or reports wrong usage
// and, if there is one, a similar name. Returns the exit code.
int end_parsing(const CLI::App &command, const CLI::ParseError &error);
