#include "ketstats/extended/Signals.h"

namespace KetStats {

CSignalsStat::CSignalsStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CSignalsStat::groupDescription()
{
    static CStructStatDescription const description(1240, columnDescriptions());
    return description;
}

CTunnelsStat::CTunnelsStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CTunnelsStat::groupDescription()
{
    static CStructStatDescription const row(1280, CFrameTypeOrSizeStat::columnDescriptions());
    static CStructStatDescription const description(1241, columnDescriptions(), &row);
    return description;
}

} // namespace KetStats
