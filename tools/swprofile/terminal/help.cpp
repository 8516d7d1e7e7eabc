#include "terminal/help.h"

#include "profile/failure.h"
#include "profile/names.h"
#include "subcommands/commands.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <sstream>

namespace
{

using Texts = std::vector<std::string>;

// How many characters to replace, insert or remove.
std::size_t edit_distance(const std::string &from, const std::string &to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const char character : from) {
        std::size_t diagonal = row[0]++;
        for (std::size_t i = 0; i < to.size(); ++i) {
            const std::size_t replaced = diagonal + (character == to[i] ? 0 : 1);
            diagonal = row[i + 1];
            row[i + 1] = std::min({row[i] + 1, row[i + 1] + 1, replaced});
        }
    }
    return row.back();
}

// The only name that begins with the word, or else the one that differs least, by at most two characters; or "".
std::string nearest(const std::string &word, const Texts &names)
{
    const auto begins = [&](const std::string &name) { return name.starts_with(word); };
    if (std::ranges::count_if(names, begins) == 1) {
        return *std::ranges::find_if(names, begins);
    }
    std::string found;
    std::size_t least = 3;
    for (const std::string &name : names) {
        if (const std::size_t distance = edit_distance(word, name); distance < least) {
            least = distance;
            found = name;
        }
    }
    return found;
}

bool is_option(const std::string &word)
{
    return word.starts_with('-');
}

std::string path_of(const CLI::App &app)
{
    return (app.get_parent() == nullptr ? "" : path_of(*app.get_parent()) + " ") + app.get_name();
}

Failure unexpected(const CLI::App &app, const std::string &what, const std::string &word)
{
    Texts names;
    for (const CLI::App *const subcommand : app.get_subcommands({})) {
        names.push_back(subcommand->get_name());
    }
    for (const CLI::Option *const option : app.get_options({})) {
        names.push_back(option->get_name(false, true)); // "-h,--help"
        names.back().erase(0, names.back().rfind(',') + 1);
    }
    const std::string name = word.substr(0, word.find('='));
    const std::string meant = nearest(name, names);
    const std::string hint = meant == name ? "options follow the subcommand" : "did you mean '" + meant + "'?";
    return {USAGE, what, meant.empty() ? Texts() : Texts{hint}, path_of(app) + " --help"};
}

Failure unknown_subcommand(const CLI::App &app, const std::string &word)
{
    const auto name_of = [](const CLI::App *subcommand) { return subcommand->get_name(); };
    return unexpected(app,
                      app.get_parent() == nullptr
                          ? "unknown subcommand or option: " + printable(word.c_str())
                          : "unknown subcommand '" + printable(word.c_str()) + "' (" + app.get_name() + " has " +
                                CLI::detail::join(app.get_subcommands({}), name_of, ", ") + ")",
                      word);
}

void print_help(const CLI::App &command, const Texts &words)
{
    const CLI::App *app = &command;
    for (const std::string &word : words) {
        const auto found = app->get_subcommands([&](const CLI::App *known) { return known->check_name(word); });
        if (found.empty()) {
            throw unknown_subcommand(*app, word);
        }
        app = found.front();
    }
    std::fputs(app->get_formatter()->make_help(app, path_of(*app), CLI::AppFormatMode::Normal).c_str(), stdout);
}

} // namespace

std::string wrapped(const std::string &line)
{
    constexpr std::size_t WIDTH = 80;
    const bool is_example = line.starts_with("  swprofile ");
    const std::size_t text = line.find_first_not_of(' ');
    const std::size_t gap = line.find("  ", text);
    const std::size_t indent = is_example ? 6 : gap == line.npos ? text : line.find_first_not_of(' ', gap);
    std::string rest = line;
    std::string lines;
    while (rest.size() > WIDTH) {
        std::size_t end = is_example ? rest.rfind(" --", WIDTH - 2) : rest.npos;
        if (end == rest.npos || end <= indent) {
            end = rest.rfind(' ', is_example ? WIDTH - 2 : WIDTH);
        }
        if (end == rest.npos || end <= indent) {
            break;
        }
        lines += rest.substr(0, end) + (is_example ? " \\\n" : "\n");
        rest = std::string(indent, ' ') + rest.substr(end + 1);
    }
    return lines + rest;
}

std::string HelpFormatter::make_help(const CLI::App *app, std::string name, CLI::AppFormatMode mode) const
{
    std::istringstream help(CLI::Formatter::make_help(app, std::move(name), mode));
    std::string lines;
    for (std::string line; std::getline(help, line);) {
        if (!line.empty() || !lines.ends_with("\n\n")) {
            lines += wrapped(line) + "\n";
        }
    }
    return lines;
}

std::string HelpFormatter::make_subcommand(const CLI::App *subcommand) const
{
    std::ostringstream line;
    CLI::detail::format_help(line, subcommand->get_name(), subcommand->get_description(), 19);
    return line.str();
}

std::string HelpFormatter::make_footer(const CLI::App *app) const
{
    const auto is_text = [](char character) { return character != ' ' && character != '\n'; };
    std::string footer = CLI::Formatter::make_footer(app);
    std::size_t start = 0; // of a line
    for (std::size_t end = footer.find('\n'); end + 1 < footer.size(); end = footer.find('\n', start)) {
        if (is_text(footer[start]) && is_text(footer[end + 1])) {
            footer[end] = ' ';
        } else {
            start = end + 1;
        }
    }
    return footer;
}

int end_parsing(const CLI::App &command, const CLI::ParseError &error)
{
    const CLI::App *app = &command; // the subcommand that was used
    while (!app->get_subcommands().empty()) {
        app = app->get_subcommands().front();
    }
    Texts extras = command.remaining(true);
    std::erase(extras, "--");
    if (!extras.empty() && !app->get_subcommands({}).empty() && (app == &command || !is_option(extras.front()))) {
        return report(unknown_subcommand(*app, extras.front()));
    }
    const auto code = static_cast<CLI::ExitCodes>(error.get_exit_code());
    if (code == CLI::ExitCodes::Success) { // help or version was requested
        return command.exit(error);
    }
    if (extras.empty() || (code != CLI::ExitCodes::ExtrasError && code != CLI::ExitCodes::RequiredError)) {
        return report(Failure(USAGE, error.what(), {}, path_of(*app) + " --help"));
    }
    const std::string what = extras.size() > 1 ? "arguments were" : "argument was";
    const auto option = std::ranges::find_if(extras, is_option);
    return report(unexpected(
        *app, "The following " + what + " not expected: " + printable(CLI::detail::join(extras, " ").c_str()),
        option == extras.end() ? "" : *option));
}

void add_help(CLI::App &command)
{
    const auto [help, words] = new_subcommand<std::vector<std::string>>(
        command, "help", "Show the help of a subcommand", [&command](const Texts &path) { print_help(command, path); });
    help.add_option("SUBCOMMAND", words, "one or two words");
    help.footer("Examples:\n"
                "  swprofile help list\n"
                "  swprofile help service-pack add");
}
