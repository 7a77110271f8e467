#include "ketstats/schema/ConnectionsImpl.h"

namespace KetStats {

CARPStat::CARPStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

CARPStat::CARPStat(CBaseStat * theParent, unsigned short theId, CIPAddress const & key)
    : CARPStat(theParent, theId)
{
    takeKey(key);
}

CARPStat::CARPStat(CBaseStat * theParent, unsigned short theId, CIPAddress const & key,
                   CMACAddrPacked const & address)
    : CARPStat(theParent, theId, key)
{
    macAddress = address;
}

CStructStatDescription const & CARPStat::groupDescription()
{
    static CStructStatDescription const description(1151, columnDescriptions());
    return description;
}

template class CGenConnectionStat<schema::CMACTraffic>;
template class CGenConnectionStat<schema::CIPTraffic>;
template class CHashedContainerStat<CMACConnectionStat, CMACConnectionStat::CKey,
                                    CMACConnectionStat::CHasher>;
template class CHashedContainerStat<CIPConnectionStat, CIPConnectionStat::CKey, CIPConnectionStat::CHasher>;
template class CHashedContainerStat<CARPStat, CIPAddress, CARPStat::CHasher>;

} // namespace KetStats
