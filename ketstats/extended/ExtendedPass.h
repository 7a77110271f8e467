#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/capture/IPv6Header.h"
#include "ketstats/engine/FrameSources.h"
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
    CProtocolBits protocol;
    CBoundedBytes bytes;        // captured
    CBoundedBytes network;      // of these, from the network header on
    unsigned int networkLength; // on the wire
    long long size;             // as all statistics count it
    bool unicast;
    unsigned int changedBindings; // that it taught by ARP, of addresses that are bound to another MAC address
    unsigned char const * tag;    // the two bytes of the first VLAN tag, null if there is none
};

// What is looked at of a TCP header, and more than what is of the others.
constexpr unsigned int transportBytes = 16;

// Whether TCP or UDP behind a header of that size say nothing that is counted. The bytes are captured.
inline bool saysNothing(CBoundedBytes const & packet, unsigned int headerSize, unsigned char protocol)
{
    constexpr unsigned int finSynReset = 1 | 2 | 4;
    if (protocol == CIPHeader::tcp)
        return (packet[headerSize + 13] & finSynReset) == 0 && packet.word(headerSize + 14) != 0;
    return protocol == CIPHeader::udp && !isTunnelPort(packet.word(headerSize + 2));
}

// The usual packets, which nearly all are: TCP or UDP right behind a header of the usual size, no fragment, nothing to be
// noticed. They are asked first, and go a short way: IPv4 has no more to tell the second tree. Bytes on the wire may be
// more than those captured.
inline bool isUsualIP(CBoundedBytes const & ip, unsigned int lengthOnWire)
{
    constexpr unsigned int header = 20;
    return ip.holds(0, header + transportBytes) && (ip[0] & 0x0F) == header / 4 &&
           (ip.word(6) & 0x3FFF) == 0 && ip.word(2) <= lengthOnWire && saysNothing(ip, header, ip[9]);
}

inline bool isUsualIPv6(CBoundedBytes const & ip, unsigned int lengthOnWire)
{
    constexpr unsigned int header = CIPv6Header::size;
    return ip.holds(0, header + transportBytes) && header + ip.word(4) <= lengthOnWire &&
           saysNothing(ip, header, ip[6]);
}

// Counts a unicast frame of a usual packet.
void passOverUsualIPv6(CExtendedStatistic & tree, CPassControls const & controls,
                       unsigned char const * packet, long long size);

// Counts a frame in those groups of the second tree that are enabled. The writer side of the gate is held, and the
// first tree has counted the frame.
void passOverExtended(CExtendedStatistic & tree, CPassControls const & controls, CFrameFacts const & frame);

} // namespace KetStats
