#include "host/TextTree.h"

#include "host/TextTable.h"
#include "host/Values.h"

#include <fmt/core.h>

#include <algorithm>
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

bool isTable(CStatDescription const & description)
{
    return description.getStatType() == CStatDescription::stTable ||
           description.getStatType() == CStatDescription::stDynamicArray;
}

std::string number(double value)
{
    return std::isfinite(value) ? fmt::format("{:.2f}", value) : "-";
}

// A table within a row shows how many rows it has.
std::string valueOf(CBaseStat const & stat)
{
    CStatDescription const & description = *stat.getDescription();
    if (!isLeaf(description))
        return fmt::format("{}", stat.getChildrenCount());
    if (description.isInteger())
        return fmt::format("{}", description.getInteger(&stat));
    return description.isNumeric() ? number(description.getNumeric(&stat)) : textOf(stat);
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

// How busy a row is: all the frames that it counts.
long long framesOf(CBaseStat const & row)
{
    // "Global transmitted frames" counts in that unit.
    static std::string const frame =
        unitOf(*KetStats::CGlobalStatisticsStat::groupDescription().subStatDescription(2));
    long long frames = 0;
    for (unsigned int index = 0; index < row.getChildrenCount(); ++index) {
        CStatDescription const & description = *row.getChild(index)->getDescription();
        if (description.isInteger() && unitOf(description) == frame)
            frames += description.getInteger(row.getChild(index));
    }
    return frames;
}

void addColumns(CTextTable & table, CStatDescription const & row)
{
    for (unsigned int column = 0; CStatDescription const * const description = row.subStatDescription(column);
         ++column) {
        std::string const unit = unitOf(*description);
        bool const right = description->isNumeric() || isTable(*description);
        table.addColumn(description->getStringDescription() + (unit.empty() ? "" : " [" + unit + "]"),
                        right ? CTextTable::right : CTextTable::left);
    }
}

void addRow(CTextTable & table, CBaseStat const & row)
{
    std::vector<std::string> cells;
    for (unsigned int column = 0; column < row.getChildrenCount(); ++column)
        cells.push_back(valueOf(*row.getChild(column)));
    table.addRow(std::move(cells));
}

// The rows of a group of fixed rows, in their order.
std::string fixedTableToText(CBaseStat const & group)
{
    CTextTable table;
    addColumns(table, *group.getDescription()->subStatDescription(0));
    for (unsigned int index = 0; index < group.getChildrenCount(); ++index)
        addRow(table, *group.getChild(index));
    return group.getDescription()->getStringDescription() + '\n' + table.toString("  ");
}

std::string tableToText(CBaseStat const & container, unsigned int top)
{
    std::vector<CBaseStat const *> rows = rowsOf(container);
    std::stable_sort(rows.begin(), rows.end(), [](CBaseStat const * left, CBaseStat const * right) {
        return framesOf(*left) > framesOf(*right);
    });
    std::string heading = container.getDescription()->getStringDescription();
    if (top != 0 && rows.size() > top) {
        heading += fmt::format(" (the busiest {} of {})", top, rows.size());
        rows.resize(top);
    }
    if (rows.empty())
        return heading + "\n  none\n";

    CTextTable table;
    addColumns(table, *container.getDescription()->subStatDescription(0));
    for (CBaseStat const * const row : rows)
        addRow(table, *row);
    return heading + '\n' + table.toString("  ");
}

} // namespace

std::string toText(CBaseStat const & stat, unsigned int top)
{
    CStatDescription const & description = *stat.getDescription();
    if (description.getStatType() == CStatDescription::stTable)
        return fixedTableToText(stat) + '\n';
    if (description.getStatType() == CStatDescription::stDynamicArray)
        return tableToText(stat, top) + '\n';

    if (isLeaf(description)) {
        CTextTable table;
        table.addColumn("", CTextTable::left);
        table.addColumn("", CTextTable::right);
        table.addColumn("", CTextTable::left);
        table.addRow({description.getStringDescription(), valueOf(stat), unitOf(description)});
        return table.toString("") + '\n';
    }

    // A group that only holds groups needs no heading of its own.
    std::string const leaves = leavesToText(stat);
    std::string text = leaves.empty() ? "" : description.getStringDescription() + '\n' + leaves + '\n';
    for (unsigned int index = 0; index < stat.getChildrenCount(); ++index)
        if (!isLeaf(*stat.getChild(index)->getDescription()))
            text += toText(*stat.getChild(index), top);
    return text;
}

} // namespace ketmon
