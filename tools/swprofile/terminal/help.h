// Help, and answers to wrong usage.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

// Breaks a line at blanks to fit 80 columns. Continuation lines are indented like the text or, if the line has two
// columns, like the second one. Examples are preferably broken before an option.
std::string wrapped(const std::string &line);

// Wraps every line of a help. The lines of a paragraph of the footer are joined first.
class HelpFormatter : public CLI::Formatter
{
public:
    std::string make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const override;
    std::string make_subcommand(const CLI::App *subcommand) const override;
    std::string make_footer(const CLI::App *app) const override;
};

// Ends a command line that is not run: prints the help that was requested, or reports what is wrong and perhaps what
// was meant. Returns the exit code.
int end_parsing(const CLI::App &command, const CLI::ParseError &error);
