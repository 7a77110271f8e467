#pragma once

#include "ketstats/schema/FrameTables.h"
#include "ketstats/schema/Stations.h"

// Percentages and averages of rows.

namespace KetStats {

// Percentages and averages are 0, without a flag, while there is nothing to relate them to.
inline bool nothingCounted(double base)
{
    return base < 1.0;
}

// Stores a percentage if it moved across a hundredth; tells whether it did.
inline bool storePercentage(CValueStat<percentVal> & stat, double value, double base)
{
    if (!nothingCounted(base))
        return stat.compareAssign(percentVal(value));
    stat = percentVal(0.0);
    return false;
}

template <class Row>
bool storeAverage(Row & row, double base)
{
    if (nothingCounted(base)) {
        row.averageFrameSize = 0U;
        return false;
    }
    // A row whose frames were all taken off by its base has no average.
    long long const frames = row.framesTransmitted.get();
    long long const average = frames == 0 ? 0 : row.dataTransmitted.get() / frames;
    return row.averageFrameSize.compareAssign(static_cast<unsigned int>(average));
}

// Derives the values of one row; tells whether any changed.
inline bool derive(CFrameTypeOrSizeStat & row, double base)
{
    return storePercentage(row.percentage, static_cast<double>(row.frames.get()) * 100.0 / base, base);
}

// A frame counts at its sender and at its receiver against a base that counts it once: stations can add up to
// 200.
inline bool derive(CStationStat & row, double base)
{
    unsigned int const frames = row.framesTransmitted.get() + row.framesReceived.get();
    return storePercentage(row.percentage, static_cast<double>(frames) * 100.0 / base, base);
}

// Divides first, unlike the others; the last bit can differ.
inline bool derive(CProtocolStat & row, double base)
{
    double const frames = row.framesTransmitted.get();
    bool const moved = storePercentage(row.percentage, frames / base * 100.0, base);
    return storeAverage(row, base) || moved;
}

template <class Connection>
bool derive(Connection & row, double base)
{
    double const frames = row.framesTransmitted.get();
    bool const moved = storePercentage(row.percentage, frames * 100.0 / base, base);
    return storeAverage(row, base) || moved;
}

template <class Row>
bool deriveAndMark(Row & row, double base)
{
    bool const changed = derive(row, base);
    if (changed)
        row.markChanged();
    return changed;
}

template <class T, class K, class H>
void deriveRows(CHashedContainerStat<T, K, H> & table, double base)
{
    bool changed = false;
    for (unsigned int id = table.getOldestId(); id != 0; id = table.getNextNewerId(id))
        changed = deriveAndMark(*table.getChildById(id), base) || changed;
    if (changed)
        table.markChanged();
}

template <class Table>
void deriveFrameTable(Table & table, double base)
{
    bool changed = false;
    for (unsigned int index = 0; index < table.getChildrenCount(); ++index)
        changed = deriveAndMark(static_cast<CFrameTypeOrSizeStat &>(*table.getChild(index)), base) || changed;
    if (changed)
        table.markChanged();
}

} // namespace KetStats
