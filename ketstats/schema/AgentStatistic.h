#pragma once

#include "ketstats/schema/Connections.h"
#include "ketstats/schema/FrameTables.h"
#include "ketstats/schema/GlobalStats.h"
#include "ketstats/schema/Ledgers.h"
#include "ketstats/schema/Ports.h"
#include "ketstats/schema/Stations.h"
#include "ketstats/schema/TreeRoot.h"

namespace KetStats {

// The root of the statistic tree, shared in shape by the live tree of a manager and the trees of snapshots.
// As a node it has the id 1 and no parent, so that "1" names it and "1.N" its child N.
//
// All children are members, by value; a table column tells its row class, its name and its limit of rows.
// Building a root takes all the fixed memory of a tree, once.
class KETSTATS_API CAgentStatistic final : public schema::CTreeRoot
{
public:
    class KETSTATS_TYPE CException : public ktools::CException
    {
    public:
        using ktools::CException::CException;
    };

    // A position in the tree that is found once, on one root, and valid on every root of the process. It is
    // the distance in bytes from the start of a root to a node inside of it; 0 is the root, a negative value
    // nothing.
    struct CStatPointer
    {
        int offset = -1;
    };

    // A tree with all values zero, all tables empty, and every node marked changed. See CTreeRoot for limits that
    // can't be.
    explicit CAgentStatistic(CTableLimits const & theLimits = {});
    ~CAgentStatistic();

    // The bytes that a tree of such limits takes at most, which is when all its tables are full, those of each
    // station too. For whoever has to keep within some: what is met in practice is far less.
    static std::size_t largestMemory(CTableLimits const & limits);

    // What the rows had counted that the tables gave up since the tree was last reset.
    CLedgers ledgers() const;

    static CStructStatDescription const & groupDescription();

    // The position of the node that the identifier names. Negative, and without an exception, for an
    // identifier that leads nowhere, and for a row of a table: rows come and go, and lie in their table's own
    // storage.
    CStatPointer getStatMemberPointer(COid const & oid);

    // The node at a position. Throws CException, code 1, source "AgentStatistic", line 559, for a negative
    // one.
    CBaseStat & operator[](CStatPointer const & position);
    CBaseStat const & operator[](CStatPointer const & position) const;

    // clang-format off
#define COLUMNS(COLUMN)                                                                                         \
    COLUMN( 1, globalStatistics, schema::CGroupColumn<CGlobalStatisticsStat>)                                   \
    COLUMN( 2, globalErrors,     schema::CGroupColumn<CGlobalErrorsStat>)                                       \
    COLUMN( 3, globalFilter,     schema::CGroupColumn<CGlobalFilterStat>)                                       \
    COLUMN( 4, frameTables,      schema::CGroupColumn<CFrameTablesStat>)                                        \
    COLUMN( 5, stations,         schema::CTableColumn<CStationStat, 1149, &CTableLimits::stations>)             \
    COLUMN( 6, protocols,        schema::CTableColumn<CProtocolStat, 1150, &CTableLimits::protocols>)           \
    COLUMN( 7, macConnections,   schema::CTableColumn<CMACConnectionStat, 1146, &CTableLimits::macConnections>) \
    COLUMN( 8, ipConnections,    schema::CTableColumn<CIPConnectionStat, 1147, &CTableLimits::ipConnections>)   \
    COLUMN( 9, arpTable,         schema::CTableColumn<CARPStat, 1148, &CTableLimits::arpTable>)                 \
    COLUMN(10, ipSubprotocols,   schema::CTableColumn<CGenProtoStat<0>, 1212, &CTableLimits::ipSubprotocols>)   \
    COLUMN(11, ipPorts,          schema::CGroupColumn<CIPPortsStat>)
    KETSTATS_COLUMNS(CAgentStatistic, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace KetStats
