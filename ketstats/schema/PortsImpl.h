#pragma once

#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/schema/Ports.h"

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

} // namespace KetStats
