// The subcommands. Each function adds one, or a family, to the command: its options, its help and what it runs.
#pragma once

#include <CLI/CLI.hpp>

#include <memory>

using AddSubcommand = void(CLI::App &command);

AddSubcommand add_create, add_show, add_list, add_path, add_exists, add_boot_flag, add_image, add_packages, add_rpms,
    add_has, add_service_packs, add_diff, add_node_version, add_check, add_repair, add_add, add_remove, add_add_host,
    add_service_pack, add_nodes, add_add_for_nodes, add_image_for_nodes, add_transitions, add_delete, add_help,
    add_completion;

template <class Options> struct NewSubcommand {
    CLI::App &app;
    Options &options;
};

// Adds a subcommand that runs with options of its own.
template <class Options, class Run>
NewSubcommand<Options> new_subcommand(CLI::App &command, const std::string &name, const std::string &help, Run run)
{
    const auto options = std::make_shared<Options>();
    CLI::App *const subcommand = command.add_subcommand(name, help);
    subcommand->callback([options, run] { run(*options); });
    return {*subcommand, *options};
}

// In the order of the help.
// clang-format off
inline constexpr AddSubcommand *SUBCOMMANDS[] = {
    add_create, add_show, add_list, add_path, add_exists, add_boot_flag, add_image, add_packages, add_rpms, add_has,
    add_service_packs, add_diff, add_node_version, add_check, add_repair, add_add, add_remove, add_add_host,
    add_service_pack, add_nodes, add_add_for_nodes, add_image_for_nodes, add_transitions, add_delete, add_help,
    add_completion,
};
// clang-format on
