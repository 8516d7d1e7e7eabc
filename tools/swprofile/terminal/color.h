// Colors of output on a terminal.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

enum class Color { RED = 31, GREEN = 32, YELLOW = 33 };

// The text in a color, or unchanged if standard output shows no colors.
std::string colored(const std::string &text, Color color);

// The same, in the color of a health or of the code of a finding.
std::string colored_health(const std::string &text, const std::string &code);

// The columns that a text of colored() takes on a terminal.
std::size_t visible_width(const std::string &text);

// Adds --color to the command and all of its subcommands.
void add_color_options(CLI::App &command);
