#include "ketstats/schema/PortsImpl.h"

namespace KetStats {

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
