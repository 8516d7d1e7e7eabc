#include "dry_run.h"

#include "verd_inst_ldpath.h"

#include <cstdio>
#include <dlfcn.h>

namespace
{

DryRun *current = nullptr;
bool is_stored = false;

} // namespace

DryRun::DryRun(bool is_dry_run, const Selector &profile, const inst_sw_profile_sdr_ext &stored)
    : is_wanted(is_dry_run), selector(profile), before(stored)
{
    current = is_wanted ? this : nullptr;
}

DryRun::~DryRun()
{
    current = nullptr;
}

void DryRun::take(const inst_sw_profile_sdr_ext &edited)
{
    stores.push_back(changes_between(before, edited));
}

bool DryRun::print() const
{
    if (!is_wanted) {
        return false;
    }
    if (stores.empty()) {
        std::printf("would store nothing\n");
    }
    for (const std::vector<Change> &changes : stores) {
        std::printf("would %s the %s\n", changes.empty() ? "store, unchanged," : "change", selector.describe().c_str());
        print_changes(changes);
    }
    return true;
}

bool has_stored()
{
    return is_stored;
}

void add_dry_run_option(CLI::App &command, bool &is_dry_run)
{
    command.add_flag("--dry-run", is_dry_run, "only tell what would change");
}

// Stands before the library's own function, which the library calls for every edit of a stored profile.
extern "C" uint64_t inst_ldpath_store_sdr_swprofile(inst_sw_profile_sdr_ext *profile, uint8_t is_local,
                                                    int32_t part_type, char *part_short_name, uint32_t vm_type,
                                                    char **error_message_out)
{
    if (current != nullptr && profile != nullptr) {
        current->take(*profile);
        return 0;
    }
    is_stored = true;
    const auto store = reinterpret_cast<decltype(&inst_ldpath_store_sdr_swprofile)>(
        dlsym(RTLD_NEXT, "inst_ldpath_store_sdr_swprofile"));
    return store(profile, is_local, part_type, part_short_name, vm_type, error_message_out);
}
