#include "host/render/FittedTable.h"

#include "host/support/Utf8.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ketmon {

namespace {

constexpr std::size_t indent = 2;
constexpr std::size_t gap = 2;
constexpr std::string_view separation = "  ";

} // namespace

void CFittedTable::setBar(unsigned int dispensable, std::size_t least, std::size_t most)
{
    m_barDispensable = dispensable;
    m_leastBar = least;
    m_mostBar = most;
}

void CFittedTable::addRow(std::vector<std::string> cells, std::optional<double> bar)
{
    cells.resize(m_columns.size());
    m_rows.push_back({std::move(cells), bar});
}

std::size_t CFittedTable::CWidths::total() const
{
    std::size_t sum = indent;
    for (std::size_t const width : columns)
        sum += width == 0 ? 0 : width + gap;
    return bar > 0 ? sum + bar : sum - gap;
}

CFittedTable::CWidths CFittedTable::natural() const
{
    CWidths widths;
    for (std::size_t column = 0; column < m_columns.size(); ++column) {
        std::size_t width = 0;
        for (CRow const & row : m_rows)
            width = std::max(width, columnsOf(row.cells[column]));
        if (width > 0)
            width = std::max(width, columnsOf(m_columns[column].heading));
        if (m_columns[column].most > 0)
            width = std::min(width, m_columns[column].most);
        widths.columns.push_back(width);
    }
    widths.bar = m_leastBar;
    return widths;
}

// Whether columns could go: all that are as dispensable as the most dispensable one, since they belong together.
bool CFittedTable::dispense(CWidths & widths) const
{
    unsigned int most = widths.bar > 0 ? m_barDispensable : 0;
    for (std::size_t column = 0; column < m_columns.size(); ++column)
        if (widths.columns[column] > 0)
            most = std::max(most, m_columns[column].dispensable);
    if (most == 0)
        return false;
    if (most == m_barDispensable)
        widths.bar = 0;
    for (std::size_t column = 0; column < m_columns.size(); ++column)
        if (m_columns[column].dispensable == most)
            widths.columns[column] = 0;
    return true;
}

// Whether a text could be cut by a character: of those that may be, the longest.
bool CFittedTable::cut(CWidths & widths) const
{
    std::size_t chosen = m_columns.size();
    for (std::size_t column = 0; column < m_columns.size(); ++column)
        if (m_columns[column].least > 0 && widths.columns[column] > m_columns[column].least &&
            (chosen == m_columns.size() || widths.columns[column] > widths.columns[chosen]))
            chosen = column;
    if (chosen == m_columns.size())
        return false;
    --widths.columns[chosen];
    return true;
}

CFittedTable::CWidths CFittedTable::fitted(std::size_t width) const
{
    // What stays is settled with all texts at their shortest; then they get what is left.
    CWidths widths = natural();
    for (;;) {
        CWidths shortest = widths;
        while (cut(shortest))
            ;
        if (shortest.total() <= width)
            break;
        if (!dispense(widths))
            break;
    }
    while (widths.total() > width && cut(widths))
        ;
    if (widths.bar > 0 && widths.total() < width)
        widths.bar = std::min(m_mostBar, widths.bar + width - widths.total());
    return widths;
}

std::string CFittedTable::cell(std::string const & text, std::size_t width, CColumn const & column) const
{
    std::size_t const columns = columnsOf(text);
    if (columns > width)
        return cut(text, width, column.inMiddle);
    std::string const blanks(width - columns, ' ');
    return column.alignment == right ? blanks + text : text + blanks;
}

std::string CFittedTable::cut(std::string const & text, std::size_t width, bool inMiddle) const
{
    char const * const mark = m_ascii ? "~" : "\u2026";
    std::size_t const last = inMiddle ? (width - 1) / 2 : 0;
    std::string const rest = text.substr(firstColumns(text, columnsOf(text) - last).size());
    return firstColumns(text, width - 1 - last) + mark + rest;
}

// What isn't nothing is seen: the least bar is one character, or an eighth of one.
std::string CFittedTable::bar(double ratio, std::size_t width) const
{
    constexpr std::array<char const *, 8> eighths = {"",       "\u258F", "\u258E", "\u258D",
                                                     "\u258C", "\u258B", "\u258A", "\u2589"};
    if (!(ratio > 0.0))
        return {};
    double const length = std::min(ratio, 1.0) * static_cast<double>(width);
    if (m_ascii)
        return std::string(std::max<std::size_t>(static_cast<std::size_t>(std::lround(length)), 1), '#');
    auto const parts = std::max<std::size_t>(static_cast<std::size_t>(std::lround(length * 8.0)), 1);
    std::string text;
    for (std::size_t i = 0; i < parts / 8; ++i)
        text += "\u2588";
    return text + eighths[parts % 8];
}

std::string CFittedTable::toString(std::size_t width) const
{
    CWidths const widths = fitted(width);
    std::string text;
    auto const appendLine = [&](auto const & cellAt, std::optional<double> ratio) {
        std::string line;
        for (std::size_t column = 0; column < m_columns.size(); ++column) {
            if (widths.columns[column] == 0)
                continue;
            line += separation;
            line += cell(cellAt(column), widths.columns[column], m_columns[column]);
        }
        if (widths.bar > 0 && ratio)
            line += std::string(separation) + bar(*ratio, widths.bar);
        line.erase(line.find_last_not_of(' ') + 1);
        text += line + '\n';
    };
    appendLine([&](std::size_t column) { return m_columns[column].heading; }, {});
    for (CRow const & row : m_rows)
        appendLine([&](std::size_t column) { return row.cells[column]; }, row.bar);
    return text;
}

} // namespace ketmon
