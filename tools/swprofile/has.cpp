#include "commands.h"
#include "names.h"
#include "selector.h"

#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    std::string package;
};

void run(const Options &options)
{
    begin_to_answer();
    const Selector &active = options.selector;
    active.check_file();
    uint8_t is_present = 0;
    const uint64_t rc = inst_swp_is_pkg_present(active.sdr.c_str(), active.is_local, active.state, active.vm_type,
                                                options.package.c_str(), &is_present);
    if (rc != 0) {
        throw active.fetch_failure(rc, ErrorText());
    }
    std::printf("%s\n", is_present != 0 ? "yes" : "no");
    answer(is_present != 0);
}

} // namespace

void add_has(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const has = command.add_subcommand("has", "Is a package active? Exit code 0: yes, 1: no");
    has->add_option("PACKAGE", options->package, "its name as stored; an architecture behind it doesn't count")
        ->required()
        ->check(name_fault);
    add_sdr_option(*has, options->selector);
    add_vm_option(*has, options->selector);
    add_scope_option(*has, options->selector);
    has->footer("Example:\n"
                "  if swprofile has qx-routing-1.4.0-r1 >/dev/null; then echo it runs; fi");
    has->callback([options] { run(*options); });
}
