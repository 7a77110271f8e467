#include "ketstats/extended/Vlans.h"

#include "ketstats/model/HashedContainerStatImpl.h"

namespace KetStats {

template <int N>
CGenVlanStat<N>::CGenVlanStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

template <int N>
CGenVlanStat<N>::CGenVlanStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key)
    : CGenVlanStat(theParent, theId)
{
    takeKey(key);
}

template <int N>
CStructStatDescription const & CGenVlanStat<N>::groupDescription()
{
    static CStructStatDescription const description(1244, columnDescriptions());
    return description;
}

template class CGenVlanStat<0>;
template class CGenVlanStat<1>;
template class CHashedContainerStat<COuterVlanStat, CProtocolIdPacked, COuterVlanStat::CHasher>;
template class CHashedContainerStat<CInnerVlanStat, CProtocolIdPacked, CInnerVlanStat::CHasher>;

CVlansStat::CVlansStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CVlansStat::groupDescription()
{
    static CStructStatDescription const description(1236, columnDescriptions());
    return description;
}

} // namespace KetStats
