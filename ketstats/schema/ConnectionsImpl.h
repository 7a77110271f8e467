#pragma once

#include "ketstats/model/HashedContainerStatImpl.h"
#include "ketstats/schema/Connections.h"

namespace KetStats {

template <class Traffic>
CGenConnectionStat<Traffic>::CGenConnectionStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

template <class Traffic>
CGenConnectionStat<Traffic>::CGenConnectionStat(CBaseStat * theParent, unsigned short theId,
                                                CKey const & theKey)
    : CGenConnectionStat(theParent, theId)
{
    takeKey(theKey);
}

template <class Traffic>
void CGenConnectionStat<Traffic>::takeKey(CKey const & theKey)
{
    key = theKey;
    fromKey();
}

template <class Traffic>
CStructStatDescription const & CGenConnectionStat<Traffic>::groupDescription()
{
    static CStructStatDescription const description(Traffic::name, columnDescriptions());
    return description;
}

template <class Traffic>
void CGenConnectionStat<Traffic>::updateKey()
{
    key.first = source.get();
    key.second = destination.get();
}

template <class Traffic>
void CGenConnectionStat<Traffic>::fromKey()
{
    source = key.first;
    destination = key.second;
}

template <class Traffic>
void CGenConnectionStat<Traffic>::doUnpackValue(ktools::CMemoryBuffer & buffer)
{
    CBaseStaticContainerStat::doUnpackValue(buffer);
    updateKey();
}

template <class Traffic>
void CGenConnectionStat<Traffic>::doAssign(CBaseStat const & other)
{
    CBaseStaticContainerStat::doAssign(other);
    updateKey();
}

} // namespace KetStats
