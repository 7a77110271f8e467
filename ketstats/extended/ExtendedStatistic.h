#pragma once

#include "ketstats/extended/IPv6Tables.h"
#include "ketstats/extended/Signals.h"
#include "ketstats/extended/Vlans.h"
#include "ketstats/schema/AgentStatistic.h"

namespace KetStats {

// The root of the second tree, "Extended statistics", whose id is 2, so that "2.N" names its child N: IPv6, VLANs,
// what frames tell of trouble, and tunnels. It stands beside the first one and is built like it.
class KETSTATS_API CExtendedStatistic final : public schema::CTreeRoot
{
public:
    static constexpr unsigned short rootId = 2;

    using CException = CAgentStatistic::CException;
    using CStatPointer = CAgentStatistic::CStatPointer;

    // As CAgentStatistic, of which it takes the limits of its own tables.
    explicit CExtendedStatistic(CTableLimits const & theLimits = {});
    ~CExtendedStatistic();

    static std::size_t largestMemory(CTableLimits const & limits);

    // What the rows had counted that its tables gave up, in the ledgers of this tree; those of the first one stay.
    void addLedgers(CLedgers & all) const;

    // Whether nothing was counted in it since it was built or reset.
    bool isBlank() const;

    static CStructStatDescription const & groupDescription();

    CStatPointer getStatMemberPointer(COid const & oid);
    CBaseStat & operator[](CStatPointer const & position);
    CBaseStat const & operator[](CStatPointer const & position) const;

    // clang-format off
#define COLUMNS(COLUMN)                                                                                              \
    COLUMN(1, ipv6Connections, schema::CTableColumn<CIPv6ConnectionStat, 1233, &CTableLimits::ipv6Connections>)      \
    COLUMN(2, ipv6Protocols,   schema::CTableColumn<CIPv6ProtoStat, 1234, &CTableLimits::ipv6Protocols>)             \
    COLUMN(3, ipv6Ports,       schema::CGroupColumn<CIPv6PortsStat>)                                                 \
    COLUMN(4, vlans,           schema::CGroupColumn<CVlansStat>)                                                     \
    COLUMN(5, neighbours,      schema::CTableColumn<CNeighbourStat, 1239, &CTableLimits::neighbours>)                \
    COLUMN(6, signals,         schema::CGroupColumn<CSignalsStat>)                                                   \
    COLUMN(7, tunnels,         schema::CGroupColumn<CTunnelsStat>)
    KETSTATS_COLUMNS(CExtendedStatistic, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace KetStats
