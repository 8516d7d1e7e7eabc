// swprofile: manages software profiles from a terminal or a script.
#include "profile/failure.h"
#include "profile/names.h"
#include "safety/change.h"
#include "subcommands/commands.h"

#include "verd_inst_ldpath.h"

#include <cstdio>

namespace
{

void describe_command(CLI::App &command)
{
    command.set_version_flag("--version", "swprofile " SWP_VERSION);
    command.require_subcommand(1);
    command.failure_message([](const CLI::App *app, const CLI::Error &error) {
        std::string name = "swprofile";
        for (auto used = app->get_subcommands(); !used.empty(); used = used.front()->get_subcommands()) {
            name += " " + used.front()->get_name();
        }
        return std::string("swprofile: ") + error.what() + "\n  try: " + name + " --help\n";
    });
    command.footer(
        "A profile is selected by SDR, VM type, state and scope; the defaults are default-sdr, qx, active and\n"
        "global.\n\n"
        "Examples:\n"
        "  swprofile create --image /images/qx-image-1.4.0.iso --version 1.4.0 --state prepared\n"
        "  swprofile list\n"
        "  swprofile show --state prepared\n"
        "  swprofile show --json | jq .packages\n"
        "  swprofile add qx-telemetry-1.6.0-r1 --state prepared --dry-run\n"
        "  swprofile diff active prepared\n"
        "  swprofile promote\n"
        "  swprofile commit\n"
        "  swprofile check\n\n"
        "Every change is done completely or not at all; swprofile(1) explains how.\n"
        "Exit codes: 0 done, 1 failed, 2 usage, 3 no such profile, 4 invalid data, 128 + signal interrupted.\n"
        "has, diff, check and node-version NODE VERSION follow grep: 0 yes (equal, nothing found), 1 no, 2 failed.\n"
        "Messages go to standard error, with more detail to /install_repo/log/install.log.");
    for (AddSubcommand *const add : SUBCOMMANDS) {
        add(command);
    }
}

void check_subcommand(const CLI::App &command, int argc, char **argv)
{
    const std::string first = argc > 1 ? argv[1] : "--help";
    const bool is_option = first == "-h" || first == "--help" || first == "--version";
    if (!is_option &&
        command.get_subcommands([&](const CLI::App *known) { return known->check_name(first); }).empty()) {
        throw Failure(USAGE, "unknown subcommand or option: " + shown(first.c_str()), {}, "swprofile --help");
    }
}

// Subcommands run while the command line is parsed.
int run(int argc, char **argv)
{
    CLI::App command("Create, examine and change software profiles, the records of what each VM runs.", "swprofile");
    try {
        describe_command(command);
        check_subcommand(command, argc, argv);
        command.parse(argc, argv);
        return DONE;
    } catch (const CLI::ParseError &error) {
        return command.exit(error) == 0 ? DONE : USAGE;
    } catch (const Answer &answer) {
        return answer.code;
    } catch (const Failure &failure) {
        return report(failure);
    } catch (const std::exception &error) {
        return report(Failure(FAILED, error.what()));
    }
}

} // namespace

int main(int argc, char **argv)
{
    const uint64_t rc = verd_inst_ldpath_lib_init(0, nullptr);
    if (rc != 0) {
        return report(failure_of(rc, "cannot start"));
    }
    const int code = run(argc, argv);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        const std::vector<std::string> done(Change::is_done() ? 1 : 0, "the change is done");
        return report(Failure(FAILED, "cannot write to standard output", done));
    }
    return code;
}
