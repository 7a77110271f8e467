#include "host/render/TextTable.h"

#include <algorithm>

namespace ketmon {

namespace {

std::string padded(std::string const & text, std::size_t width, CTextTable::Alignment alignment)
{
    std::string const blanks(width > text.size() ? width - text.size() : 0, ' ');
    return alignment == CTextTable::right ? blanks + text : text + blanks;
}

} // namespace

void CTextTable::addColumn(std::string const & heading, Alignment alignment)
{
    m_columns.push_back({heading, alignment});
}

void CTextTable::addRow(std::vector<std::string> cells)
{
    cells.resize(m_columns.size());
    m_rows.push_back(std::move(cells));
}

std::string CTextTable::toString(std::string const & indent) const
{
    std::vector<std::size_t> widths;
    bool headed = false;
    for (std::size_t column = 0; column < m_columns.size(); ++column) {
        std::size_t width = m_columns[column].heading.size();
        headed = headed || width > 0;
        for (auto const & row : m_rows)
            width = std::max(width, row[column].size());
        widths.push_back(width);
    }

    std::string text;
    auto const appendLine = [&](auto const & cellAt) {
        std::string line = indent;
        for (std::size_t column = 0; column < m_columns.size(); ++column) {
            if (column > 0)
                line += "  ";
            line += padded(cellAt(column), widths[column], m_columns[column].alignment);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    };
    if (headed)
        appendLine([&](std::size_t column) { return m_columns[column].heading; });
    for (auto const & row : m_rows)
        appendLine([&](std::size_t column) { return row[column]; });
    return text;
}

} // namespace ketmon
