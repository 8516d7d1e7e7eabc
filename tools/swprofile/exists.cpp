#include "commands.h"
#include "selector.h"

#include <cstdio>

namespace
{

void run(const Selector &selector)
{
    selector.check_file();
    uint8_t exists = 0;
    ErrorText error;
    const uint64_t rc = inst_ldpath_check_swprofile_exists(selector.sdr.c_str(), selector.is_local, selector.state,
                                                           selector.vm_type, &exists, error.slot());
    if (rc != 0) {
        throw failure_of(rc, "can't look for the " + selector.describe(), error);
    }
    if (exists == 0) {
        throw Failure(NO_PROFILE, "there is no " + selector.describe(), error.entries());
    }
    std::printf("yes\n");
}

} // namespace

void add_exists(CLI::App &command)
{
    const auto selector = std::make_shared<Selector>();
    CLI::App *const exists = command.add_subcommand("exists", "Does a profile exist? Exit code 0: yes, 3: no");
    add_selector_options(*exists, *selector);
    exists->footer("An empty file counts as absent. Whether the content is whole is what 'show' and 'list' tell.\n\n"
                   "Example:\n"
                   "  if swprofile exists --state prepared >/dev/null 2>&1; then echo ready to promote; fi");
    exists->callback([selector] { run(*selector); });
}
