#include "ketstats/engine/EngineTables.h"
#include "ketstats/snapshot/SampledRows.h"
#include "ketstats/snapshot/StatSnapshot.h"

// A sample is the live tree less the base, for the selected groups. The live tree is never reset for a
// client.

namespace KetStats {

namespace {

constexpr double secondsPerTick = 1e-07;
constexpr double shortestSample = 0.001; // seconds

} // namespace

void CStatSnapshot::setZeroPoint(CAgentStatistic const & live)
{
    m_base.globalStatistics.assign(live.globalStatistics);
    m_base.globalErrors.assign(live.globalErrors);
    m_base.globalFilter.assign(live.globalFilter);
    m_base.frameTables.assign(live.frameTables);
    auto const take = [this](unsigned int group, auto & zero, auto const & table) {
        selected(group) || !m_holdSelectedOnly ? zero.take(table) : zero.clear();
    };
    take(5, m_zero.stations, live.stations);
    take(6, m_zero.protocols, live.protocols);
    take(7, m_zero.macConnections, live.macConnections);
    take(8, m_zero.ipConnections, live.ipConnections);
    m_ledgers = {};
}

void CStatSnapshot::nextSample(CAgentStatistic const & live)
{
    expectLimitsOf(live);
    m_sampleEnd.getSystemTime();
    if (selected(2))
        calculateGlobalErrors(live);
    calculateSampleStats(live);
    if (selected(2))
        calculateAccuracy();
    m_sampleStart = m_sampleEnd;
}

void CStatSnapshot::nextSample(CAgentStatistic const & live, CExtendedStatistic const & extendedLive)
{
    nextSample(live);
    if (m_extended)
        m_extended->sample(extendedLive, m_tellRowsApart, m_ledgers);
}

void CStatSnapshot::calculateSampleStats(CAgentStatistic const & live)
{
    m_sample.globalStatistics.sampleNumber.add(1);
    calculateGlobalStats(live); // whatever is selected
    if (selected(4))
        calculateFrameTables(live);
    if (selected(5))
        calculateNetworkStationsStats(live);
    if (selected(6))
        calculateNetworkProtocolsStats(live);
    if (selected(7))
        calculateMACConnectionsStats(live);
    if (selected(8))
        calculateIPConnectionsStats(live);
    if (selected(9))
        calculateARPTableStats(live);
    if (selected(10))
        calculateIPSubProtocolStats(live);
    if (selected(11))
        calculateIPPortsStats(live);
    if (selected(3) && m_globalFiltering)
        calculateGlobalFilterStats();
}

// All counters of the group, which is all of it but "Accuracy".
void CStatSnapshot::calculateGlobalErrors(CAgentStatistic const & live)
{
    for (auto const counter : hardwareCounters())
        subtract(m_sample.globalErrors.*counter, live.globalErrors.*counter, m_base.globalErrors.*counter);
}

// In percent: 100 for a capture that lost nothing, 0 for one that saw nothing.
void CStatSnapshot::calculateAccuracy()
{
    unsigned int const frames = m_sample.globalStatistics.transmittedFrames;
    unsigned int const all =
        frames + m_sample.globalErrors.hardwareOverflows + m_sample.globalErrors.softwareOverflows;
    double const share = all == 0 ? 0.0 : static_cast<double>(frames) / static_cast<double>(all);
    m_sample.globalErrors.accuracy = percentVal(share * 100.0);
}

// The bytes of the last sample are measured against what the client sees, which a pack brings up to date,
// while its time runs from the last sample. So two samples between two packs show the bytes of both over the
// time of one.
void CStatSnapshot::calculateGlobalStats(CAgentStatistic const & live)
{
    double const sampleTime = static_cast<double>(m_sampleEnd - m_sampleStart) * secondsPerTick;
    double const allTime = static_cast<double>(m_sampleEnd - m_firstSampleStart) * secondsPerTick;
    // Too short, or the clock was set back: the group stays as it was.
    if (!(sampleTime > shortestSample))
        return;

    CGlobalStatisticsStat & sample = m_sample.globalStatistics;
    CGlobalStatisticsStat const & base = m_base.globalStatistics;
    subtract(sample.transmittedData, live.globalStatistics.transmittedData, base.transmittedData);
    subtract(sample.transmittedFrames, live.globalStatistics.transmittedFrames, base.transmittedFrames);

    auto const newData = static_cast<double>(static_cast<long long>(
        static_cast<unsigned long long>(sample.transmittedData.get()) -
        static_cast<unsigned long long>(m_visible.globalStatistics.transmittedData.get())));
    percentVal const current(newData / m_linkSpeed / sampleTime);
    sample.currentUtilisation = current;
    if (sample.peakUtilisation.get() < current)
        sample.peakUtilisation = current;
    sample.averageUtilisation =
        percentVal(static_cast<double>(sample.transmittedData.get()) / m_linkSpeed / allTime);
}

void CStatSnapshot::calculateFrameTables(CAgentStatistic const & live)
{
    sampleFrameTable(m_sample.frameTables.frameTypes, m_base.frameTables.frameTypes,
                     live.frameTables.frameTypes);
    sampleFrameTable(m_sample.frameTables.frameSizes, m_base.frameTables.frameSizes,
                     live.frameTables.frameSizes);
}

void CStatSnapshot::calculateNetworkStationsStats(CAgentStatistic const & live)
{
    if (m_zero.stations.sampled.isOf(live.stations))
        return;
    sampleRows(m_sample.stations, m_zero.stations, live.stations, m_tellRowsApart, m_ledgers.stations);
    CLedgers const all = live.ledgers();
    m_ledgers.stationTcpPorts = all.stationTcpPorts;
    m_ledgers.stationUdpPorts = all.stationUdpPorts;
}

void CStatSnapshot::calculateNetworkProtocolsStats(CAgentStatistic const & live)
{
    sampleRows(m_sample.protocols, m_zero.protocols, live.protocols, m_tellRowsApart, m_ledgers.protocols);
}

void CStatSnapshot::calculateMACConnectionsStats(CAgentStatistic const & live)
{
    sampleRows(m_sample.macConnections, m_zero.macConnections, live.macConnections, m_tellRowsApart,
               m_ledgers.macConnections);
}

void CStatSnapshot::calculateIPConnectionsStats(CAgentStatistic const & live)
{
    sampleRows(m_sample.ipConnections, m_zero.ipConnections, live.ipConnections, m_tellRowsApart,
               m_ledgers.ipConnections);
}

// The three groups below have no base: they show what the live tree holds.

// Its flag goes up at every sample.
void CStatSnapshot::calculateARPTableStats(CAgentStatistic const & live)
{
    m_ledgers.arpTable = live.arpTable.ledger();
    if (m_sampledBindings.isOf(live.arpTable))
        return m_sample.arpTable.markChanged();
    m_sampledBindings.forget();
    m_sample.arpTable.assign(live.arpTable);
    m_sampledBindings.set(live.arpTable);
}

void CStatSnapshot::calculateIPSubProtocolStats(CAgentStatistic const & live)
{
    m_sample.ipSubprotocols.compareAssign(live.ipSubprotocols);
    m_ledgers.ipSubprotocols = live.ipSubprotocols.ledger();
}

void CStatSnapshot::calculateIPPortsStats(CAgentStatistic const & live)
{
    m_sample.ipPorts.compareAssign(live.ipPorts);
    m_ledgers.tcpPorts = live.ipPorts.tcpPorts.ledger();
    m_ledgers.udpPorts = live.ipPorts.udpPorts.ledger();
}

} // namespace KetStats
