#include "ketstats/schema/AgentStatistic.h"

#include "ketstats/model/RowCounts.h"
#include "ketstats/schema/RootPositions.h"

namespace KetStats {

namespace {

constexpr unsigned short rootId = 1;

} // namespace

CAgentStatistic::CAgentStatistic(CTableLimits const & theLimits)
    : CTreeRoot(rootId, groupDescription(), theLimits)
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
    return schema::positionIn(*this, rootId, oid);
}

CBaseStat & CAgentStatistic::operator[](CStatPointer const & position)
{
    return schema::nodeAt(*this, position);
}

CBaseStat const & CAgentStatistic::operator[](CStatPointer const & position) const
{
    return const_cast<CAgentStatistic &>(*this)[position];
}

} // namespace KetStats
