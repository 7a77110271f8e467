#include "tests/support/IPv6Frames.h"

#include <algorithm>

namespace test {

namespace {

Bytes word(unsigned int value)
{
    return {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}

Bytes groups(std::string const & text)
{
    Bytes result;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t const end = std::min(text.find(':', at), text.size());
        result = result + word(static_cast<unsigned int>(std::stoul(text.substr(at, end - at), nullptr, 16)));
        at = end + 1;
    }
    return result;
}

} // namespace

Bytes ipv6Bytes(std::string const & text)
{
    std::size_t const gap = text.find("::");
    if (gap == text.npos)
        return groups(text);
    Bytes const front = groups(text.substr(0, gap));
    Bytes const back = groups(text.substr(gap + 2));
    return front + Bytes(16 - front.size() - back.size()) + back;
}

KetStats::CIPv6Address ipv6(std::string const & text)
{
    KetStats::CIPv6Address address;
    Bytes const bytes = ipv6Bytes(text);
    std::copy(bytes.begin(), bytes.end(), address.bytes.begin());
    return address;
}

Bytes ipv6Packet(Ipv6Host const & from, Ipv6Host const & to, unsigned int nextHeader, Bytes const & payload,
                 unsigned int hopLimit)
{
    return bytes("60 00 00 00") + word(static_cast<unsigned int>(payload.size())) +
           Bytes{static_cast<unsigned char>(nextHeader), static_cast<unsigned char>(hopLimit)} +
           ipv6Bytes(from.ip) + ipv6Bytes(to.ip) + payload;
}

Bytes ipv6Frame(Ipv6Host const & from, Ipv6Host const & to, unsigned int nextHeader, Bytes const & payload,
                unsigned int hopLimit)
{
    return ethernet(to.mac.c_str(), from.mac.c_str(), 0x86DD) +
           ipv6Packet(from, to, nextHeader, payload, hopLimit);
}

Bytes extension(unsigned int nextHeader, unsigned int size)
{
    Bytes header(size);
    header[0] = static_cast<unsigned char>(nextHeader);
    header[1] = static_cast<unsigned char>(size / 8 - 1);
    return header;
}

Bytes fragmentHeader(unsigned int nextHeader, unsigned int offset, bool more)
{
    return Bytes{static_cast<unsigned char>(nextHeader), 0} + word(offset << 3 | (more ? 1U : 0U)) +
           bytes("00 00 00 07");
}

Bytes tcpHeader(unsigned int fromPort, unsigned int toPort, unsigned int flags, unsigned int window)
{
    return word(fromPort) + word(toPort) + Bytes(8) + Bytes{0x50, static_cast<unsigned char>(flags)} +
           word(window) + Bytes(4);
}

Bytes udpHeader(unsigned int fromPort, unsigned int toPort)
{
    return word(fromPort) + word(toPort) + word(8) + word(0);
}

Bytes icmpv6(unsigned int type, unsigned int code, Bytes const & rest)
{
    return Bytes{static_cast<unsigned char>(type), static_cast<unsigned char>(code), 0, 0} + rest;
}

Bytes addressOption(unsigned int type, std::string const & mac)
{
    Bytes option{static_cast<unsigned char>(type), 1};
    option.resize(8);
    LoadHexString(mac.c_str(), option.data() + 2, 6);
    return option;
}

} // namespace test
