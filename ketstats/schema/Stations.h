#pragma once

#include "ketstats/schema/Ports.h"

namespace KetStats {

// A MAC address seen on the network: a row of the table "Network stations". It carries a whole table for each
// of its TCP and UDP ports. `percentage` is worked out by the reading client.
class KETSTATS_API CStationStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CMACAddrPacked>;
    using Container = CHashedContainerStat<CStationStat, CMACAddrPacked, CHasher>;

    CStationStat(CBaseStat * theParent, unsigned short theId);
    CStationStat(CBaseStat * theParent, unsigned short theId, CMACAddrPacked const & key);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CMACAddrPacked const & rowKey() const { return address.get(); }
    void takeKey(CMACAddrPacked const & key) { address = key; }

    // Of the stations that a table gave up, the rows and the ledgers of their own tables.
    struct GivenUpTables
    {
        CLedger tcpPorts;
        CLedger udpPorts;
    };
    void giveUpTables(GivenUpTables & sums) const;
    // Empties them, for a station that is another one from now on.
    void beginAnew();

    // clang-format off
#define COLUMNS(COLUMN)                                                                                    \
    COLUMN(1, address,           schema::MacAddress<1210>)                                                 \
    COLUMN(2, dataTransmitted,   schema::DataTransmitted)                                                  \
    COLUMN(3, framesTransmitted, schema::FramesTransmitted)                                                \
    COLUMN(4, dataReceived,      schema::DataReceived)                                                     \
    COLUMN(5, framesReceived,    schema::FramesReceived)                                                   \
    COLUMN(6, percentage,        schema::Percentage)                                                       \
    COLUMN(7, tcpPorts,          schema::CTableColumn<CTcpPortStat, 1217, &CTableLimits::stationTcpPorts>) \
    COLUMN(8, udpPorts,          schema::CTableColumn<CUdpPortStat, 1218, &CTableLimits::stationUdpPorts>) \
    COLUMN(9, vlanId,            schema::Text<1166>)
    KETSTATS_COLUMNS(CStationStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// A protocol seen in frames: a row of the table "Network protocols". `averageFrameSize` and `percentage` are
// worked out by the reading client.
class KETSTATS_API CProtocolStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CProtocolIdPacked>;
    using Container = CHashedContainerStat<CProtocolStat, CProtocolIdPacked, CHasher>;

    CProtocolStat(CBaseStat * theParent, unsigned short theId);
    CProtocolStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CProtocolIdPacked const & rowKey() const { return protocolId.get(); }
    void takeKey(CProtocolIdPacked const & key) { protocolId = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, protocolId,        schema::ProtocolId<1160>)          \
    COLUMN(2, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(3, framesTransmitted, schema::FramesTransmitted)         \
    COLUMN(4, averageFrameSize,  schema::AverageFrameSize)          \
    COLUMN(5, percentage,        schema::Percentage)
    KETSTATS_COLUMNS(CProtocolStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CStationStat, CMACAddrPacked, CStationStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CProtocolStat, CProtocolIdPacked, CProtocolStat::CHasher>);

} // namespace KetStats
