#include "ketstats/schema/AgentStatistic.h"

#include "ketstats/model/RowCounts.h"

#include <cstdint>
#include <typeinfo>

namespace KetStats {

namespace {

constexpr unsigned short rootId = 1;

CTableLimits const & checked(CTableLimits const & limits)
{
    for (unsigned int const limit :
         {limits.stations, limits.protocols, limits.macConnections, limits.ipConnections, limits.arpTable,
          limits.ipSubprotocols, limits.tcpPorts, limits.udpPorts, limits.stationTcpPorts,
          limits.stationUdpPorts})
        if (limit < smallestTableLimit || limit > largestTableLimit)
            ktools::raise<CAgentStatistic::CException>(2, "TableLimits", 24);
    return limits;
}

} // namespace

CTableLimits const & schema::limitsAround(CBaseStat const * node)
{
    static CTableLimits const ofTheLibrary;
    while (node && node->getParent())
        node = node->getParent();
    // A tree that is being built is a tree already.
    return node && typeid(*node) == typeid(CAgentStatistic)
               ? static_cast<CAgentStatistic const *>(node)->limits()
               : ofTheLibrary;
}

CAgentStatistic::CAgentStatistic(CTableLimits const & theLimits)
    : CUnfilteredContainerStat(nullptr, rootId, groupDescription()),
      m_limits(checked(theLimits))
{}

CAgentStatistic::~CAgentStatistic() = default;

CStructStatDescription const & CAgentStatistic::groupDescription()
{
    static CStructStatDescription const description(1145, columnDescriptions(), rootId);
    return description;
}

std::size_t CAgentStatistic::largestMemory(CTableLimits const & limits)
{
    std::size_t const station = CTcpPortStat::Container::largestMemory(limits.stationTcpPorts) +
                                CUdpPortStat::Container::largestMemory(limits.stationUdpPorts);
    return sizeof(CAgentStatistic) + CStationStat::Container::largestMemory(limits.stations) +
           limits.stations * station + CProtocolStat::Container::largestMemory(limits.protocols) +
           CMACConnectionStat::Container::largestMemory(limits.macConnections) +
           CIPConnectionStat::Container::largestMemory(limits.ipConnections) +
           CARPStat::Container::largestMemory(limits.arpTable) +
           CGenProtoStat<0>::Container::largestMemory(limits.ipSubprotocols) +
           CTcpPortStat::Container::largestMemory(limits.tcpPorts) +
           CUdpPortStat::Container::largestMemory(limits.udpPorts);
}

CLedgers CAgentStatistic::ledgers() const
{
    CLedgers all{.stations = stations.ledger(),
                 .protocols = protocols.ledger(),
                 .macConnections = macConnections.ledger(),
                 .ipConnections = ipConnections.ledger(),
                 .arpTable = arpTable.ledger(),
                 .ipSubprotocols = ipSubprotocols.ledger(),
                 .tcpPorts = ipPorts.tcpPorts.ledger(),
                 .udpPorts = ipPorts.udpPorts.ledger(),
                 .stationTcpPorts = stations.givenUpTables().tcpPorts,
                 .stationUdpPorts = stations.givenUpTables().udpPorts};
    for (CStationStat const & station : stations) {
        add(all.stationTcpPorts, station.tcpPorts.ledger());
        add(all.stationUdpPorts, station.udpPorts.ledger());
    }
    return all;
}

CAgentStatistic::CStatPointer CAgentStatistic::getStatMemberPointer(COid const & oid)
{
    if (oid.length() == 0 || oid[0] != rootId)
        return {};
    CBaseStat const * const node = getStatPointer(oid, 1);
    auto const root = reinterpret_cast<std::uintptr_t>(this);
    auto const distance = reinterpret_cast<std::uintptr_t>(node) - root;
    if (!node || distance >= sizeof *this)
        return {};
    return {static_cast<int>(distance)};
}

CBaseStat & CAgentStatistic::operator[](CStatPointer const & position)
{
    if (position.offset < 0)
        ktools::raise<CException>(1, "AgentStatistic", 559);
    return *reinterpret_cast<CBaseStat *>(reinterpret_cast<char *>(this) + position.offset);
}

CBaseStat const & CAgentStatistic::operator[](CStatPointer const & position) const
{
    return const_cast<CAgentStatistic &>(*this)[position];
}

} // namespace KetStats
