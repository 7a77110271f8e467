#include "ketstats/snapshot/Derivation.h"
#include "ketstats/snapshot/StatSnapshot.h"

// Values derived from counters: percentages and averages at the reading end, and the filter counters of a
// sample.

namespace KetStats {

void CStatSnapshot::calculatePercentStats()
{
    percentVal const base(static_cast<double>(nodes().globalStatistics.transmittedFrames.get()));
    calculateFrameTablesPercent(base);
    calculateNetworkStationsStatsPercent(base);
    calculateNetworkProtocolsStatsPercent(base);
    calculateMACConnectionsStatsPercent(base);
    calculateIPConnectionsStatsPercent(base);
    if (m_extended)
        m_extended->derive(base);
}

void CStatSnapshot::calculateFrameTablesPercent(percentVal base)
{
    CFrameTablesStat & tables = m_visible.frameTables;
    deriveFrameTable(tables.frameTypes, base);
    deriveFrameTable(tables.frameSizes, base);
    if (tables.frameTypes.isChanged() || tables.frameSizes.isChanged())
        tables.markChanged();
}

void CStatSnapshot::calculateNetworkStationsStatsPercent(percentVal base)
{
    deriveRows(m_visible.stations, base);
}

void CStatSnapshot::calculateNetworkProtocolsStatsPercent(percentVal base)
{
    deriveRows(m_visible.protocols, base);
}

void CStatSnapshot::calculateMACConnectionsStatsPercent(percentVal base)
{
    deriveRows(m_visible.macConnections, base);
}

void CStatSnapshot::calculateIPConnectionsStatsPercent(percentVal base)
{
    deriveRows(m_visible.ipConnections, base);
}

// The base's "Filtered frames" holds the frame count at which filtering began.
void CStatSnapshot::calculateGlobalFilterStats()
{
    CGlobalFilterStat & filter = m_sample.globalFilter;
    unsigned int const before = filter.filteredFrames;
    filter.filteredFrames =
        m_sample.globalStatistics.transmittedFrames.get() - m_base.globalFilter.filteredFrames.get();
    filter.acceptedInLastSample = m_passedFrames;
    filter.rejectedInLastSample = filter.filteredFrames.get() - m_passedFrames - before;
    filter.acceptedFrames.add(m_passedFrames);
    filter.rejectedFrames = filter.filteredFrames.get() - filter.acceptedFrames.get();
    m_passedFrames = 0;
}

// In both directions the group starts over; the frames that passed meanwhile stay for the next sample.
void CStatSnapshot::EnableGlobalFiltering(bool on)
{
    if (on == m_globalFiltering)
        return;
    m_base.globalFilter.filteredFrames = m_sample.globalStatistics.transmittedFrames.get();
    m_sample.globalFilter.reset();
    m_globalFiltering = on;
}

void CStatSnapshot::FramePassedFilter(CFrame const * /*frame*/)
{
    ++m_passedFrames;
}

} // namespace KetStats
