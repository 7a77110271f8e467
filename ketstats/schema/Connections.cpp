#include "ketstats/schema/Connections.h"

#include "ketstats/model/HashedContainerStatImpl.h"

namespace KetStats {

CMACConnectionStat::CMACConnectionStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

CMACConnectionStat::CMACConnectionStat(CBaseStat * theParent, unsigned short theId, CKey const & theKey)
    : CMACConnectionStat(theParent, theId)
{
    takeKey(theKey);
}

void CMACConnectionStat::takeKey(CKey const & theKey)
{
    key = theKey;
    fromKey();
}

CStructStatDescription const & CMACConnectionStat::groupDescription()
{
    static CStructStatDescription const description(1146, columnDescriptions());
    return description;
}

void CMACConnectionStat::updateKey()
{
    key.first = source.get();
    key.second = destination.get();
}

void CMACConnectionStat::fromKey()
{
    source = key.first;
    destination = key.second;
}

void CMACConnectionStat::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    CBaseStaticContainerStat::doUnpackValue(buffer);
    updateKey();
}

void CMACConnectionStat::doAssign(CBaseStat const & other)
{
    CBaseStaticContainerStat::doAssign(other);
    updateKey();
}

CIPConnectionStat::CIPConnectionStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

CIPConnectionStat::CIPConnectionStat(CBaseStat * theParent, unsigned short theId, CKey const & theKey)
    : CIPConnectionStat(theParent, theId)
{
    takeKey(theKey);
}

void CIPConnectionStat::takeKey(CKey const & theKey)
{
    key = theKey;
    source = key.first;
    destination = key.second;
}

CStructStatDescription const & CIPConnectionStat::groupDescription()
{
    static CStructStatDescription const description(1147, columnDescriptions());
    return description;
}

void CIPConnectionStat::updateKey()
{
    key.first = source.get();
    key.second = destination.get();
}

void CIPConnectionStat::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    CBaseStaticContainerStat::doUnpackValue(buffer);
    updateKey();
}

void CIPConnectionStat::doAssign(CBaseStat const & other)
{
    CBaseStaticContainerStat::doAssign(other);
    updateKey();
}

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

template class CHashedContainerStat<CMACConnectionStat, CMACConnectionStat::CKey,
                                    CMACConnectionStat::CHasher>;
template class CHashedContainerStat<CIPConnectionStat, CIPConnectionStat::CKey, CIPConnectionStat::CHasher>;
template class CHashedContainerStat<CARPStat, CIPAddress, CARPStat::CHasher>;

} // namespace KetStats
