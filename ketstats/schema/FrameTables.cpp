#include "ketstats/schema/FrameTables.h"

namespace KetStats {

CFrameTypeOrSizeStat::CFrameTypeOrSizeStat(CBaseStat * theParent, unsigned short theId,
                                           CStructStatDescription const & theDescription)
    : CUnfilteredContainerStat(theParent, theId, theDescription)
{
    // The label belongs to the node: it is the text of the resources at this moment.
    name = theDescription.getStringDescription();
}

CFrameTypesStat::CFrameTypesStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CFrameTypesStat::groupDescription()
{
    static CStructStatDescription const row(1128, CFrameTypeOrSizeStat::columnDescriptions());
    static CStructStatDescription const description(1135, columnDescriptions(), &row);
    return description;
}

CFrameSizesStat::CFrameSizesStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CFrameSizesStat::groupDescription()
{
    // Named like the last row, yet a description of its own.
    static CStructStatDescription const row(2005, CFrameTypeOrSizeStat::columnDescriptions());
    static CStructStatDescription const description(1142, columnDescriptions(), &row);
    return description;
}

CFrameTablesStat::CFrameTablesStat(CBaseStat * theParent, unsigned short theId)
    : CUnfilteredContainerStat(theParent, theId, groupDescription())
{}

CStructStatDescription const & CFrameTablesStat::groupDescription()
{
    static CStructStatDescription const description(1143, columnDescriptions());
    return description;
}

} // namespace KetStats
