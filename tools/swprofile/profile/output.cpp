#include "profile/output.h"

#include "profile/names.h"
#include "terminal/color.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

namespace
{

bool is_number(const std::string &cell)
{
    return !cell.empty() && cell.find_first_not_of("0123456789") == std::string::npos;
}

} // namespace

void print_table(const std::vector<TableRow> &rows)
{
    std::vector<std::size_t> widths(rows.front().size());
    std::vector<bool> has_numbers(widths.size(), rows.size() > 1);
    for (const TableRow &row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], visible_width(row[i]));
            has_numbers[i] = has_numbers[i] && (&row == &rows.front() || row[i] == "-" || is_number(row[i]));
        }
    }
    // Gaps of two blanks, or of one if that makes the table fit 80 columns.
    const std::size_t width = std::accumulate(widths.begin(), widths.end(), 2 * (widths.size() - 1));
    const bool is_narrow = width > 80 && width - (widths.size() - 1) <= 80;
    for (const TableRow &row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - visible_width(row[i]), ' ');
            line += has_numbers[i] ? padding + row[i] : row[i] + padding;
            line += is_narrow ? " " : "  ";
        }
        line.erase(line.find_last_not_of(' ') + 1);
        std::printf("%s\n", line.c_str());
    }
}

std::vector<TableRow> service_pack_rows(std::span<const sp_detail> packs)
{
    std::vector<TableRow> rows = {{"SERVICE PACK", "RPMS"}};
    for (const sp_detail &pack : packs) {
        rows.push_back({printable(pack.sp_name), std::to_string(pack.sp_rpms_count)});
    }
    return rows;
}

void print_list(const StringList &list, const char *key, bool is_json)
{
    Json texts = Json::array();
    for (const char *const text : std::span(list.list, list.count)) {
        if (is_json) {
            texts.push_back(text_json(text));
        } else {
            std::printf("%s\n", printable(text).c_str());
        }
    }
    if (is_json) {
        print_json({{key, texts}});
    }
}
