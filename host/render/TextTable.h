#pragma once

#include <string>
#include <vector>

namespace ketmon {

// An aligned table of texts under a heading line.
class CTextTable
{
public:
    enum Alignment
    {
        left,
        right,
    };

    void addColumn(std::string const & heading, Alignment alignment);
    void addRow(std::vector<std::string> cells);
    bool empty() const { return m_rows.empty(); }

    // The lines, each behind `indent`, with the heading line if any column has a heading.
    std::string toString(std::string const & indent) const;

private:
    struct CColumn
    {
        std::string heading;
        Alignment alignment;
    };

    std::vector<CColumn> m_columns;
    std::vector<std::vector<std::string>> m_rows;
};

} // namespace ketmon
