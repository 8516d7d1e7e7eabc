#include "terminal/color.h"

#include "profile/options.h"

#include <cstdlib>
#include <unistd.h>

namespace
{

std::string color_mode = "auto";

std::string environment(const char *name)
{
    const char *const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

bool shows_colors()
{
    const std::string terminal = environment("TERM");
    return color_mode == "always" || (color_mode == "auto" && isatty(STDOUT_FILENO) != 0 &&
                                      environment("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb");
}

std::string start_of(Color color)
{
    return "\x1b[" + std::to_string(static_cast<int>(color)) + "m";
}

constexpr char END[] = "\x1b[0m";

} // namespace

std::string colored(const std::string &text, Color color)
{
    return shows_colors() ? start_of(color) + text + END : text;
}

std::string colored_health(const std::string &text, const std::string &code)
{
    const bool is_bad = code == "damaged" || code == "unreadable" || code == "not-regular";
    return colored(text, code == "ok" ? Color::GREEN : is_bad ? Color::RED : Color::YELLOW);
}

std::size_t visible_width(const std::string &text)
{
    return text.starts_with('\x1b') ? text.size() - start_of(Color::RED).size() - (sizeof END - 1) : text.size();
}

void add_color_options(CLI::App &command)
{
    add_choice_option(command, "--color", color_mode, "color", {"auto", "always", "never"})
        ->description("color the output [auto]");
    for (CLI::App *const subcommand : command.get_subcommands([](CLI::App *) { return true; })) {
        add_color_options(*subcommand);
    }
}
