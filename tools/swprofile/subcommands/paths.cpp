#include "profile/options.h"
#include "safety/lock.h"
#include "subcommands/commands.h"

#include <cstdio>

namespace
{

struct PathOptions {
    Selector selector;
    bool is_twin = false;
};

void print_path(const PathOptions &options)
{
    const std::string bin = options.selector.path();
    const std::string twin = std::filesystem::path(bin).replace_extension(".txt");
    std::printf("%s\n", (options.is_twin ? twin : bin).c_str());
}

void print_boot_flag(const Selector &selector)
{
    char *path = nullptr;
    const uint64_t rc = inst_get_boot_active_swp_flag(selector.sdr.c_str(), &path, selector.is_local, selector.vm_type);
    if (rc != 0) {
        throw failure_of(rc, "cannot name the boot-active flag file");
    }
    std::printf("%s\n", path);
    std::free(path);
}

void answer_exists(const Selector &selector)
{
    static_cast<void>(fetch_locked(selector));
    std::printf("yes\n");
}

} // namespace

void add_path(CLI::App &command)
{
    const auto [path, options] = new_subcommand<PathOptions>(
        command, "path", "Print the path of a profile's file, even if it does not exist", print_path);
    add_selector_options(path, options.selector);
    path.add_flag("--text", options.is_twin, "print the path of the text twin");
    path.footer("Examples:\n"
                "  swprofile path --state prepared\n"
                "  swprofile path --vm admin --local --text");
}

void add_exists(CLI::App &command)
{
    const auto [exists, selector] = new_subcommand<Selector>(
        command, "exists", "Can a profile be read? Exit code 0: yes, 3: no, 4: damaged", answer_exists);
    add_selector_options(exists, selector);
    add_wait_options(exists);
    exists.footer("An empty file counts as absent.\n\n"
                  "Example:\n"
                  "  if swprofile exists --state prepared >/dev/null 2>&1; then echo ready to promote; fi");
}

void add_boot_flag(CLI::App &command)
{
    const auto [flag, selector] = new_subcommand<Selector>(
        command, "boot-flag", "Print the path of the flag file that makes the node boot the active profile",
        print_boot_flag);
    add_profile_options(flag, selector);
    flag.footer("The flag of the Admin VM is always local.\n\n"
                "Example:\n"
                "  test -e \"$(swprofile boot-flag --local)\" && echo the active profile boots next");
}
