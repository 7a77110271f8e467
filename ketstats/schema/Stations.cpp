#include "ketstats/schema/Stations.h"

#include "ketstats/model/HashedContainerStatImpl.h"

namespace KetStats {

CStationStat::CStationStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

CStationStat::CStationStat(CBaseStat * theParent, unsigned short theId, CMACAddrPacked const & key)
    : CStationStat(theParent, theId)
{
    takeKey(key);
}

CStructStatDescription const & CStationStat::groupDescription()
{
    static CStructStatDescription const description(1161, columnDescriptions());
    return description;
}

namespace {

template <class Table>
void giveUpTable(CLedger & sum, Table const & table)
{
    add(sum, table.ledger());
    sum.rows += table.size();
    for (auto const & row : table)
        addCounts(sum, row);
}

} // namespace

void CStationStat::giveUpTables(GivenUpTables & sums) const
{
    giveUpTable(sums.tcpPorts, tcpPorts);
    giveUpTable(sums.udpPorts, udpPorts);
}

void CStationStat::beginAnew()
{
    tcpPorts.reset();
    udpPorts.reset();
}

CProtocolStat::CProtocolStat(CBaseStat * theParent, unsigned short theId)
    : CBaseStaticContainerStat(theParent, theId, groupDescription())
{}

CProtocolStat::CProtocolStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key)
    : CProtocolStat(theParent, theId)
{
    takeKey(key);
}

CStructStatDescription const & CProtocolStat::groupDescription()
{
    static CStructStatDescription const description(1159, columnDescriptions());
    return description;
}

template class CHashedContainerStat<CStationStat, CMACAddrPacked, CStationStat::CHasher>;
template class CHashedContainerStat<CProtocolStat, CProtocolIdPacked, CProtocolStat::CHasher>;

} // namespace KetStats
