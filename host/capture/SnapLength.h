#pragma once

namespace ketmon {

// How many bytes of a frame the analysis reads at most, so many are kept of each that passes an interface:
//
//      12   both addresses
//      40   ten VLAN tags; real frames have up to three
//       2   type or length
//       8   802.2 and SNAP
//      60   the longest IPv4 header
//      16   TCP up to its window, in front of which the ports stand
//
// are what all that is known of IPv4 takes. ARP takes less: 8 + 2 * (hardware address + 4) bytes, where hardware
// addresses are 20 bytes at most on any link that there is. What frames say beyond that, such as an ARP with
// hardware addresses of 255 bytes, isn't real, and only a capture of whole frames counts it as it stands. A filter
// sees whole frames, and what is counted in bytes is the length on the wire.
inline constexpr unsigned int shortHeadersLength = 12 + 10 * 4 + 2 + 8 + 60 + 16;

static_assert(shortHeadersLength >= 12 + 10 * 4 + 2 + 8 + 8 + 2 * (20 + 4), "an ARP packet fits as well");

// IPv6 has no such bound: extension headers are as long as they like, and a router's advertisement counts if all of
// it is there. Behind a usual Ethernet header this holds 202 bytes of what follows the IPv6 header: some segments
// of a source route, or an advertisement with its link address, MTU, two prefixes, and servers of the DNS and search
// domains.
inline constexpr unsigned int headersLength = 256;

static_assert(headersLength >= shortHeadersLength, "IPv4 has room behind any tags");

// Whole frames, as libpcap's own programs take them.
inline constexpr unsigned int wholeFrames = 262144;

} // namespace ketmon
