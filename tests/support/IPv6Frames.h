#pragma once

#include "tests/support/Frames.h"

#include <initializer_list>

// Frames of IPv6 for the tests of the second tree.
namespace test {

// "fe80::1" and the like: groups, and at most one "::".
KetStats::CIPv6Address ipv6(std::string const & text);

struct Ipv6Host
{
    std::string mac;
    std::string ip;
};
inline Ipv6Host const v6A{macA, "2001:db8::a"};
inline Ipv6Host const v6B{macB, "2001:db8::b"};

// A packet from one to the other; its payload length is that of `payload`.
Bytes ipv6Packet(Ipv6Host const & from, Ipv6Host const & to, unsigned int nextHeader, Bytes const & payload,
                 unsigned int hopLimit = 64);
Bytes ipv6Frame(Ipv6Host const & from, Ipv6Host const & to, unsigned int nextHeader,
                Bytes const & payload = {}, unsigned int hopLimit = 64);

// An extension header of so many bytes, a multiple of 8, that says what comes next.
Bytes extension(unsigned int nextHeader, unsigned int size = 8);
// The header of a fragment; the offset is in units of 8 bytes.
Bytes fragmentHeader(unsigned int nextHeader, unsigned int offset, bool more);

// Twenty bytes of a TCP header, eight of a UDP one.
Bytes tcpHeader(unsigned int fromPort, unsigned int toPort, unsigned int flags = 16,
                unsigned int window = 1000);
Bytes udpHeader(unsigned int fromPort, unsigned int toPort);

// ICMPv6: type, code, and what is behind the checksum.
Bytes icmpv6(unsigned int type, unsigned int code, Bytes const & rest);
// An option with a link-layer address.
Bytes addressOption(unsigned int type, std::string const & mac);
// Address as bytes.
Bytes ipv6Bytes(std::string const & text);

} // namespace test
