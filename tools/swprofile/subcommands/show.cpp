#include "profile/names.h"
#include "profile/nodes.h"
#include "profile/options.h"
#include "profile/output.h"
#include "safety/lock.h"
#include "subcommands/commands.h"
#include "terminal/help.h"

#include <cstdio>

namespace
{

struct ShowOptions {
    Selector selector;
    bool is_json = false;
    bool is_text = false; // in the form of the text twin
};

std::string count_of(uint32_t count, const char *noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// A table after a blank line, unless it has a header only.
void print_section(const std::vector<TableRow> &rows)
{
    if (rows.size() > 1) {
        std::printf("\n");
        print_table(rows);
    }
}

void print_packages(const inst_sw_profile_info &body)
{
    std::vector<TableRow> rows = {{"PACKAGE", "TYPE", "SP", "RPMS"}};
    for (const inst_swp_package &package : packages_of(body)) {
        rows.push_back({printable(package.name), package_type_text(package.pkg_type),
                        package.is_sp_pkg != 0 ? "yes" : "-", std::to_string(package.files_count)});
    }
    print_section(rows);
}

void print_tables(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    const inst_sw_profile_sdr &sdr = profile.sdr_sw_profile;
    const inst_sw_profile_info &body = sdr.sw_profile;
    std::printf("%s\n\n", selector.describe().c_str());
    print_table(
        {{"File", selector.path()},
         {"VM type", verd_vm_type_name(sdr.vm_type)},
         {"Image", printable(body.image.name) + "  (" + count_of(body.image.files_count, "RPM") + ")"},
         {"Version", printable(body.version)},
         {"Volume", printable(body.lv_name)},
         {"Content", count_of(body.packages_count, "package") + ", " + count_of(body.sp_details_count, "service pack") +
                         ", " + count_of(sdr.loc_profiles_count, "location profile")}});
    print_packages(body);
    print_section(service_pack_rows(service_packs_of(body)));
    for (const inst_sw_profile_loc &location : locations_of(profile)) {
        const std::string nodes = nodes_text(nodes_of(location));
        const std::string line = "On nodes " + nodes + ": image " + printable(location.sw_profile.image.name) +
                                 ", version " + printable(location.sw_profile.version);
        std::printf("\n%s\n", wrapped(line).c_str());
        print_packages(location.sw_profile);
    }
}

void show_profile(const ShowOptions &options)
{
    const Profile profile = fetch_locked(options.selector);
    if (options.is_json) {
        print_json(profile_json(*profile, options.selector));
    } else if (options.is_text) {
        std::fputs(rendered_text(*profile).c_str(), stdout);
    } else {
        print_tables(*profile, options.selector);
    }
}

} // namespace

void add_show(CLI::App &command)
{
    const auto [show, options] = new_subcommand<ShowOptions>(command, "show", "Show a profile", show_profile);
    add_selector_options(show, options.selector);
    add_json_option(show, options.is_json);
    show.add_flag("--text", options.is_text, "print every field, as the text twin does")
        ->excludes(show.get_option("--json"));
    add_wait_options(show);
    show.footer("Examples:\n"
                "  swprofile show\n"
                "  swprofile show --vm admin --local --state committed\n"
                "  swprofile show --json | jq -r '.packages[].name'");
}
