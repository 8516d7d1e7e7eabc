// swprofile: looks after software profiles from a terminal or a script.
#include "commands.h"
#include "failure.h"
#include "names.h"

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
        return std::string("swprofile: ") + error.what() + "\n  see " + name + " --help\n";
    });
    command.footer("A profile is found by SDR, VM type, state and scope; the defaults are default-sdr, qx, active and\n"
                   "global.\n\n"
                   "Examples:\n"
                   "  swprofile create --image /images/qx-image-1.4.0.iso --version 1.4.0 --state prepared\n"
                   "  swprofile list\n"
                   "  swprofile show --state prepared\n"
                   "  swprofile show --json | jq .packages\n"
                   "  swprofile add qx-telemetry-1.6.0-r1 --state prepared --dry-run\n"
                   "  swprofile diff active prepared\n"
                   "  swprofile check\n"
                   "  swprofile add-for-nodes qx-routing-1.5.0-r1 --type smu --node 0/1/0\n\n"
                   "Exit codes: 0 done, 1 failed, 2 usage, 3 no such profile, 4 invalid data. Of has, diff, check and\n"
                   "node-version: 0 yes, 1 no; what elsewhere is 1 is 2 then.\n"
                   "Reasons go to standard error, and in more detail to /install_repo/log/install.log.");
    add_create(command);
    add_show(command);
    add_list(command);
    add_path(command);
    add_exists(command);
    add_boot_flag(command);
    add_image(command);
    add_packages(command);
    add_rpms(command);
    add_has(command);
    add_service_packs(command);
    add_diff(command);
    add_node_version(command);
    add_check(command);
    add_add(command);
    add_remove(command);
    add_add_host(command);
    add_service_pack(command);
    add_nodes(command);
    add_add_for_nodes(command);
    add_image_for_nodes(command);
    add_promote(command);
    add_copy(command);
    add_delete(command);
}

void check_subcommand(const CLI::App &command, int argc, char **argv)
{
    const std::string first = argc > 1 ? argv[1] : "--help";
    const bool is_option = first == "-h" || first == "--help" || first == "--version";
    if (!is_option &&
        command.get_subcommands([&](const CLI::App *known) { return known->check_name(first); }).empty()) {
        throw Failure(USAGE, "no such subcommand or option: " + shown(first.c_str()), {"see swprofile --help"});
    }
}

// Subcommands run while the command line is parsed.
int run(CLI::App &command, int argc, char **argv)
{
    try {
        check_subcommand(command, argc, argv);
        command.parse(argc, argv);
        return DONE;
    } catch (const CLI::ParseError &error) {
        return command.exit(error) == 0 ? DONE : USAGE;
    } catch (const Answer &answer) {
        return answer.code;
    } catch (const Failure &failure) {
        std::fprintf(stderr, "swprofile: %s\n", failure.what());
        for (const std::string &detail : failure.details) {
            std::fprintf(stderr, "  %s\n", detail.c_str());
        }
        return exit_code_of_failure(failure.exit_code);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "swprofile: %s\n", error.what());
        return exit_code_of_failure(FAILED);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const uint64_t rc = verd_inst_ldpath_lib_init(0, nullptr);
    if (rc != 0) {
        std::fprintf(stderr, "swprofile: can't start: %s\n", describe(rc).c_str());
        return FAILED;
    }
    CLI::App command("Create, examine and change software profiles, the records of what each VM runs.", "swprofile");
    describe_command(command);
    const int code = run(command, argc, argv);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::perror("swprofile: standard output");
        return exit_code_of_failure(FAILED);
    }
    return code;
}
