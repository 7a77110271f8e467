#include "ketstats/engine/EngineTables.h"
#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/model/RowCounts.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include <algorithm>
#include <span>
#include <type_traits>

// A sample is the live tree less the base, for the selected groups. The live tree is never reset for a
// client.

namespace KetStats {

namespace {

constexpr double secondsPerTick = 1e-07;
constexpr double shortestSample = 0.001; // seconds

template <class T>
void subtract(CValueStat<T> & target, CValueStat<T> const & live, CValueStat<T> const & base)
{
    target = static_cast<T>(static_cast<unsigned long long>(live.shared()) -
                            static_cast<unsigned long long>(base.get()));
}

// Takes the base's count off a counter of a row.
template <auto Counter>
void reduce(auto & row, auto base)
{
    auto const count = row.template get<Counter>();
    static_assert(std::is_same_v<decltype(base), std::remove_const_t<decltype(count)>>);
    row.template set<Counter>(static_cast<decltype(base)>(static_cast<unsigned long long>(count) -
                                                          static_cast<unsigned long long>(base)));
}

template <class T>
void reduceBy(typename CFlatRows<T>::CRow & row, typename CTableZero<T>::CRow const & base)
{
    reduce<&T::dataTransmitted>(row, base.dataTransmitted);
    reduce<&T::framesTransmitted>(row, base.framesTransmitted);
    if constexpr (CTableZero<T>::bothWays) {
        reduce<&T::dataReceived>(row, base.dataReceived);
        reduce<&T::framesReceived>(row, base.framesReceived);
    }
}

template <class T>
void addZero(CLedger & sum, typename CTableZero<T>::CRow const & base)
{
    sum.framesTransmitted += base.framesTransmitted;
    sum.bytesTransmitted += static_cast<unsigned long long>(base.dataTransmitted);
    if constexpr (CTableZero<T>::bothWays) {
        sum.framesReceived += base.framesReceived;
        sum.bytesReceived += static_cast<unsigned long long>(base.dataReceived);
    }
}

// Brings the sample of a table up to date, and takes off each row what the base has of it. Rows keep their id
// for as long as they live, so a base row stands under the id of its row. If it has another key the id changed
// hands since, and it is never asked again. Nothing below a row is reduced.
//
// With `apart` a base row is taken off the very row that it is a copy of and no other, and once.
//
// Into `ledger` goes what no row of the sample shows of what was counted since the zero point. That is what the table
// gave up since, less what those rows had counted before: the base has all of it, but for the rows still there.
//
// Of a table that is the same as it was, so is all of this. But rows of the sample that are gone are less each
// time.
template <class T, class K, class H>
void sampleRows(CHashedContainerStat<T, K, H> & sample, CTableZero<T> & zero,
                CHashedContainerStat<T, K, H> const & live, bool apart, CLedger & ledger)
{
    if (zero.sampled.isOf(live))
        return;
    // Of another zero point other counts were taken off, which have to be had again.
    if (!zero.sampled.isKnown())
        sample.flat()->forgetSource();
    zero.sampled.forget();
    sample.compareAssign(live);
    std::span<std::uint16_t const> const order = sample.flat()->order();
    std::size_t const unchanged =
        sample.flat()->isCopyOf(live) ? order.size() - sample.flat()->followed() : 0;
    CLedger stillThere;
    for (std::size_t place = 0; place < order.size(); ++place) {
        unsigned int const rowId = order[place];
        auto * const baseRow = zero.row(rowId);
        if (!baseRow)
            continue;
        if (place < unchanged) {
            addZero<T>(stillThere, *baseRow);
            continue;
        }
        bool const isLive = live.getChildById(rowId) != nullptr;
        if (apart && !isLive)
            continue;
        auto & row = *sample.flat()->row(rowId);
        bool const same = CKeyBits<K>(baseRow->key) == CKeyBits<K>(row.rowKey()) &&
                          (!apart || live.birthOf(rowId) == baseRow->birth);
        if (!same) {
            baseRow->counted = false;
            continue;
        }
        reduceBy<T>(row, *baseRow);
        if (isLive)
            addZero<T>(stillThere, *baseRow);
    }

    ledger = live.ledger();
    // What stood before a reset says nothing about what came after it.
    if (zero.isOf(live)) {
        subtract(ledger, zero.ledger());
        add(ledger, stillThere);
    }
    if (sample.flat()->isCopyOf(live))
        zero.sampled.set(live);
}

} // namespace

template <class T>
void CTableZero<T>::take(typename T::Container const & live)
{
    unsigned int last = 0;
    for (T const & row : live)
        last = std::max<unsigned int>(last, row.getId());
    std::vector<CRow> rows(last);
    CLedger all = live.ledger();
    for (T const & row : live) {
        CRow & base = rows[row.getId() - 1U];
        base.key = row.rowKey();
        base.birth = live.birthOf(row.getId());
        base.dataTransmitted = row.dataTransmitted;
        base.framesTransmitted = row.framesTransmitted;
        base.counted = base.framesTransmitted != 0;
        if constexpr (bothWays) {
            base.dataReceived = row.dataReceived;
            base.framesReceived = row.framesReceived;
            base.counted = base.counted || base.framesReceived != 0;
        }
        if (base.counted)
            addCounts(all, row);
    }
    sampled.forget();
    m_rows.swap(rows);
    m_ledger = all;
    m_resets = live.resets();
    m_taken = true;
}

template <class T>
void CTableZero<T>::clear()
{
    sampled.forget();
    m_rows = {};
    m_ledger = {};
    m_taken = false;
}

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
    auto const sampleTable = [](auto & sample, auto & base, auto & current) {
        for (unsigned int index = 0; index < sample.getChildrenCount(); ++index) {
            auto const row = [index](auto & table) -> auto &
            {
                return static_cast<CFrameTypeOrSizeStat &>(const_cast<CBaseStat &>(*table.getChild(index)));
            };
            subtract(row(sample).frames, row(current).frames, row(base).frames);
            subtract(row(sample).data, row(current).data, row(base).data);
        }
    };
    sampleTable(m_sample.frameTables.frameTypes, m_base.frameTables.frameTypes, live.frameTables.frameTypes);
    sampleTable(m_sample.frameTables.frameSizes, m_base.frameTables.frameSizes, live.frameTables.frameSizes);
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
