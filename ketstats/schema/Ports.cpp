#include "ketstats/schema/Ports.h"

#include "ketstats/model/HashedContainerStatImpl.h"

namespace KetStats {

template <int N>
CGenProtoStat<N>::CGenProtoStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

template <int N>
CGenProtoStat<N>::CGenProtoStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key)
    : CGenProtoStat(theParent, theId)
{
    takeKey(key);
}

template <int N>
CStructStatDescription const & CGenProtoStat<N>::groupDescription()
{
    static CStructStatDescription const description(1159, columnDescriptions());
    return description;
}

template <int N>
CGenPortStat<N>::CGenPortStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

template <int N>
CGenPortStat<N>::CGenPortStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key)
    : CGenPortStat(theParent, theId)
{
    takeKey(key);
}

template <int N>
CStructStatDescription const & CGenPortStat<N>::groupDescription()
{
    static CStructStatDescription const description(name, columnDescriptions());
    return description;
}

template class CGenProtoStat<0>;
template class CGenPortStat<0>;
template class CGenPortStat<1>;
template class CHashedContainerStat<CGenProtoStat<0>, CProtocolIdPacked, CGenProtoStat<0>::CHasher>;
template class CHashedContainerStat<CGenPortStat<0>, CProtocolIdPacked, CGenPortStat<0>::CHasher>;
template class CHashedContainerStat<CGenPortStat<1>, CProtocolIdPacked, CGenPortStat<1>::CHasher>;

CIPPortsStat::CIPPortsStat(CBaseStat * theParent, unsigned short theId,
                           CStructStatDescription const & theDescription)
    : CUnfilteredContainerStat(theParent, theId, theDescription)
{}

CStructStatDescription const & CIPPortsStat::groupDescription()
{
    static CStructStatDescription const description(1219, columnDescriptions());
    return description;
}

} // namespace KetStats
