#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace ketmon {

// A table that fits a width: where there is too little of it, columns go and texts are cut; where there is
// more, its bar grows.
class CFittedTable
{
public:
    enum Alignment
    {
        left,
        right,
    };

    struct CColumn
    {
        std::string heading;
        Alignment alignment = right;
        unsigned int dispensable =
            0;                 // 0 always stays; of the others the greatest go first, equal ones together
        std::size_t least = 0; // texts are cut down to so many characters; 0 for never
        std::size_t most = 0;  // and to so many even where there is room; 0 for any
        bool inMiddle = false; // is where they are cut, rather than at their end
    };

    explicit CFittedTable(bool ascii) : m_ascii(ascii) {}

    // Columns from left to right; cells stand in their order. One without any text is left out.
    void addColumn(CColumn column) { m_columns.push_back(std::move(column)); }
    // Behind all columns, a bar of ratios from 0 to 1, which takes what width is left.
    void setBar(unsigned int dispensable, std::size_t least, std::size_t most);

    // Cells are valid UTF-8 without line breaks.
    void addRow(std::vector<std::string> cells, std::optional<double> bar = {});
    bool empty() const { return m_rows.empty(); }

    // The lines, none wider than `width` as long as what always stays fits; none ends in a blank.
    std::string toString(std::size_t width) const;

private:
    struct CRow
    {
        std::vector<std::string> cells;
        std::optional<double> bar;
    };

    // The width of each column, 0 for one that went, and of the bar.
    struct CWidths
    {
        std::vector<std::size_t> columns;
        std::size_t bar = 0;

        std::size_t total() const;
    };

    CWidths natural() const;
    CWidths fitted(std::size_t width) const;
    bool dispense(CWidths & widths) const;
    bool cut(CWidths & widths) const;
    std::string cell(std::string const & text, std::size_t width, CColumn const & column) const;
    std::string cut(std::string const & text, std::size_t width, bool inMiddle) const;
    std::string bar(double ratio, std::size_t width) const;

    bool m_ascii;
    std::vector<CColumn> m_columns;
    std::vector<CRow> m_rows;
    unsigned int m_barDispensable = 0;
    std::size_t m_leastBar = 0;
    std::size_t m_mostBar = 0;
};

} // namespace ketmon
