// Columns of text, each as wide as its widest cell.
#pragma once

#include <string>
#include <vector>

using TableRow = std::vector<std::string>;

// The rows, at least one, of equal length, each line indented by `indent` blanks. A column is aligned to the right when
// all below its first cell are numbers or "-".
std::string format_table(const std::vector<TableRow> &rows, std::size_t indent = 0);
