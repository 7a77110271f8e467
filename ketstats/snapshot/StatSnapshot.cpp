#include "ketstats/snapshot/StatSnapshot.h"

#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/snapshot/OthersRow.h"

namespace KetStats {

namespace {

template <class Operation>
void forEachTable(CAgentStatistic & tree, Operation && operation)
{
    operation(tree.stations);
    operation(tree.protocols);
    operation(tree.macConnections);
    operation(tree.ipConnections);
    operation(tree.arpTable);
    operation(tree.ipSubprotocols);
    operation(tree.ipPorts.tcpPorts);
    operation(tree.ipPorts.udpPorts);
}

} // namespace

CStatSnapshot::CStatSnapshot(CTableLimits const & theLimits)
    : m_visible(theLimits),
      m_sample(theLimits),
      m_base(theLimits)
{
    removeAllOids();
    forEachTable(m_visible, [](auto & table) { table.layFlat(); });
    forEachTable(m_sample, [](auto & table) { table.layFlat(true); });
}

CStatSnapshot::~CStatSnapshot()
{
    if (m_root)
        m_root->destroyChildren();
}

std::size_t CStatSnapshot::largestMemory(CTableLimits const & limits, std::bitset<12> const & groups)
{
    // With the nodes of the selection, and what two trees of eight tables that lie flat have without rows.
    std::size_t const fixed =
        sizeof(CStatSnapshot) + 1024 + 2 * 8 * (sizeof(CFlatRows<CStationStat>) + allocationBytes);
    std::size_t zero = 0;
    std::size_t tree = 0;
    if (groups[5]) {
        zero += CTableZero<CStationStat>::largestMemory(limits.stations);
        tree += CFlatRows<CStationStat>::largestMemory(limits.stations) +
                limits.stations * (CFlatRows<CTcpPortStat>::largestMemory(limits.stationTcpPorts) +
                                   CFlatRows<CUdpPortStat>::largestMemory(limits.stationUdpPorts));
    }
    if (groups[6]) {
        zero += CTableZero<CProtocolStat>::largestMemory(limits.protocols);
        tree += CFlatRows<CProtocolStat>::largestMemory(limits.protocols);
    }
    if (groups[7]) {
        zero += CTableZero<CMACConnectionStat>::largestMemory(limits.macConnections);
        tree += CFlatRows<CMACConnectionStat>::largestMemory(limits.macConnections);
    }
    if (groups[8]) {
        zero += CTableZero<CIPConnectionStat>::largestMemory(limits.ipConnections);
        tree += CFlatRows<CIPConnectionStat>::largestMemory(limits.ipConnections);
    }
    if (groups[9])
        tree += CFlatRows<CARPStat>::largestMemory(limits.arpTable);
    if (groups[10])
        tree += CFlatRows<CGenProtoStat<0>>::largestMemory(limits.ipSubprotocols);
    if (groups[11])
        tree += CFlatRows<CTcpPortStat>::largestMemory(limits.tcpPorts) +
                CFlatRows<CUdpPortStat>::largestMemory(limits.udpPorts);
    return fixed + zero + 2 * tree;
}

std::size_t CStatSnapshot::largestMemory(CTableLimits const & limits, std::bitset<12> const & groups,
                                         std::bitset<8> const & extendedGroups)
{
    std::size_t const first = largestMemory(limits, groups);
    return extendedGroups.any() ? first + CExtendedPart::largestMemory(limits, extendedGroups) : first;
}

// What this snapshot holds of the second tree, from now on if it didn't.
CExtendedPart & CStatSnapshot::extended()
{
    if (!m_extended)
        m_extended = std::make_unique<CExtendedPart>(limits());
    return *m_extended;
}

void CStatSnapshot::enableAllOids()
{
    m_enabled.fill(1);
}

void CStatSnapshot::removeAllOids()
{
    m_enabled.fill(0);
}

// Identifiers of three and more components set no flag, and of two the first one isn't looked at.
void CStatSnapshot::setGroupFlags(COid const & oid, bool on)
{
    if (isExtended(oid)) {
        CExtendedPart::Groups const all(0xFE);
        if (oid.length() == 1)
            extended().select(all, on);
        else if (oid.length() == 2 && oid[1] >= 1 && oid[1] < all.size())
            extended().select(CExtendedPart::Groups().set(oid[1]), on);
    } else if (oid.length() == 2 && oid[1] >= 1 && oid[1] < m_enabled.size())
        m_enabled[oid[1]] = on ? 1 : 0;
    else if (oid.length() == 1 && oid[0] == 1)
        on ? enableAllOids() : removeAllOids();
}

void CStatSnapshot::addOid(COid const & oid)
{
    if (!m_root)
        m_root = std::make_unique<CStatTreeNode>();
    m_root->insertOid(oid, m_visible, isExtended(oid) ? &extended().visible() : nullptr);
    setGroupFlags(oid, true);
}

void CStatSnapshot::removeOid(COid const & oid)
{
    if (!m_root)
        return;
    m_root->eraseOid(oid);
    setGroupFlags(oid, false);
}

// What the client sees, with its rows to be looked at. Where memory runs out some tables lie flat still, and are
// asked for again.
CAgentStatistic & CStatSnapshot::nodes()
{
    if (m_flat)
        forEachTable(m_visible, [](auto & table) { table.unfold(); });
    m_flat = false;
    return m_visible;
}

CBaseStat * CStatSnapshot::getStat(COid const & oid)
{
    return isExtended(oid) ? extended().nodes().getStatPointer(oid, 1) : nodes().getStatPointer(oid, 1);
}

CBaseStat const * CStatSnapshot::getStat(COid const & oid) const
{
    return const_cast<CStatSnapshot *>(this)->getStat(oid);
}

CBaseStat * CStatSnapshot::getStat(COid const & oid, bool & changed)
{
    CBaseStat * const stat = getStat(oid);
    if (stat)
        changed = stat->isChanged();
    return stat;
}

void CStatSnapshot::initSnapshot(CKetrinStatManager & manager)
{
    manager.initSnapshot(this);
    m_linkSpeed = manager.getLinkSpeed();
}

void CStatSnapshot::expectLimitsOf(CAgentStatistic const & live) const
{
    if (live.limits() != limits())
        ktools::raise<CAgentStatistic::CException>(2, "TableLimits", 67);
}

void CStatSnapshot::initSnapshot(CAgentStatistic const & live)
{
    expectLimitsOf(live);
    m_sampleStart.getSystemTime();
    m_firstSampleStart = m_sampleStart;
    setZeroPoint(live);
    m_sample.globalStatistics.sampleNumber = 0U;
    m_sample.globalFilter.reset();
    m_passedFrames = 0;
}

// A group that is selected later needs its zero point, too, where there is anything to be taken off.
void CStatSnapshot::initSnapshot(CAgentStatistic const & live, CExtendedStatistic const & extendedLive)
{
    if (m_extended || (!m_holdSelectedOnly && !extendedLive.isBlank()))
        extended().setZeroPoint(extendedLive, m_holdSelectedOnly);
    initSnapshot(live);
}

void CStatSnapshot::tellRowsApart(bool on)
{
    m_tellRowsApart = on;
    forgetSamples();
    m_sample.stations.tellRowsApart(on);
    m_visible.stations.tellRowsApart(on);
}

void CStatSnapshot::forgetSamples()
{
    m_zero.stations.sampled.forget();
    m_zero.protocols.sampled.forget();
    m_zero.macConnections.sampled.forget();
    m_zero.ipConnections.sampled.forget();
    m_sampledBindings.forget();
    if (m_extended)
        m_extended->forgetSamples();
}

CLedgers CStatSnapshot::getGivenUp() const
{
    CLedgers result = m_ledgers;
    takeOffOthers<CIPConnectionStat>(result.ipConnections,
                                     const_cast<CStatSnapshot *>(this)->nodes().ipConnections);
    if (m_extended)
        takeOffOthers<CIPv6ConnectionStat>(result.ipv6Connections, m_extended->nodes().ipv6Connections);
    return result;
}

void CStatSnapshot::nextSample(CKetrinStatManager & manager)
{
    manager.nextSample(this);
}

void CStatSnapshot::startSampling(CKetrinStatManager & manager)
{
    m_linkSpeed = manager.getLinkSpeed();
    manager.startSampling(this);
}

void CStatSnapshot::reset()
{
    m_visible.reset();
    if (m_extended)
        m_extended->visible().reset();
}

void CStatSnapshot::resetChanged()
{
    nodes().resetChanged();
    if (m_extended)
        m_extended->nodes().resetChanged();
}

void CStatSnapshot::checkChanged() const
{
    const_cast<CStatSnapshot *>(this)->nodes().checkChanged();
    if (m_extended)
        m_extended->nodes().checkChanged();
}

_SYSTEMTIME CStatSnapshot::getSampleStart() const
{
    return m_sampleStart;
}

bool CKetrinStatManager::initSnapshot(CStatSnapshot * snapshot)
{
    CReadGuard const guard(gate);
    UpdateHardwareStats();
    snapshot->initSnapshot(agentStatistic, extendedStatistic);
    return true;
}

bool CKetrinStatManager::nextSample(CStatSnapshot * snapshot)
{
    CReadGuard const guard(gate);
    snapshot->nextSample(agentStatistic, extendedStatistic);
    return true;
}

bool CKetrinStatManager::startSampling(CStatSnapshot * snapshot)
{
    CReadGuard const guard(gate);
    UpdateHardwareStats();
    snapshot->initSnapshot(agentStatistic, extendedStatistic);
    snapshot->nextSample(agentStatistic, extendedStatistic);
    return true;
}

} // namespace KetStats
