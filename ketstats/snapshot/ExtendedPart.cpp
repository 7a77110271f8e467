#include "ketstats/snapshot/ExtendedPart.h"

#include "ketstats/snapshot/Derivation.h"
#include "ketstats/snapshot/OthersRow.h"
#include "ketstats/snapshot/SampledRows.h"

namespace KetStats {

namespace {

template <class Operation>
void forEachTable(CExtendedStatistic & tree, Operation && operation)
{
    operation(tree.ipv6Connections);
    operation(tree.ipv6Protocols);
    operation(tree.ipv6Ports.tcpPorts);
    operation(tree.ipv6Ports.udpPorts);
    operation(tree.vlans.outer);
    operation(tree.vlans.inner);
    operation(tree.neighbours);
}

void sampleSignals(CSignalsStat & sample, CSignalsStat const & base, CSignalsStat const & live)
{
    CSignalsStat::forEachColumn(
        [&](auto, auto counter) { subtract(sample.*counter, live.*counter, base.*counter); });
}

} // namespace

CExtendedPart::CExtendedPart(CTableLimits const & limits)
    : m_visible(limits),
      m_sample(limits),
      m_signals(nullptr, 1),
      m_tunnels(nullptr, 1)
{
    forEachTable(m_visible, [](auto & table) { table.layFlat(); });
    forEachTable(m_sample, [](auto & table) { table.layFlat(true); });
}

std::size_t CExtendedPart::largestMemory(CTableLimits const & limits, Groups const & groups)
{
    std::size_t zero = 0;
    std::size_t tree = 0;
    if (groups[1]) {
        zero += CTableZero<CIPv6ConnectionStat>::largestMemory(limits.ipv6Connections);
        tree += CFlatRows<CIPv6ConnectionStat>::largestMemory(limits.ipv6Connections);
    }
    if (groups[2])
        tree += CFlatRows<CIPv6ProtoStat>::largestMemory(limits.ipv6Protocols);
    if (groups[3])
        tree += CFlatRows<CIPv6TcpPortStat>::largestMemory(limits.ipv6TcpPorts) +
                CFlatRows<CIPv6UdpPortStat>::largestMemory(limits.ipv6UdpPorts);
    if (groups[4]) {
        zero += CTableZero<COuterVlanStat>::largestMemory(limits.vlans) +
                CTableZero<CInnerVlanStat>::largestMemory(limits.innerVlans);
        tree += CFlatRows<COuterVlanStat>::largestMemory(limits.vlans) +
                CFlatRows<CInnerVlanStat>::largestMemory(limits.innerVlans);
    }
    if (groups[5])
        tree += CFlatRows<CNeighbourStat>::largestMemory(limits.neighbours);
    return sizeof(CExtendedPart) + 2 * 7 * (sizeof(CFlatRows<COuterVlanStat>) + allocationBytes) + zero +
           2 * tree;
}

void CExtendedPart::setZeroPoint(CExtendedStatistic const & live, bool selectedOnly)
{
    m_signals.assign(live.signals);
    m_tunnels.assign(live.tunnels);
    auto const take = [&](unsigned int group, auto & zero, auto const & table) {
        selected(group) || !selectedOnly ? zero.take(table) : zero.clear();
    };
    take(1, m_zero.connections, live.ipv6Connections);
    take(4, m_zero.outerVlans, live.vlans.outer);
    take(4, m_zero.innerVlans, live.vlans.inner);
}

void CExtendedPart::sample(CExtendedStatistic const & live, bool tellRowsApart, CLedgers & ledgers)
{
    if (selected(1))
        sampleRows(m_sample.ipv6Connections, m_zero.connections, live.ipv6Connections, tellRowsApart,
                   ledgers.ipv6Connections);
    if (selected(2)) {
        m_sample.ipv6Protocols.compareAssign(live.ipv6Protocols);
        ledgers.ipv6Protocols = live.ipv6Protocols.ledger();
    }
    if (selected(3)) {
        m_sample.ipv6Ports.compareAssign(live.ipv6Ports);
        ledgers.ipv6TcpPorts = live.ipv6Ports.tcpPorts.ledger();
        ledgers.ipv6UdpPorts = live.ipv6Ports.udpPorts.ledger();
    }
    if (selected(4)) {
        sampleRows(m_sample.vlans.outer, m_zero.outerVlans, live.vlans.outer, tellRowsApart, ledgers.vlans);
        sampleRows(m_sample.vlans.inner, m_zero.innerVlans, live.vlans.inner, tellRowsApart,
                   ledgers.innerVlans);
    }
    if (selected(5)) {
        ledgers.neighbours = live.neighbours.ledger();
        if (!m_sampledNeighbours.isOf(live.neighbours)) {
            m_sampledNeighbours.forget();
            m_sample.neighbours.compareAssign(live.neighbours);
            m_sampledNeighbours.set(live.neighbours);
        }
    }
    if (selected(6))
        sampleSignals(m_sample.signals, m_signals, live.signals);
    if (selected(7))
        sampleFrameTable(m_sample.tunnels, m_tunnels, live.tunnels);
}

void CExtendedPart::forgetSamples()
{
    m_zero.connections.sampled.forget();
    m_zero.outerVlans.sampled.forget();
    m_zero.innerVlans.sampled.forget();
    m_sampledNeighbours.forget();
}

// Where memory runs out some tables lie flat still, and are asked for again.
CExtendedStatistic & CExtendedPart::nodes()
{
    if (m_flat)
        forEachTable(m_visible, [](auto & table) { table.unfold(); });
    m_flat = false;
    return m_visible;
}

void CExtendedPart::unpack(ktools::CMemoryBuffer & buffer)
{
    nodes().ipv6Connections.registerDeleteHandler(&foldDroppedConnection<CIPv6ConnectionStat>);
    m_visible.unpackValue(buffer);
}

void CExtendedPart::derive(double frames)
{
    deriveRows(nodes().ipv6Connections, frames);
    deriveRows(m_visible.vlans.outer, frames);
    deriveRows(m_visible.vlans.inner, frames);
    if (m_visible.vlans.outer.isChanged() || m_visible.vlans.inner.isChanged())
        m_visible.vlans.markChanged();
    deriveFrameTable(m_visible.tunnels, frames);
}

} // namespace KetStats
