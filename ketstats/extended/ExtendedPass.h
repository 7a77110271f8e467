#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/engine/NetworkProtocol.h"
#include "ketstats/engine/PassControls.h"
#include "ketstats/extended/ExtendedStatistic.h"

namespace KetStats {

// VXLAN and Geneve, over UDP.
constexpr unsigned int vxlanPort = 4789;
constexpr unsigned int genevePort = 6081;
constexpr bool isTunnelPort(unsigned int port)
{
    return port == vxlanPort || port == genevePort;
}

// What the second tree is told of a frame.
struct CFrameFacts
{
    unsigned short protocol;    // 0 for an id of more than two bytes
    CBoundedBytes network;      // captured, from the network header on
    unsigned int networkLength; // on the wire
    long long size;             // as all statistics count it
    bool unicast;
    unsigned int changedBindings; // that it taught by ARP, of addresses that are bound to another MAC address
    unsigned char const * tag;    // the two bytes of the first VLAN tag, null if there is none
    CBoundedBytes behindTag;      // captured, from the type behind that tag on
};

// Whether an IPv4 packet, whose bytes on the wire may be more than those captured, tells the second tree nothing: nearly
// all do, so that they are asked first and go no further.
inline bool saysNothing(CBoundedBytes const & ip, unsigned int lengthOnWire)
{
    constexpr unsigned int header = 20; // without options
    constexpr unsigned int finSynReset = 1 | 2 | 4;
    if (!ip.holds(0, header + 16) || (ip[0] & 0x0F) != header / 4)
        return false;
    if ((ip.word(6) & 0x3FFF) != 0 || ip.word(2) > lengthOnWire)
        return false;
    if (ip[9] == CIPHeader::tcp)
        return (ip[header + 13] & finSynReset) == 0 && ip.word(header + 14) != 0;
    return ip[9] == CIPHeader::udp && !isTunnelPort(ip.word(header + 2));
}

// Counts a frame in those groups of the second tree that are enabled. The writer side of the gate is held, and the
// first tree has counted the frame.
void passOverExtended(CExtendedStatistic & tree, CPassControls const & controls, CFrameFacts const & frame);

} // namespace KetStats
