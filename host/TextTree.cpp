#include "host/TextTree.h"

#include "host/TextTable.h"

#include <fmt/core.h>

#include <cmath>

namespace ketmon {

using KetStats::CBaseStat;
using KetStats::CNumericStatDescriptionBase;
using KetStats::CStatDescription;

namespace {

bool isLeaf(CStatDescription const & description)
{
    return description.getStatType() == CStatDescription::stValue;
}

std::string number(double value)
{
    return std::isfinite(value) ? fmt::format("{:.2f}", value) : "-";
}

std::string valueOf(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    if (description.isInteger())
        return fmt::format("{}", description.getInteger(&stat));
    return description.isNumeric() ? number(description.getNumeric(&stat)) : description.getString(&stat);
}

std::string unitOf(CStatDescription const & description)
{
    auto const * const numeric = dynamic_cast<CNumericStatDescriptionBase const *>(&description);
    return numeric ? numeric->getUnits() : std::string();
}

// The leaves of a group, a line each: name, value, unit.
std::string leavesToText(CBaseStat const & group)
{
    CTextTable table;
    table.addColumn("", CTextTable::left);
    table.addColumn("", CTextTable::right);
    table.addColumn("", CTextTable::left);
    for (unsigned int index = 0; index < group.getChildrenCount(); ++index) {
        CBaseStat const & child = *group.getChild(index);
        CStatDescription const & description = *child.getDescription();
        if (isLeaf(description))
            table.addRow({description.getStringDescription(), valueOf(child), unitOf(description)});
    }
    return table.toString("  ");
}

// A group whose children are all rows of one kind, as a table with the rows' children as columns.
std::string rowsToText(CBaseStat const & group)
{
    CTextTable table;
    CStatDescription const & row = *group.getDescription()->subStatDescription(0);
    for (unsigned int column = 0; CStatDescription const * const description = row.subStatDescription(column);
         ++column) {
        std::string const unit = unitOf(*description);
        table.addColumn(description->getStringDescription() + (unit.empty() ? "" : " [" + unit + "]"),
                        description->isNumeric() ? CTextTable::right : CTextTable::left);
    }
    for (unsigned int index = 0; index < group.getChildrenCount(); ++index) {
        CBaseStat const & child = *group.getChild(index);
        std::vector<std::string> cells;
        for (unsigned int column = 0; column < child.getChildrenCount(); ++column)
            cells.push_back(valueOf(*child.getChild(column)));
        table.addRow(std::move(cells));
    }
    return table.toString("  ");
}

} // namespace

std::string toText(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    std::string const heading = description.getStringDescription() + '\n';
    if (description.getStatType() == CStatDescription::stTable)
        return heading + rowsToText(stat) + '\n';

    // A group that only holds groups needs no heading of its own.
    std::string const leaves = leavesToText(stat);
    std::string text = leaves.empty() ? "" : heading + leaves + '\n';
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        if (!isLeaf(*stat.getChild(index)->getDescription()))
            text += toText(*stat.getChild(index));
    return text;
}

} // namespace ketmon
