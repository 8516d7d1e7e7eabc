#include "commands.h"
#include "names.h"
#include "selector.h"
#include "string_list.h"
#include "table.h"

#include <cstdio>

namespace
{

struct Options {
    Selector selector;
    bool is_all = false;
    bool includes_committed = false;
    bool is_json = false;
};

struct FreeSet {
    void operator()(serv_packs *set) const { free_service_pack(set); }
};

std::vector<service_pack> packs_of(const serv_packs *set)
{
    service_pack *packs = nullptr;
    const uint32_t count = set == nullptr ? 0 : serv_packs_get_service_packs(set, &packs);
    return {packs, packs + count};
}

void print_packs(const std::vector<service_pack> &packs, bool is_json)
{
    if (is_json) {
        Json json = Json::array();
        for (const service_pack &pack : packs) {
            json.push_back(service_pack_json(pack));
        }
        print_json({{"schema", JSON_SCHEMA}, {"service_packs", json}});
    } else if (packs.empty()) {
        std::printf("no service packs\n");
    } else {
        std::vector<TableRow> rows = {{"SERVICE PACK", "RPMS"}};
        for (const service_pack &pack : packs) {
            rows.push_back({shown(pack.sp_name), std::to_string(pack.sp_rpms_count)});
        }
        std::printf("%s", format_table(rows).c_str());
    }
}

void run_one(const Options &options)
{
    const Profile profile = options.selector.fetch();
    StringList names;
    serv_packs *set = nullptr;
    ErrorText error;
    const uint64_t rc = inst_ldpath_get_swprofile_sps(profile.get(), &names.list, &names.count, &set, error.slot());
    const std::unique_ptr<serv_packs, FreeSet> owner(set);
    const std::vector<service_pack> packs = packs_of(set);
    if (rc != 0) {
        throw rc == INST_RC_INVALID_ARG
            ? Failure(INVALID_DATA, "a service pack of the " + options.selector.describe() + " has no name")
            : failure_of(rc, "can't list the service packs", error);
    }
    if (packs.size() != names.count) {
        std::fprintf(stderr,
                     "swprofile: note: the profile has %u names and %zu details of service packs\n"
                     "  see swprofile check\n",
                     names.count, packs.size());
    }
    print_packs(packs, options.is_json);
}

void run_all(const Options &options)
{
    const Selector &selector = options.selector;
    StringList names;
    const uint64_t rc =
        inst_ldpath_get_all_swprofile_sps(selector.sdr.c_str(), options.includes_committed, &names.list, &names.count);
    if (rc == INSTMGR_RC_SWPROFILE_NOT_FOUND) {
        throw Failure(NO_PROFILE, "there aren't all of the profiles that count",
                      {"the global QX profile of " + selector.sdr + " and the global Admin profile, active" +
                           (options.includes_committed ? " and committed" : ""),
                       "see swprofile list"});
    }
    if (rc != 0) {
        throw failure_of(rc, "can't list the service packs", ErrorText());
    }
    print_list(names, "service_packs", options.is_json);
}

} // namespace

void add_service_packs(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const packs = command.add_subcommand("service-packs", "List service packs: a profile's, or all");
    add_selector_options(*packs, options->selector);
    CLI::Option *const all = packs->add_flag("--all", options->is_all,
                                             "the names of those installed anywhere in the SDR: active QX and Admin");
    for (const char *const flag : {"--vm", "--state", "--local", "--global"}) {
        all->excludes(packs->get_option(flag));
    }
    packs->add_flag("--committed", options->includes_committed, "with --all: the committed ones, too")->needs(all);
    packs->add_flag("--json", options->is_json, "as JSON, schema 1");
    packs->footer("Examples:\n"
                  "  swprofile service-packs\n"
                  "  swprofile service-packs --all --committed\n"
                  "  swprofile service-packs --json | jq .service_packs >packs.json   # for add-for-nodes");
    packs->callback([options] { options->is_all ? run_all(*options) : run_one(*options); });
}
