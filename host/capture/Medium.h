#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/capture/MediaInfo.h"

#include <cstdint>

namespace ketmon {

// What is known of a frame whose medium isn't Ethernet. No capture has a frame check sequence of those, and
// no medium tells both addresses, so there is no overhead, and what isn't told is left empty.
class CMedium : public CMediaInfo
{
public:
    // To whom the frame goes. What a medium doesn't tell is taken for unicast.
    enum class Cast
    {
        unicast,
        multicast,
        broadcast,
    };

    bool IsBroadcast() const override { return cast == Cast::broadcast; }
    bool IsMulticast() const override { return cast == Cast::multicast; }

    Cast cast = Cast::unicast;
};

// Works out what the captured bytes tell of a frame of that link type, whatever they are; a byte beyond them
// reads as zero. The frame is one that is counted, and not of Ethernet.
//
//     LINUX_SLL     packet type(2) ARPHRD(2) address length(2) address(8) protocol(2)
//     LINUX_SLL2    protocol(2) 0(2) interface(4) ARPHRD(2) packet type(1) address length(1) address(8)
//     NULL, LOOP    address family(4), in the one or the other byte order
//     PPP           [FF 03] protocol(2, or 1 if that is odd)
//     RAW           nothing: the first half byte of the packet tells the version of IP
//     IPV4, IPV6    nothing
//
// The protocol of LINUX_SLL and LINUX_SLL2 is an Ethernet type, with VLAN tags and all that they can have
// behind them; 1 for raw IPX, 4 for an 802.2 header. A protocol that isn't told, or that no Ethernet type
// stands for, is the empty id.
void analyseMedium(std::uint32_t linkType, CBoundedBytes bytes, CMedium & medium);

// The bytes that stand in front of a packet at the least.
unsigned int mediumHeaderLength(std::uint32_t linkType);

} // namespace ketmon
