#include "table.h"

#include <algorithm>

namespace
{

bool is_number(const std::string &cell)
{
    return !cell.empty() && cell.find_first_not_of("0123456789") == std::string::npos;
}

} // namespace

std::string format_table(const std::vector<TableRow> &rows, std::size_t indent)
{
    std::vector<std::size_t> widths;
    for (const TableRow &row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    std::string text;
    for (const TableRow &row : rows) {
        std::string line(indent, ' ');
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - row[i].size(), ' ');
            line += is_number(row[i]) ? padding + row[i] : row[i] + padding;
            line += "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}
