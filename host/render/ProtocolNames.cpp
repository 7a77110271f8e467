#include "host/render/ProtocolNames.h"

#include <algorithm>
#include <iterator>

namespace ketmon {

namespace {

struct CNamed
{
    std::uint32_t code;
    std::string_view name;
};

// Ascending, for the search.
constexpr CNamed protocols[] = {
    {0x00, "LLC null"},
    {0x06, "LLC IP"},
    {0x42, "Spanning Tree"},
    {0x7E, "LLC X.25"},
    {0x8E, "PROWAY"},
    {0x98, "LLC ARP"},
    {0xAA, "SNAP"},
    {0xBC, "VINES"},
    {0xE0, "IPX (LLC)"},
    {0xF0, "NetBIOS (LLC)"},
    {0xFE, "IS-IS/CLNS"},
    {0xFF, "LLC global"},
    {0x010B, "PVST+"},
    {0x0111, "UDLD"},
    {0x0600, "XNS IDP"},
    {0x0800, "IPv4"},
    {0x0805, "X.25"},
    {0x0806, "ARP"},
    {0x0842, "Wake-on-LAN"},
    {0x0BAD, "VINES IP"},
    {0x2000, "CDP"},
    {0x2003, "VTP"},
    {0x2004, "DTP"},
    {0x22EA, "Stream Reservation"},
    {0x22F0, "AVTP"},
    {0x22F3, "TRILL"},
    {0x6000, "DEC"},
    {0x6001, "DEC MOP dump/load"},
    {0x6002, "DEC MOP console"},
    {0x6003, "DECnet IV"},
    {0x6004, "DEC LAT"},
    {0x6558, "Transparent bridging"},
    {0x8035, "RARP"},
    {0x809B, "AppleTalk"},
    {0x80F3, "AppleTalk ARP"},
    {0x8100, "VLAN"},
    {0x8102, "SLPP"},
    {0x8137, "IPX"},
    {0x8138, "Novell"},
    {0x814C, "SNMP (Ethernet)"},
    {0x86DD, "IPv6"},
    {0x8808, "Flow control"},
    {0x8809, "LACP/slow protocols"},
    {0x8819, "CobraNet"},
    {0x8847, "MPLS"},
    {0x8848, "MPLS multicast"},
    {0x8863, "PPPoE discovery"},
    {0x8864, "PPPoE session"},
    {0x886F, "Network load balancing"},
    {0x887B, "HomePlug"},
    {0x888E, "802.1X"},
    {0x8892, "PROFINET"},
    {0x889A, "HyperSCSI"},
    {0x88A2, "ATA over Ethernet"},
    {0x88A4, "EtherCAT"},
    {0x88A8, "Provider VLAN"},
    {0x88AB, "POWERLINK"},
    {0x88B5, "Experimental 1"},
    {0x88B6, "Experimental 2"},
    {0x88B7, "OUI extended"},
    {0x88B8, "GOOSE"},
    {0x88B9, "GSE management"},
    {0x88BA, "Sampled values"},
    {0x88BE, "ERSPAN II"},
    {0x88C7, "802.11 preauthentication"},
    {0x88CC, "LLDP"},
    {0x88CD, "SERCOS III"},
    {0x88E1, "HomePlug AV"},
    {0x88E3, "MRP"},
    {0x88E5, "MACsec"},
    {0x88E7, "Provider backbone bridging"},
    {0x88F5, "MVRP"},
    {0x88F6, "MMRP"},
    {0x88F7, "PTP"},
    {0x88F8, "NC-SI"},
    {0x88FB, "PRP"},
    {0x8902, "Connectivity fault management"},
    {0x8906, "FCoE"},
    {0x8909, "TrustSec"},
    {0x8914, "FCoE initialisation"},
    {0x8915, "RoCE"},
    {0x891D, "TTEthernet"},
    {0x892F, "HSR"},
    {0x893A, "1905.1"},
    {0x8940, "Edge control"},
    {0x894F, "NSH"},
    {0x9000, "Loopback"},
    {0x9100, "VLAN (stacked)"},
    {0xB7EA, "GRE control"},
};

constexpr CNamed ipProtocols[] = {
    {0, "Hop-by-hop"},
    {1, "ICMP"},
    {2, "IGMP"},
    {3, "GGP"},
    {4, "IPv4 in IP"},
    {5, "ST"},
    {6, "TCP"},
    {8, "EGP"},
    {9, "IGP"},
    {17, "UDP"},
    {27, "RDP"},
    {29, "ISO-TP4"},
    {33, "DCCP"},
    {36, "XTP"},
    {41, "IPv6 in IP"},
    {43, "IPv6 routing"},
    {44, "IPv6 fragment"},
    {46, "RSVP"},
    {47, "GRE"},
    {50, "ESP"},
    {51, "AH"},
    {54, "NARP"},
    {55, "MOBILE"},
    {58, "ICMPv6"},
    {59, "IPv6 no next"},
    {60, "IPv6 options"},
    {80, "ISO-IP"},
    {88, "EIGRP"},
    {89, "OSPF"},
    {92, "MTP"},
    {94, "IPIP"},
    {97, "EtherIP"},
    {98, "ENCAP"},
    {103, "PIM"},
    {106, "QNX"},
    {108, "IPComp"},
    {112, "VRRP"},
    {113, "PGM"},
    {115, "L2TP"},
    {124, "IS-IS over IP"},
    {132, "SCTP"},
    {133, "Fibre Channel"},
    {135, "Mobility"},
    {136, "UDPLite"},
    {137, "MPLS in IP"},
    {138, "MANET"},
    {139, "HIP"},
    {140, "Shim6"},
    {142, "ROHC"},
    {143, "Ethernet"},
    {253, "Experimental 1"},
    {254, "Experimental 2"},
};

template <std::size_t count>
constexpr bool ascends(CNamed const (&table)[count])
{
    for (std::size_t i = 1; i < count; ++i)
        if (table[i - 1].code >= table[i].code)
            return false;
    return true;
}

static_assert(ascends(protocols), "the search needs the order");
static_assert(ascends(ipProtocols), "the search needs the order");

template <std::size_t count>
std::string_view nameIn(CNamed const (&table)[count], std::uint32_t code)
{
    auto const * const found =
        std::lower_bound(std::begin(table), std::end(table), code,
                         [](CNamed const & each, std::uint32_t wanted) { return each.code < wanted; });
    return found != std::end(table) && found->code == code ? found->name : std::string_view();
}

} // namespace

std::string_view protocolName(std::uint32_t code)
{
    return nameIn(protocols, code);
}

std::string_view ipProtocolName(std::uint32_t code)
{
    return nameIn(ipProtocols, code);
}

} // namespace ketmon
