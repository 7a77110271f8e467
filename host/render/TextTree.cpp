#include "host/render/TextTree.h"

#include "host/render/TextTable.h"
#include "host/support/Escaped.h"

#include <fmt/core.h>

namespace ketmon {

using KetStats::CBaseStat;
using KetStats::CNumericStatDescriptionBase;
using KetStats::CStatDescription;

namespace {

bool isLeaf(CStatDescription const & description)
{
    return description.getStatType() == CStatDescription::stValue;
}

bool isTable(CStatDescription const & description)
{
    return description.getStatType() == CStatDescription::stTable ||
           description.getStatType() == CStatDescription::stDynamicArray;
}

// A table within a row shows how many rows it has.
std::string cellOf(CBaseStat const & stat, CValueText const & values)
{
    return isLeaf(*stat.getDescription()) ? escaped(values.aligned(stat))
                                          : fmt::format("{}", stat.getChildrenCount());
}

std::string headingOf(CBaseStat const & stat)
{
    return stat.getOid().toString() + ' ' + stat.getDescription()->getStringDescription();
}

std::string unitOf(CStatDescription const & description)
{
    auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(&description);
    return numeric ? numeric->getUnits() : std::string();
}

// A line for each leaf: name, value, unit.
class CLeafLines
{
public:
    CLeafLines()
    {
        m_table.addColumn("", CTextTable::left);
        m_table.addColumn("", CTextTable::right);
        m_table.addColumn("", CTextTable::left);
    }

    void add(CBaseStat const & leaf, CValueText const & values)
    {
        CStatDescription const & description = *leaf.getDescription();
        m_table.addRow(
            {description.getStringDescription(), escaped(values.aligned(leaf)), unitOf(description)});
    }

    std::string toString(std::string const & indent) const { return m_table.toString(indent); }

private:
    CTextTable m_table;
};

// The leaves of a group.
std::string leavesToText(CBaseStat const & group, CValueText const & values)
{
    CLeafLines lines;
    for (unsigned int index = 0; index < group.getChildrenCount(); ++index)
        if (isLeaf(*group.getChild(index)->getDescription()))
            lines.add(*group.getChild(index), values);
    return lines.toString("  ");
}

void addColumns(CTextTable & table, CStatDescription const & row)
{
    table.addColumn("Id", CTextTable::right);
    for (unsigned int column = 0; CStatDescription const * const description = row.subStatDescription(column);
         ++column) {
        std::string const unit = unitOf(*description);
        bool const right = description->isNumeric() || isTable(*description);
        table.addColumn(description->getStringDescription() + (unit.empty() ? "" : " [" + unit + "]"),
                        right ? CTextTable::right : CTextTable::left);
    }
}

void addRow(CTextTable & table, CBaseStat const & row, CValueText const & values)
{
    std::vector<std::string> cells{fmt::format("{}", row.getId())};
    for (unsigned int column = 0; column < row.getChildrenCount(); ++column)
        cells.push_back(cellOf(*row.getChild(column), values));
    table.addRow(std::move(cells));
}

// The rows of a group of fixed rows, in their order.
std::string fixedTableToText(CBaseStat const & group, CValueText const & values)
{
    CTextTable table;
    addColumns(table, *group.getDescription()->subStatDescription(0));
    for (unsigned int index = 0; index < group.getChildrenCount(); ++index)
        addRow(table, *group.getChild(index), values);
    return headingOf(group) + '\n' + table.toString("  ");
}

std::string tableToText(CBaseStat const & container, CTreeRows const & which, CValueText const & values)
{
    std::vector<CBaseStat const *> const rows = which.of(container);
    std::string heading = headingOf(container);
    std::size_t const all = rowsOf(container).size();
    if (rows.size() < all)
        heading += which.sort.empty()
                       ? fmt::format(" (the busiest {} of {})", rows.size(), all)
                       : fmt::format(" (the first {} of {} by {})", rows.size(), all, which.sort);
    if (rows.empty())
        return heading + "\n  none\n";

    CTextTable table;
    addColumns(table, *container.getDescription()->subStatDescription(0));
    for (CBaseStat const * const row : rows)
        addRow(table, *row, values);
    return heading + '\n' + table.toString("  ");
}

} // namespace

std::string toText(CBaseStat const & stat, CTreeRows const & rows, CValueText const & values)
{
    CStatDescription const & description = *stat.getDescription();
    if (description.getStatType() == CStatDescription::stTable)
        return fixedTableToText(stat, values) + '\n';
    if (description.getStatType() == CStatDescription::stDynamicArray)
        return tableToText(stat, rows, values) + '\n';
    if (isLeaf(description)) {
        CLeafLines line;
        line.add(stat, values);
        return line.toString("") + '\n';
    }

    // A group that only holds groups needs no heading of its own.
    std::string const leaves = leavesToText(stat, values);
    std::string text = leaves.empty() ? "" : headingOf(stat) + '\n' + leaves + '\n';
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        if (!isLeaf(*stat.getChild(index)->getDescription()))
            text += toText(*stat.getChild(index), rows, values);
    return text;
}

} // namespace ketmon
