#include "commands.h"
#include "selector.h"

#include <cstdio>

namespace
{

void run(const Selector &selector)
{
    char *path = nullptr;
    const uint64_t rc = inst_get_boot_active_swp_flag(selector.sdr.c_str(), &path, selector.is_local, selector.vm_type);
    if (rc != 0) {
        throw failure_of(rc, "can't name the boot-active flag file", ErrorText());
    }
    std::printf("%s\n", path);
    std::free(path);
}

} // namespace

void add_boot_flag(CLI::App &command)
{
    const auto selector = std::make_shared<Selector>();
    CLI::App *const flag =
        command.add_subcommand("boot-flag", "Print where the flag file is that has the active profile booted");
    add_sdr_option(*flag, *selector);
    add_vm_option(*flag, *selector);
    add_scope_option(*flag, *selector);
    flag->footer("The flag of the Admin VM is always local.\n\n"
                 "Example:\n"
                 "  test -e \"$(swprofile boot-flag --local)\" && echo the active profile boots next");
    flag->callback([selector] { run(*selector); });
}
