#include "profile/table.h"

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
    std::vector<std::size_t> widths(rows.front().size());
    std::vector<bool> has_numbers(widths.size(), rows.size() > 1);
    for (const TableRow &row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
            has_numbers[i] = has_numbers[i] && (&row == &rows.front() || row[i] == "-" || is_number(row[i]));
        }
    }
    std::string text;
    for (const TableRow &row : rows) {
        std::string line(indent, ' ');
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - row[i].size(), ' ');
            line += has_numbers[i] ? padding + row[i] : row[i] + padding;
            line += "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + "\n";
    }
    return text;
}
