#include "tests/support/Frames.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace test {

namespace {

Bytes word(unsigned int value)
{
    return {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}

Bytes octets(std::string const & address)
{
    unsigned int part[4] = {};
    if (std::sscanf(address.c_str(), "%u.%u.%u.%u", &part[0], &part[1], &part[2], &part[3]) != 4)
        throw std::invalid_argument("not a dotted address");
    Bytes result;
    for (unsigned int const octet : part)
        result.push_back(static_cast<unsigned char>(octet));
    return result;
}

Bytes octetsOfMac(std::string const & address)
{
    Bytes result(6);
    LoadHexString(address.c_str(), result.data(), 6);
    return result;
}

} // namespace

Bytes operator+(Bytes const & front, Bytes const & back)
{
    Bytes whole = front;
    whole.insert(whole.end(), back.begin(), back.end());
    return whole;
}

Bytes ethernet(char const * destination, char const * source, unsigned int type)
{
    Bytes header(14);
    LoadHexString(destination, header.data(), 6);
    LoadHexString(source, header.data() + 6, 6);
    header[12] = static_cast<unsigned char>(type >> 8);
    header[13] = static_cast<unsigned char>(type);
    return header;
}

Host host(unsigned int number)
{
    char macText[18];
    char ipText[16];
    unsigned int const high = number >> 8 & 0xFF;
    unsigned int const low = number & 0xFF;
    std::snprintf(macText, sizeof macText, "02-01-00-00-%02X-%02X", high, low);
    std::snprintf(ipText, sizeof ipText, "10.1.%u.%u", high, low);
    return {macText, ipText};
}

KetStats::CMACAddrPacked mac(std::string const & text)
{
    return CMACAddr(octetsOfMac(text).data());
}

KetStats::CIPAddress ip(std::string const & text)
{
    unsigned int address = 0;
    std::memcpy(&address, octets(text).data(), sizeof address);
    return {address};
}

KetStats::CProtocolIdPacked id(unsigned int number)
{
    CProtocolId result;
    result.Set(2, word(number).data());
    return result;
}

Bytes ipFrame(Host const & from, Host const & to, unsigned int protocol, Bytes const & payload,
              unsigned int headerWords)
{
    std::size_t const start = headerWords * 4;
    Bytes packet = bytes("00 00 00 28 12 34 40 00 40 00 00 00");
    packet[0] = static_cast<unsigned char>(0x40 | headerWords);
    packet[9] = static_cast<unsigned char>(protocol);
    packet = packet + octets(from.ip) + octets(to.ip);
    packet.resize(std::max(packet.size(), start + payload.size()));
    std::copy(payload.begin(), payload.end(), packet.begin() + static_cast<std::ptrdiff_t>(start));
    return ethernet(to.mac.c_str(), from.mac.c_str(), 0x0800) + packet;
}

Bytes tcpFrame(Host const & from, Host const & to, unsigned int fromPort, unsigned int toPort,
               unsigned int headerWords)
{
    return ipFrame(from, to, 6, word(fromPort) + word(toPort) + Bytes(16), headerWords);
}

Bytes udpFrame(Host const & from, Host const & to, unsigned int fromPort, unsigned int toPort,
               unsigned int headerWords)
{
    return ipFrame(from, to, 17, word(fromPort) + word(toPort) + Bytes(4), headerWords);
}

Bytes arpFrame(unsigned int opcode, Host const & sender, Host const & target, std::string const & destination)
{
    return ethernet(destination.c_str(), sender.mac.c_str(), 0x0806) + bytes("00 01 08 00 06 04") +
           word(opcode) + octetsOfMac(sender.mac) + octets(sender.ip) + octetsOfMac(target.mac) +
           octets(target.ip);
}

Bytes arpRequest(Host const & from, Host const & to)
{
    return arpFrame(1, from, {"00-00-00-00-00-00", to.ip}, broadcastMac);
}

Bytes arpReply(Host const & from, Host const & to)
{
    return arpFrame(2, from, to, to.mac);
}

Bytes tagged(Bytes const & frame, unsigned int tag, unsigned int tagType)
{
    Bytes const addresses(frame.begin(), frame.begin() + 12);
    return addresses + word(tagType) + word(tag) + Bytes(frame.begin() + 12, frame.end());
}

Bytes snap(Bytes const & frame)
{
    Bytes const addresses(frame.begin(), frame.begin() + 12);
    auto const length = static_cast<unsigned int>(frame.size()) - 14 + 8;
    return addresses + word(length) + bytes("AA AA 03 00 00 00") + Bytes(frame.begin() + 12, frame.end());
}

} // namespace test
