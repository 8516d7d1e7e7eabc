#include "commands.h"
#include "location/vm_types.h"
#include "names.h"
#include "nodes.h"
#include "profile_json.h"
#include "table.h"

#include <cstdio>

namespace
{

enum class Form { Human, Json, Text };

struct Options {
    Selector selector;
    Form form = Form::Human;
};

std::string count_of(uint32_t count, const char *noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

void print_packages(const inst_sw_profile_info &body)
{
    inst_swp_package *packages = nullptr;
    const uint32_t count = inst_sw_profile_info_get_packages(&body, &packages);
    if (count == 0) {
        return;
    }
    std::vector<TableRow> rows = {{"PACKAGE", "TYPE", "SP", "RPMS"}};
    for (uint32_t i = 0; i < count; ++i) {
        rows.push_back({shown(packages[i].name), std::to_string(packages[i].pkg_type),
                        packages[i].is_sp_pkg != 0 ? "yes" : "-", std::to_string(packages[i].files_count)});
    }
    std::printf("\n%s", format_table(rows).c_str());
}

void print_service_packs(const inst_sw_profile_info &body)
{
    sp_detail *packs = nullptr;
    const uint32_t count = inst_sw_profile_info_get_sp_details(&body, &packs);
    if (count == 0) {
        return;
    }
    std::vector<TableRow> rows = {{"SERVICE PACK", "RPMS"}};
    for (uint32_t i = 0; i < count; ++i) {
        rows.push_back({shown(packs[i].sp_name), std::to_string(packs[i].sp_rpms_count)});
    }
    std::printf("\n%s", format_table(rows).c_str());
}

void print_human(const inst_sw_profile_sdr_ext &profile, const Selector &selector)
{
    const inst_sw_profile_sdr &sdr = profile.sdr_sw_profile;
    const inst_sw_profile_info &body = sdr.sw_profile;
    std::printf("%s\n\n", selector.describe().c_str());
    std::printf("%s",
                format_table({{"File", selector.path()},
                              {"VM type", vm_type_name(sdr.vm_type)},
                              {"Image", shown(body.image.name) + "  (" + count_of(body.image.files_count, "RPM") + ")"},
                              {"Version", shown(body.version)},
                              {"Volume", shown(body.lv_name)},
                              {"Content", count_of(body.packages_count, "package") + ", " +
                                              count_of(body.sp_details_count, "service pack") + ", " +
                                              count_of(sdr.loc_profiles_count, "location profile")}})
                    .c_str());
    print_packages(body);
    print_service_packs(body);
    for (const inst_sw_profile_loc *const location : locations_of(profile)) {
        std::printf("\nOn nodes %s: image %s\n", nodes_text(nodes_of(*location)).c_str(),
                    shown(location->sw_profile.image.name).c_str());
        print_packages(location->sw_profile);
    }
}

void print_text(const inst_sw_profile_sdr_ext &profile)
{
    char *text = nullptr;
    const uint64_t rc = instcomm_get_swprofile_sdr_str(&profile, &text, 1, nullptr);
    if (rc != 0) {
        throw failure_of(rc, "can't render the profile", ErrorText());
    }
    std::fputs(text, stdout);
    std::free(text);
}

void run(const Options &options)
{
    const Profile profile = options.selector.fetch();
    switch (options.form) {
    case Form::Human:
        print_human(*profile, options.selector);
        break;
    case Form::Json:
        print_json(profile_json(*profile, options.selector));
        break;
    case Form::Text:
        print_text(*profile);
        break;
    }
}

} // namespace

void add_show(CLI::App &command)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const show = command.add_subcommand("show", "Show what a profile holds");
    add_selector_options(*show, options->selector);
    CLI::Option *const json = show->add_flag_callback(
        "--json", [options] { options->form = Form::Json; }, "as JSON, schema 1");
    show->add_flag_callback(
            "--text", [options] { options->form = Form::Text; }, "every field, as the readable twin has it")
        ->excludes(json);
    show->footer("Examples:\n"
                 "  swprofile show\n"
                 "  swprofile show --vm admin --local --state committed\n"
                 "  swprofile show --json | jq -r '.packages[].name'");
    show->callback([options] { run(*options); });
}
