#include "Table.h"

#include <algorithm>
#include <utility>

namespace pemo {
namespace client {

Table::Table(std::vector<std::string> headers) : _headers(std::move(headers))
{
}

void Table::add(std::vector<std::string> cells)
{
    cells.resize(_headers.size());
    _rows.push_back(std::move(cells));
}

void Table::print(std::ostream& out, const Style& style) const
{
    std::vector<std::size_t> widths;
    for (const auto& header : _headers)
        widths.push_back(Style::width(header));
    for (const auto& row : _rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], Style::width(row[i]));
    auto line = [&](const std::vector<std::string>& cells, bool header) {
        std::string text;
        for (std::size_t i = 0; i < cells.size(); ++i)
        {
            const bool last = i + 1 == cells.size();
            text += header ? style.bold(cells[i]) : cells[i];
            if (!last)
                text += std::string(widths[i] - Style::width(cells[i]) + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    };
    line(_headers, true);
    for (const auto& row : _rows)
        line(row, false);
}

} // namespace client
} // namespace pemo
