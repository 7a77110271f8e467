#include "ketstats/schema/TreeRoot.h"

#include "ketstats/schema/AgentStatistic.h"

namespace KetStats {

namespace {

CTableLimits const & checked(CTableLimits const & limits)
{
    for (unsigned int const limit :
         {limits.stations, limits.protocols, limits.macConnections, limits.ipConnections, limits.arpTable,
          limits.ipSubprotocols, limits.tcpPorts, limits.udpPorts, limits.stationTcpPorts,
          limits.stationUdpPorts, limits.ipv6Connections, limits.ipv6Protocols, limits.ipv6TcpPorts,
          limits.ipv6UdpPorts, limits.vlans, limits.innerVlans, limits.neighbours})
        if (limit < smallestTableLimit || limit > largestTableLimit)
            ktools::raise<CAgentStatistic::CException>(2, "TableLimits", 24);
    return limits;
}

} // namespace

schema::CTreeRoot::CTreeRoot(unsigned short rootId, CStructStatDescription const & theDescription,
                             CTableLimits const & theLimits)
    : CUnfilteredContainerStat(nullptr, rootId, theDescription),
      m_limits(checked(theLimits))
{}

CTableLimits const & schema::limitsAround(CBaseStat const * node)
{
    static CTableLimits const ofTheLibrary;
    while (node && node->getParent())
        node = node->getParent();
    // A tree that is being built is a root already.
    auto const * const root = dynamic_cast<CTreeRoot const *>(node);
    return root ? root->limits() : ofTheLibrary;
}

} // namespace KetStats
