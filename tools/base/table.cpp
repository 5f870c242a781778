#include "base/table.h"

#include <algorithm>
#include <cstddef>

namespace torvik::tools {

namespace {

std::size_t widthof(const std::string& text)
{
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

void appendrow(std::string& page, const std::vector<column>& columns,
               const std::vector<std::string>& row, const std::vector<std::size_t>& widths)
{
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (i > 0) line += "  ";
        const std::string blanks(widths[i] - widthof(row[i]), ' ');
        line += columns[i].where == align::right ? blanks + row[i] : row[i] + blanks;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    page += line + "\n";
}

} // namespace

std::string tableof(const std::vector<column>& columns,
                    const std::vector<std::vector<std::string>>& rows)
{
    std::vector<std::string> heads;
    std::vector<std::size_t> widths;
    for (const column& one : columns) {
        heads.push_back(one.head);
        widths.push_back(widthof(one.head));
    }
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], widthof(row[i]));
    std::string page;
    appendrow(page, columns, heads, widths);
    for (const auto& row : rows) appendrow(page, columns, row, widths);
    return page;
}

} // namespace torvik::tools
