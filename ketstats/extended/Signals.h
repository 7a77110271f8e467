#pragma once

#include "ketstats/schema/FrameTables.h"

namespace KetStats {

// What frames say of how a network fares, IPv4 and IPv6 together: each counter is of frames, but for changed bindings,
// of which an ARP reply can bring two.
class KETSTATS_API CSignalsStat : public schema::CUnfilteredContainerStat
{
public:
    CSignalsStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                             \
    COLUMN( 1, tcpRequested,     schema::Counter<1248, schema::Unit::frame>)        \
    COLUMN( 2, tcpAccepted,      schema::Counter<1249, schema::Unit::frame>)        \
    COLUMN( 3, tcpEnded,         schema::Counter<1250, schema::Unit::frame>)        \
    COLUMN( 4, tcpReset,         schema::Counter<1251, schema::Unit::frame>)        \
    COLUMN( 5, zeroWindows,      schema::Counter<1252, schema::Unit::frame>)        \
    COLUMN( 6, fragments,        schema::Counter<1253, schema::Unit::frame>)        \
    COLUMN( 7, unreachable,      schema::Counter<1254, schema::Unit::frame>)        \
    COLUMN( 8, packetTooBig,     schema::Counter<1255, schema::Unit::frame>)        \
    COLUMN( 9, timeExceeded,     schema::Counter<1256, schema::Unit::frame>)        \
    COLUMN(10, parameterProblem, schema::Counter<1257, schema::Unit::frame>)        \
    COLUMN(11, redirects,        schema::Counter<1258, schema::Unit::frame>)        \
    COLUMN(12, sourceQuench,     schema::Counter<1259, schema::Unit::frame>)        \
    COLUMN(13, arpRequests,      schema::Counter<1260, schema::Unit::frame>)        \
    COLUMN(14, arpReplies,       schema::Counter<1261, schema::Unit::frame>)        \
    COLUMN(15, gratuitousArps,   schema::Counter<1262, schema::Unit::frame>)        \
    COLUMN(16, changedBindings,  schema::Counter<1263, schema::Unit::entity>)       \
    COLUMN(17, overlongPackets,  schema::Counter<1264, schema::Unit::frame>)
    KETSTATS_COLUMNS(CSignalsStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// Frames that carry other packets, by the kind of tunnel. What is within isn't looked at.
class KETSTATS_API CTunnelsStat : public schema::CUnfilteredContainerStat
{
public:
    CTunnelsStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                       \
    COLUMN(1, ipInIp,    schema::FrameRow<1281>) \
    COLUMN(2, sixInFour, schema::FrameRow<1282>) \
    COLUMN(3, gre,       schema::FrameRow<1283>) \
    COLUMN(4, vxlan,     schema::FrameRow<1284>) \
    COLUMN(5, geneve,    schema::FrameRow<1285>) \
    COLUMN(6, pppoe,     schema::FrameRow<1286>) \
    COLUMN(7, mpls,      schema::FrameRow<1287>)
    KETSTATS_COLUMNS(CTunnelsStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

} // namespace KetStats
