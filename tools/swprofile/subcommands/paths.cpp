#include "profile/options.h"
#include "safety/lock.h"
#include "subcommands/commands.h"

#include <cstdio>

void add_path(CLI::App &command)
{
    struct Options {
        Selector selector;
        bool is_twin = false;
    };
    const auto options = std::make_shared<Options>();
    CLI::App *const path =
        command.add_subcommand("path", "Print the path of a profile's file, even if it does not exist");
    add_selector_options(*path, options->selector);
    path->add_flag("--text", options->is_twin, "print the path of the text twin");
    path->footer("Examples:\n"
                 "  swprofile path --state prepared\n"
                 "  swprofile path --vm admin --local --text");
    path->callback([options] {
        const std::string bin = options->selector.path();
        const std::string twin = std::filesystem::path(bin).replace_extension(".txt");
        std::printf("%s\n", (options->is_twin ? twin : bin).c_str());
    });
}

void add_exists(CLI::App &command)
{
    const auto selector = std::make_shared<Selector>();
    CLI::App *const exists =
        command.add_subcommand("exists", "Can a profile be read? Exit code 0: yes, 3: no, 4: damaged");
    add_selector_options(*exists, *selector);
    add_wait_options(*exists);
    exists->footer("An empty file counts as absent.\n\n"
                   "Example:\n"
                   "  if swprofile exists --state prepared >/dev/null 2>&1; then echo ready to promote; fi");
    exists->callback([selector] {
        const ReadLock lock(selector->is_local);
        static_cast<void>(selector->fetch());
        std::printf("yes\n");
    });
}

void add_boot_flag(CLI::App &command)
{
    const auto selector = std::make_shared<Selector>();
    CLI::App *const flag = command.add_subcommand(
        "boot-flag", "Print the path of the flag file that makes the node boot the active profile");
    add_profile_options(*flag, *selector);
    flag->footer("The flag of the Admin VM is always local.\n\n"
                 "Example:\n"
                 "  test -e \"$(swprofile boot-flag --local)\" && echo the active profile boots next");
    flag->callback([selector] {
        char *path = nullptr;
        const uint64_t rc =
            inst_get_boot_active_swp_flag(selector->sdr.c_str(), &path, selector->is_local, selector->vm_type);
        if (rc != 0) {
            throw failure_of(rc, "cannot name the boot-active flag file");
        }
        std::printf("%s\n", path);
        std::free(path);
    });
}
