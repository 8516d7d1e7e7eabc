// The subcommands. Each function adds one to the command, with its options, its help and what it runs.
#pragma once

#include <CLI/CLI.hpp>

using AddSubcommand = void(CLI::App &command);

AddSubcommand add_create, add_show, add_list, add_path, add_exists, add_boot_flag, add_image, add_packages, add_rpms,
    add_has, add_service_packs, add_diff, add_node_version, add_check, add_repair, add_add, add_remove, add_add_host,
    add_service_pack, add_nodes, add_add_for_nodes, add_image_for_nodes, add_promote, add_commit, add_rollback,
    add_copy, add_delete;

// In the order of the help.
inline constexpr AddSubcommand *SUBCOMMANDS[] = {add_create,        add_show,
                                                 add_list,          add_path,
                                                 add_exists,        add_boot_flag,
                                                 add_image,         add_packages,
                                                 add_rpms,          add_has,
                                                 add_service_packs, add_diff,
                                                 add_node_version,  add_check,
                                                 add_repair,        add_add,
                                                 add_remove,        add_add_host,
                                                 add_service_pack,  add_nodes,
                                                 add_add_for_nodes, add_image_for_nodes,
                                                 add_promote,       add_commit,
                                                 add_rollback,      add_copy,
                                                 add_delete};
