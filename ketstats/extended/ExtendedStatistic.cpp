#include "ketstats/extended/ExtendedStatistic.h"

#include "ketstats/schema/RootPositions.h"

namespace KetStats {

CExtendedStatistic::CExtendedStatistic(CTableLimits const & theLimits)
    : CTreeRoot(rootId, groupDescription(), theLimits)
{}

CExtendedStatistic::~CExtendedStatistic() = default;

CStructStatDescription const & CExtendedStatistic::groupDescription()
{
    static CStructStatDescription const description(1232, columnDescriptions(), rootId);
    return description;
}

std::size_t CExtendedStatistic::largestMemory(CTableLimits const & limits)
{
    return sizeof(CExtendedStatistic) +
           CIPv6ConnectionStat::Container::largestMemory(limits.ipv6Connections) +
           CIPv6ProtoStat::Container::largestMemory(limits.ipv6Protocols) +
           CIPv6TcpPortStat::Container::largestMemory(limits.ipv6TcpPorts) +
           CIPv6UdpPortStat::Container::largestMemory(limits.ipv6UdpPorts) +
           COuterVlanStat::Container::largestMemory(limits.vlans) +
           CInnerVlanStat::Container::largestMemory(limits.innerVlans) +
           CNeighbourStat::Container::largestMemory(limits.neighbours);
}

void CExtendedStatistic::addLedgers(CLedgers & all) const
{
    all.ipv6Connections = ipv6Connections.ledger();
    all.ipv6Protocols = ipv6Protocols.ledger();
    all.ipv6TcpPorts = ipv6Ports.tcpPorts.ledger();
    all.ipv6UdpPorts = ipv6Ports.udpPorts.ledger();
    all.vlans = vlans.outer.ledger();
    all.innerVlans = vlans.inner.ledger();
    all.neighbours = neighbours.ledger();
}

bool CExtendedStatistic::isBlank() const
{
    CLedgers ledgers;
    addLedgers(ledgers);
    unsigned int counted = ipv6Connections.size() + ipv6Protocols.size() + ipv6Ports.tcpPorts.size() +
                           ipv6Ports.udpPorts.size() + vlans.outer.size() + vlans.inner.size() +
                           neighbours.size();
    CSignalsStat::forEachColumn([&](auto, auto counter) { counted += (signals.*counter).get() != 0; });
    CTunnelsStat::forEachColumn([&](auto, auto row) { counted += (tunnels.*row).frames.get() != 0; });
    return counted == 0 && ledgers == CLedgers();
}

CExtendedStatistic::CStatPointer CExtendedStatistic::getStatMemberPointer(COid const & oid)
{
    return schema::positionIn(*this, rootId, oid);
}

CBaseStat & CExtendedStatistic::operator[](CStatPointer const & position)
{
    return schema::nodeAt(*this, position);
}

CBaseStat const & CExtendedStatistic::operator[](CStatPointer const & position) const
{
    return const_cast<CExtendedStatistic &>(*this)[position];
}

} // namespace KetStats
