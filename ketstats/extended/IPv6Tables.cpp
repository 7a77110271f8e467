#include "ketstats/extended/IPv6Tables.h"

#include "ketstats/schema/ConnectionsImpl.h"
#include "ketstats/schema/PortsImpl.h"

namespace KetStats {

template class CGenConnectionStat<schema::CIPv6Traffic>;
template class CHashedContainerStat<CIPv6ConnectionStat, CIPv6ConnectionStat::CKey,
                                    CIPv6ConnectionStat::CHasher>;
template class CGenProtoStat<1>;
template class CGenPortStat<2>;
template class CGenPortStat<3>;
template class CHashedContainerStat<CIPv6ProtoStat, CProtocolIdPacked, CIPv6ProtoStat::CHasher>;
template class CHashedContainerStat<CIPv6TcpPortStat, CProtocolIdPacked, CIPv6TcpPortStat::CHasher>;
template class CHashedContainerStat<CIPv6UdpPortStat, CProtocolIdPacked, CIPv6UdpPortStat::CHasher>;

CIPv6PortsStat::CIPv6PortsStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CIPv6PortsStat::groupDescription()
{
    static CStructStatDescription const description(1235, columnDescriptions());
    return description;
}

CNeighbourStat::CNeighbourStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

CNeighbourStat::CNeighbourStat(CBaseStat * theParent, unsigned short theId, CIPv6Address const & key)
    : CNeighbourStat(theParent, theId)
{
    takeKey(key);
}

CNeighbourStat::CNeighbourStat(CBaseStat * theParent, unsigned short theId, CIPv6Address const & key,
                               CMACAddrPacked const & address)
    : CNeighbourStat(theParent, theId, key)
{
    macAddress = address;
}

CStructStatDescription const & CNeighbourStat::groupDescription()
{
    static CStructStatDescription const description(1246, columnDescriptions());
    return description;
}

template class CHashedContainerStat<CNeighbourStat, CIPv6Address, CNeighbourStat::CHasher>;

} // namespace KetStats
