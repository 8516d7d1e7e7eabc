#include "profile/arrays.h"
#include "profile/options.h"
#include "profile/output.h"
#include "safety/lock.h"
#include "subcommands/commands.h"
#include "json/read_json.h"

#include <cstdio>

namespace
{

struct ServicePacksOptions {
    Selector selector;
    bool is_all = false;
    bool includes_committed = false;
    bool is_json = false;
};

void print_packs(std::span<service_pack> packs, bool is_json)
{
    if (is_json) {
        print_json({{"service_packs", list_json(packs, service_pack_json)}});
    } else if (packs.empty()) {
        std::printf("no service packs\n");
    } else {
        print_table(service_pack_rows(packs));
    }
}

void run_one(const ServicePacksOptions &options)
{
    const Profile profile = fetch_locked(options.selector);
    StringList names;
    serv_packs *set = nullptr;
    ErrorText error;
    const uint64_t rc = inst_ldpath_get_swprofile_sps(profile.get(), &names.list, &names.count, &set, error.slot());
    const ServicePacks owner(set);
    const std::span<service_pack> packs = service_packs_of(set);
    if (rc != 0) {
        throw rc == INST_RC_INVALID_ARG
            ? Failure(INVALID_DATA, "a service pack of the " + options.selector.describe() + " has no name")
            : failure_of(rc, "cannot list the service packs", error);
    }
    print_packs(packs, options.is_json);
}

void run_all(const ServicePacksOptions &options)
{
    std::optional<ReadLock> lock(std::in_place);
    const Selector &selector = options.selector;
    for (const int32_t state : {VERD_SWP_ACTIVE, VERD_SWP_COMMITTED}) {
        for (const uint32_t vm_type : {VERD_VM_QX, VERD_VM_ADMIN}) {
            if (state == VERD_SWP_ACTIVE || options.includes_committed) {
                static_cast<void>(Selector{selector.sdr, vm_type, state, false}.fetch()); // fails with the reason
            }
        }
    }
    StringList names;
    const uint64_t rc =
        inst_ldpath_get_all_swprofile_sps(selector.sdr.c_str(), options.includes_committed, &names.list, &names.count);
    if (rc != 0) {
        throw failure_of(rc, "cannot list the service packs");
    }
    lock.reset(); // output may wait for a pager
    print_list(names, "names", options.is_json);
}

void list_service_packs(const ServicePacksOptions &options)
{
    options.is_all ? run_all(options) : run_one(options);
}

} // namespace

void add_service_packs(CLI::App &command)
{
    const auto [packs, options] = new_subcommand<ServicePacksOptions>(
        command, "service-packs", "List the service packs of a profile, or all", list_service_packs);
    add_selector_options(packs, options.selector);
    CLI::Option *const all = packs.add_flag(
        "--all", options.is_all, "print the names of the service packs of the active global QX and Admin profiles");
    for (const char *const flag : {"--vm", "--state", "--local", "--global"}) {
        all->excludes(packs.get_option(flag));
    }
    packs.add_flag("--committed", options.includes_committed, "with --all: also the committed ones")->needs(all);
    add_json_option(packs, options.is_json);
    add_wait_options(packs);
    packs.footer("Examples:\n"
                 "  swprofile service-packs\n"
                 "  swprofile service-packs --all --committed\n"
                 "  swprofile service-packs --json | jq .service_packs >packs.json   # for --service-packs");
}
