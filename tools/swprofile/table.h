// Columns of text, each as wide as its widest cell.
#pragma once

#include <string>
#include <vector>

using TableRow = std::vector<std::string>;

// The rows, of equal length, each line indented by `indent` blanks. Numbers are aligned to the right.
std::string format_table(const std::vector<TableRow> &rows, std::size_t indent = 0);
