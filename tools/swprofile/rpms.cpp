#include "commands.h"
#include "names.h"
#include "selector.h"
#include "string_list.h"

#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    std::string package;
    bool is_json = false;
};

bool find_rpms(const Selector &active, const std::string &name, StringList &rpms)
{
    uint8_t is_found = 0;
    ErrorText error;
    const uint64_t rc = inst_swp_get_package_rpms(active.sdr.c_str(), active.is_local, active.state, active.vm_type,
                                                  name.c_str(), &is_found, &rpms.list, &rpms.count, error.slot());
    if (rc != 0) {
        throw active.fetch_failure(rc, error);
    }
    return is_found != 0;
}

void run(const Options &options)
{
    const Selector &active = options.selector;
    active.check_file();
    StringList rpms;
    if (!find_rpms(active, options.package, rpms)) {
        std::string name = options.package; // stored names have no architecture, as a rule
        instcomm_strip_arch_from_package_name(name.data());
        if (!find_rpms(active, name, rpms)) {
            throw Failure(FAILED, shown(name.c_str()) + " isn't in the " + active.describe());
        }
    }
    if (rpms.count == 0) {
        std::fprintf(stderr, "swprofile: note: no RPMs are recorded for it\n");
    }
    print_list(rpms, "rpms", options.is_json);
}

} // namespace

void add_rpms(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const rpms = command.add_subcommand("rpms", "Print the RPM files that make up an active package");
    rpms->add_option("PACKAGE", options->package, "name-version-release")->required()->check(name_fault);
    add_sdr_option(*rpms, options->selector);
    add_vm_option(*rpms, options->selector);
    add_scope_option(*rpms, options->selector);
    rpms->add_flag("--json", options->is_json, "as JSON, schema 1");
    rpms->footer("Example:\n"
                 "  swprofile rpms qx-routing-1.4.0-r1");
    rpms->callback([options] { run(*options); });
}
