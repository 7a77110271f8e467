#pragma once

#include "ketstats/schema/Connections.h"
#include "ketstats/schema/Ports.h"

namespace KetStats {

namespace schema {

struct KETSTATS_TYPE CIPv6Traffic
{
    using Address = CIPv6Address;
    using Packed = CIPv6Address;
    template <unsigned int Name>
    using Column = IPv6Address<Name>;
    static constexpr unsigned int name = 1233;
    static constexpr bool hasOthers = true;
};

} // namespace schema

// The rows of "IPv6 traffic".
using CIPv6ConnectionStat = CGenConnectionStat<schema::CIPv6Traffic>;
static_assert(sizeof(CIPv6ConnectionStat::CKey) == 32);

// The rows of "IPv6 protocols", by the number of what stands behind the extension headers, and of the ports there.
using CIPv6ProtoStat = CGenProtoStat<1>;
using CIPv6TcpPortStat = CGenPortStat<2>;
using CIPv6UdpPortStat = CGenPortStat<3>;

// The TCP and UDP ports of IPv6.
class KETSTATS_API CIPv6PortsStat : public schema::CUnfilteredContainerStat
{
public:
    CIPv6PortsStat(CBaseStat * theParent, unsigned short theId);
    static CStructStatDescription const & groupDescription();

    // clang-format off
#define COLUMNS(COLUMN)                                                                            \
    COLUMN(1, tcpPorts, schema::CTableColumn<CIPv6TcpPortStat, 1217, &CTableLimits::ipv6TcpPorts>) \
    COLUMN(2, udpPorts, schema::CTableColumn<CIPv6UdpPortStat, 1218, &CTableLimits::ipv6UdpPorts>)
    KETSTATS_COLUMNS(CIPv6PortsStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

// An IPv6 address and the MAC address first seen for it: a row of "IPv6 neighbours". The key is the second child.
class KETSTATS_API CNeighbourStat : public CBaseStaticContainerStat
{
public:
    using CHasher = CWordHasher<CIPv6Address>;
    using Container = CHashedContainerStat<CNeighbourStat, CIPv6Address, CHasher>;

    CNeighbourStat(CBaseStat * theParent, unsigned short theId);
    CNeighbourStat(CBaseStat * theParent, unsigned short theId, CIPv6Address const & key);
    CNeighbourStat(CBaseStat * theParent, unsigned short theId, CIPv6Address const & key,
                   CMACAddrPacked const & address);

    static CStructStatDescription const & groupDescription();
    CFilter * buildFilter() const override;
    CIPv6Address const & rowKey() const { return ipAddress.get(); }
    void takeKey(CIPv6Address const & key) { ipAddress = key; }

    // clang-format off
#define COLUMNS(COLUMN)                                     \
    COLUMN(1, macAddress, schema::MacAddress<1152>)         \
    COLUMN(2, ipAddress,  schema::IPv6Address<1242>)
    KETSTATS_COLUMNS(CNeighbourStat, COLUMNS)
#undef COLUMNS
    // clang-format on
};

KETSTATS_EXTERN_TEMPLATE(CGenConnectionStat<schema::CIPv6Traffic>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CIPv6ConnectionStat, CIPv6ConnectionStat::CKey, CIPv6ConnectionStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CGenProtoStat<1>);
KETSTATS_EXTERN_TEMPLATE(CGenPortStat<2>);
KETSTATS_EXTERN_TEMPLATE(CGenPortStat<3>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CIPv6ProtoStat, CProtocolIdPacked, CIPv6ProtoStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CIPv6TcpPortStat, CProtocolIdPacked, CIPv6TcpPortStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(
    CHashedContainerStat<CIPv6UdpPortStat, CProtocolIdPacked, CIPv6UdpPortStat::CHasher>);
KETSTATS_EXTERN_TEMPLATE(CHashedContainerStat<CNeighbourStat, CIPv6Address, CNeighbourStat::CHasher>);

} // namespace KetStats
