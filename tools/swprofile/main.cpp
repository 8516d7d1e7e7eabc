// swprofile: manages software profiles from a terminal or a script.
#include "profile/failure.h"
#include "safety/change.h"
#include "subcommands/commands.h"
#include "terminal/color.h"
#include "terminal/help.h"

#include "verd_inst_ldpath.h"

#include <cstdio>
#include <cstring>
#include <new>

namespace
{

void describe_command(CLI::App &command)
{
    command.set_version_flag("--version", "swprofile " SWP_VERSION);
    command.require_subcommand(1);
    command.formatter(std::make_shared<HelpFormatter>());
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
        "Messages go to standard error, with more detail to /install_repo/log/install.log.\n\n"
        "Exit codes:\n"
        "  0        done; or yes, equal, nothing found (*)\n"
        "  1        failed; or no, different, something found (*)\n"
        "  2        wrong usage; or failed (*)\n"
        "  3        no such profile\n"
        "  4        invalid data: a damaged profile, a faulty file, or faulty values\n"
        "  128 + N  interrupted by signal N; an unfinished change is undone\n\n"
        "(*) The second meaning is that of has, diff, check and node-version NODE VERSION.");
    for (AddSubcommand *const add : SUBCOMMANDS) {
        add(command);
    }
    add_color_options(command);
}

// Subcommands run while the command line is parsed.
int run(int argc, char **argv)
{
    CLI::App command("Create, examine and change software profiles, the records of what each VM runs.", "swprofile");
    try {
        describe_command(command);
        command.parse(argc, argv);
        return DONE;
    } catch (const CLI::ParseError &error) {
        return end_parsing(command, error);
    } catch (const Answer &answer) {
        return answer.code;
    } catch (const Failure &failure) {
        return report(failure);
    } catch (const std::bad_alloc &) {
        return report(Failure(FAILED, "out of memory"));
    } catch (const std::exception &error) {
        return report(Failure(FAILED, error.what()));
    }
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): aborts only if there is no memory to parse options or to report a failure
int main(int argc, char **argv)
{
    // The build runs 'swprofile completion', which must write no log: it does not initialise the library.
    const bool is_completion = argc > 1 && std::strcmp(argv[1], "completion") == 0;
    const uint64_t rc = is_completion ? 0 : verd_inst_ldpath_lib_init(0, nullptr);
    if (rc != 0) {
        return report(failure_of(rc, "cannot start"));
    }
    const int code = run(argc, argv);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        const std::vector<std::string> done(Change::is_any_done() ? 1 : 0, "the change is done");
        return report(Failure(FAILED, "cannot write to standard output", done));
    }
    return code;
}
