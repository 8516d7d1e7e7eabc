// The subcommands. Each of these adds one to the command; its work is done when the command line selects it.
#pragma once

#include <CLI/CLI.hpp>

void add_create(CLI::App &command);
void add_show(CLI::App &command);
void add_list(CLI::App &command);
void add_path(CLI::App &command);
void add_exists(CLI::App &command);
void add_boot_flag(CLI::App &command);
void add_image(CLI::App &command);
void add_packages(CLI::App &command);
void add_rpms(CLI::App &command);
void add_has(CLI::App &command);
void add_service_packs(CLI::App &command);
void add_diff(CLI::App &command);
void add_node_version(CLI::App &command);
void add_check(CLI::App &command);
void add_add(CLI::App &command);
void add_remove(CLI::App &command);
void add_add_host(CLI::App &command);
void add_service_pack(CLI::App &command);
void add_nodes(CLI::App &command);
void add_add_for_nodes(CLI::App &command);
void add_image_for_nodes(CLI::App &command);
void add_promote(CLI::App &command);
void add_copy(CLI::App &command);
void add_delete(CLI::App &command);
