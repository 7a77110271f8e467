#pragma once

#include "ketstats/schema/Columns.h"

namespace KetStats {

// Traffic by IP protocol number: a row of the table "IP subprotocols". The template argument tells the table for which
// a row builds its filter: 0 for that of IPv4.
template <int N>
class KETSTATS_TEMPLATE CGenProtoStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CProtocolIdPacked>;
    using Container = CHashedContainerStat<CGenProtoStat, CProtocolIdPacked, CHasher>;

    CGenProtoStat(CBaseStat * theParent, unsigned short theId);
    CGenProtoStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CProtocolIdPacked const & rowKey() const { return protocolId.get(); }
    void takeKey(CProtocolIdPacked const & key) { protocolId = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, protocolId,        schema::ProtocolId<1211>)          \
    COLUMN(2, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(3, framesTransmitted, schema::FramesTransmitted)
    KETSTATS_COLUMNS(CGenProtoStat, COLUMNS)
#undef COLUMNS
    // clang-format on

private:
    CGenProtoStat(CGenProtoStat const &) = delete;
    CGenProtoStat & operator=(CGenProtoStat const &) = delete;
};

// Traffic by port, of TCP for 0 and of UDP for 1: a row of a table of ports, global or of a station. Numbers from 2 on
// are those of IPv6, in the same order.
template <int N>
class KETSTATS_TEMPLATE CGenPortStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CProtocolIdPacked>;
    using Container = CHashedContainerStat<CGenPortStat, CProtocolIdPacked, CHasher>;

    CGenPortStat(CBaseStat * theParent, unsigned short theId);
    CGenPortStat(CBaseStat * theParent, unsigned short theId, CProtocolIdPacked const & key);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CProtocolIdPacked const & rowKey() const { return port.get(); }
    void takeKey(CProtocolIdPacked const & key) { port = key; }

    // A row is named after its key, so row and key column bear one name.
    static constexpr unsigned int name = N % 2 == 0 ? 1215 : 1216;

    // clang-format off
#define COLUMNS(COLUMN)                                             \
    COLUMN(1, port,              schema::ProtocolId<name>)          \
    COLUMN(2, dataTransmitted,   schema::DataTransmitted)           \
    COLUMN(3, framesTransmitted, schema::FramesTransmitted)         \
    COLUMN(4, dataReceived,      schema::DataReceived)              \
    COLUMN(5, framesReceived,    schema::FramesReceived)
    KETSTATS_COLUMNS(CGenPortStat, COLUMNS)
#undef COLUMNS
    // clang-format on

private:
    CGenPortStat(CGenPortStat const &) = delete;
    CGenPortStat & operator=(CGenPortStat const &) = delete;
};

using CTcpPortStat = CGenPortStat<0>;
using CUdpPortStat = CGenPortStat<1>;

// The TCP and UDP ports of the whole network.
class KETSTATS_API CIPPortsStat : public schema::CUnfilteredContainerStat
{
public:
    CIPPortsStat(CBaseStat * theParent, unsigned short theId, CStructStatDescription const & theDescription);
    CIPPortsStat(CBaseStat * theParent, unsigned short theId)
        : CIPPortsStat(theParent, theId, groupDescription())
    {}
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                                    \
    COLUMN(1, tcpPorts, schema::CTableColumn<CTcpPortStat, 1217, &CTableLimits::tcpPorts>) \
    COLUMN(2, udpPorts, schema::CTableColumn<CUdpPortStat, 1218, &CTableLimits::udpPorts>)
    KETSTATS_COLUMNS(CIPPortsStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

KETSTATS_EXTERN_TEMPLATE(CGenProtoStat<0>);
KETSTATS_EXTERN_TEMPLATE(CGenPortStat<0>);
KETSTATS_EXTERN_TEMPLATE(CGenPortStat<1>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CGenProtoStat<0>, CProtocolIdPacked, CGenProtoStat<0>::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CGenPortStat<0>, CProtocolIdPacked, CGenPortStat<0>::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CGenPortStat<1>, CProtocolIdPacked, CGenPortStat<1>::CHasher>);

} // namespace KetStats
