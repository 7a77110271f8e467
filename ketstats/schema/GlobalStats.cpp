#include "ketstats/schema/GlobalStats.h"

namespace KetStats {

CGlobalStatisticsStat::CGlobalStatisticsStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CGlobalStatisticsStat::groupDescription()
{
    static CStructStatDescription const description(1107, columnDescriptions());
    return description;
}

CGlobalErrorsStat::CGlobalErrorsStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CGlobalErrorsStat::groupDescription()
{
    static CStructStatDescription const description(1108, columnDescriptions());
    return description;
}

CGlobalFilterStat::CGlobalFilterStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CGlobalFilterStat::groupDescription()
{
    static CStructStatDescription const description(1122, columnDescriptions());
    return description;
}

} // namespace KetStats
