#pragma once

#include "ketstats/capture/FieldFilters.h"
#include "ketstats/capture/FilterExpression.h"

// What stands behind the extension headers of IPv6, in libpcap's language, which has no way to walk over them: the
// expression says the walk header by header. It goes over as many as `deepest`; of a packet with more nothing is true
// that is asked here, so that it is as if the packet carried another protocol.
//
//     N = 6 or (N is an extension header, which was captured whole, and (N' = 6 or (N' is ... and N'' = 6)))
//
// N is the number of the first header, N' that in the first extension header, and so on. The place of each depends on
// the length of those before it; the length of one depends on its number:
//
//     8 + ip6[40 + 1] * ((0x80040888 >> (28 & ip6[6])) & 15)
//
// The constant is a table of the unit in which byte 1 counts, with a nibble for each number, from the lowest on: bits 2
// to 4 of the numbers tell them apart, and 28 makes them the place in the table.
//
//     number   0 hop-by-hop   135 mobility   43 routing   44 fragment   51 authentication   -   -   60 destination
//     unit     8              8              8            0             4                   0   0   8
//
// 28 stands in front because libpcap takes the first number behind ">>" for the width of the shift, and refuses more
// than 31.
namespace extensionheaders {

constexpr unsigned int deepest = 2;

// Packets that carry the protocol of that number.
CFilterExpression carrying(unsigned char number);

// Segments of TCP, or datagrams of UDP, with the port at that end, whose four bytes of ports were captured.
CFilterExpression withPort(unsigned short port, CIPPortFilter::ePortType type);

} // namespace extensionheaders
