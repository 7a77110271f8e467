#include "tests/support/Filters.h"

#include "tests/support/IPv6Frames.h"

#include <algorithm>

namespace test {

namespace {

Bytes word(unsigned int value)
{
    return {static_cast<unsigned char>(value >> 8), static_cast<unsigned char>(value)};
}

} // namespace

Filter from(char const * mac)
{
    auto filter = std::make_unique<CSrcMACFilter>("", false);
    LoadHexString(mac, filter->address.bytes.data(), 6);
    return filter;
}

Filter to(char const * mac)
{
    return std::make_unique<CDstMACFilter>(mac, "", false);
}

Filter protocol(unsigned int number)
{
    return protocol(Bytes(4) + word(number));
}

Filter protocol(Bytes const & sixBytes)
{
    CProtocolId id;
    id.Set(6, sixBytes.data());
    return std::make_unique<CProtocolFilter>(id, "", false);
}

Filter subprotocol(unsigned int number)
{
    return std::make_unique<CIPSubprotocolFilter>(static_cast<unsigned char>(number), "", false);
}

Filter port(unsigned int number, CIPPortFilter::ePortType type)
{
    return std::make_unique<CIPPortFilter>(static_cast<unsigned short>(number), type, eoEqual, "", false);
}

Filter address(char const * text, unsigned int position)
{
    return std::make_unique<CIPAddrFilter>(ip(text), position, eoEqual, "", false);
}

Filter address6(char const * text, unsigned int position)
{
    return std::make_unique<CIPv6AddrFilter>(ipv6(text).bytes, position, eoEqual, "", false);
}

Filter protocol6(unsigned int number)
{
    return std::make_unique<CIPv6ProtocolFilter>(static_cast<unsigned char>(number), "", false);
}

Filter port6(unsigned int number, CIPPortFilter::ePortType type)
{
    return std::make_unique<CIPv6PortFilter>(static_cast<unsigned short>(number), type, eoEqual, "", false);
}

Filter vlan(unsigned int identifier, CVlanFilter::eTag tag)
{
    return std::make_unique<CVlanFilter>(static_cast<unsigned short>(identifier), tag, "", false);
}

Filter no(Filter filter)
{
    filter->negated = !filter->negated;
    return filter;
}

Filter described(std::string const & description, Filter filter)
{
    filter->description = description;
    return filter;
}

Filter nested(unsigned int compounds, Filter innermost)
{
    for (; compounds > 0; --compounds)
        innermost = all(std::move(innermost));
    return innermost;
}

Bytes packedFilter(CFilter const & filter)
{
    ktools::CMemoryBuffer buffer;
    filter.Pack(buffer);
    return contents(buffer);
}

Filter unpackedFilter(Bytes const & stream)
{
    ktools::CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    return Filter(CFilter::UnpackNew(buffer));
}

bool passes(Filter const & filter, Bytes const & data)
{
    Frame const frame(data);
    return filter->IsSatisfied(&frame);
}

Bytes RandomTraffic::frame()
{
    Bytes data = ethernet(oneOf({macA, macB, macC, broadcastMac}), oneOf({macA, macB, macC}), 0);
    data.resize(12);
    for (unsigned int tags = oneOf({0U, 0U, 0U, 1U, 1U, 2U, 2U, 3U}); tags > 0; --tags)
        data = data + word(oneOf({0x8100U, 0x88A8U, 0x9100U})) +
               word(below(16) << 12 | oneOf({0U, 5U, 5U, 4095U, below(4096)}));
    data = data + network();
    if (below(3) == 0)
        data.resize(below(static_cast<unsigned int>(data.size()) + 1));
    return data;
}

Bytes RandomTraffic::network()
{
    unsigned int const length = oneOf({0U, 46U, 0x05DCU, 0x05FFU});
    switch (below(12)) {
    case 0: // raw IPX, or nearly
        return word(length) + bytes("FF") + bytes(oneOf({"FF", "FF", "03"})) +
               bytes("00 22 00 11 E0 E0 03 00");
    case 1: // LLC
        return word(length) + bytes(oneOf({"42 42 03", "AA AA 00", "AA 00 03", "06 06 03", "FF 03 00"})) +
               bytes("08 00 27 08 00 08 06");
    case 2: // SNAP
        return word(length) + bytes("AA AA 03") + bytes(oneOf({"00 00 00", "00 00 F8", "08 00 07"})) +
               word(oneOf({0x0806U, 0x86DDU, 0x8137U, 0x0006U, 0x8100U, 0x0200U, 0x00AAU, 0x88B5U})) +
               ipPacket();
    case 3: // SNAP with IP
        return word(length) + bytes("AA AA 03 00 00 00 08 00") + ipPacket();
    case 4: // SNAP with IPv6
        return word(length) + bytes("AA AA 03 00 00 00 86 DD") + ipv6Packet();
    case 5:
    case 6:
    case 7:
        return word(0x86DD) + ipv6Packet();
    case 8: // Ethernet II of another protocol
        return word(oneOf({0x0600U, 0x0806U, 0x86DDU, 0x8137U, 0x88B5U})) + ipPacket();
    default:
        return word(0x0800) + ipPacket();
    }
}

// Header lengths from none to all, fragments, and any version.
Bytes RandomTraffic::ipPacket()
{
    unsigned int const words = oneOf({5U, 5U, 5U, 6U, 15U, 0U, 1U, 2U, 4U});
    Bytes packet(20);
    packet[0] = static_cast<unsigned char>(oneOf({0x40U, 0x40U, 0x60U, 0x00U}) | words);
    packet[7] = static_cast<unsigned char>(oneOf({0U, 0U, 1U, 185U}));
    packet[9] = static_cast<unsigned char>(oneOf({6U, 6U, 17U, 17U, 1U}));
    packet[15] = static_cast<unsigned char>(below(3));
    packet[19] = static_cast<unsigned char>(below(3));
    packet[12] = packet[16] = 10;
    packet.resize(64);
    Bytes const ports = word(oneOf({0U, 80U, 53U})) + word(oneOf({0U, 80U, 53U}));
    if (words >= 5)
        std::copy(ports.begin(), ports.end(), packet.begin() + words * 4);
    return packet;
}

// Up to four extension headers of any kind, of lengths that their kind may have or not, in fragments too.
Bytes RandomTraffic::ipv6Packet()
{
    Bytes payload;
    unsigned int number = oneOf({6U, 6U, 17U, 17U, 58U, 59U});
    for (unsigned int headers = oneOf({0U, 0U, 1U, 1U, 2U, 2U, 3U, 4U}); headers > 0; --headers) {
        unsigned int const kind = oneOf({0U, 43U, 44U, 44U, 51U, 60U, 135U});
        unsigned int const units = below(4);
        Bytes header(kind == 44 ? 8 : kind == 51 ? 8 + 4 * units : 8 + 8 * units);
        header[0] = static_cast<unsigned char>(number);
        header[1] = static_cast<unsigned char>(units);
        header[3] = static_cast<unsigned char>(oneOf({0U, 1U, 8U, 9U}));
        number = kind;
        payload = header + payload;
    }
    return test::ipv6Packet({"", oneOf({"2001:db8::1", "2001:db8::2", "::"})},
                            {"", oneOf({"2001:db8::1", "2001:db8::2", "::"})}, number,
                            payload + word(oneOf({0U, 80U, 53U})) + word(oneOf({0U, 80U, 53U})) + Bytes(8));
}

// Of what the second tree counts.
Filter RandomTraffic::extendedField()
{
    switch (below(8)) {
    case 0:
        return vlan(oneOf({0U, 5U, 4095U}), CVlanFilter::vtInner);
    case 1:
        return vlan(oneOf({0U, 5U, 4095U}));
    case 2:
    case 3:
        return address6(oneOf({"2001:db8::1", "2001:db8::2", "::"}),
                        oneOf({8U, 24U, 24U, 8U, 30U, 40U, 0x80000000U, 0xFFFFFFFEU}));
    case 4:
        return port6(oneOf({0U, 53U, 80U}), static_cast<CIPPortFilter::ePortType>(below(5)));
    default:
        return protocol6(oneOf({6U, 6U, 17U, 58U, 0U, 44U, 60U}));
    }
}

Filter RandomTraffic::field()
{
    if (below(4) == 0)
        return extendedField();
    switch (below(8)) {
    case 0:
        return from(oneOf({macA, macB}));
    case 1:
        return to(oneOf({macA, macB, broadcastMac}));
    case 2:
    case 3:
        return protocol(oneOf({0x0800U, 0x0800U, 0x0806U, 0x86DDU, 0x8137U, 0x88B5U, 0x0600U, 0x8100U,
                               0x0200U, 0x0042U, 0x0006U, 0x00AAU, 0x00FFU, 0x0000U}));
    case 4:
        return subprotocol(oneOf({6U, 17U, 1U, 0U}));
    case 5:
        return port(oneOf({0U, 53U, 80U}), static_cast<CIPPortFilter::ePortType>(below(5)));
    case 6:
        return address(oneOf({"10.0.0.0", "10.0.0.1", "10.0.0.2"}), oneOf({12U, 16U}));
    default:
        return below(8) == 0 ? protocol(bytes("00 00 00 01 08 00"))
                             : address(oneOf({"0.0.0.0", "10.0.0.1", "0.0.0.80"}),
                                       oneOf({0U, 12U, 13U, 16U, 18U, 40U, 90U, 0x80000000U, 0xFFFFFFFEU}));
    }
}

Filter RandomTraffic::filter(unsigned int levels)
{
    Filter result;
    if (levels == 0 || below(3) == 0) {
        result = field();
    } else {
        auto group = std::make_unique<CCompoundFilter>("", false);
        group->mode = static_cast<CCompoundFilter::eMode>(below(2));
        for (unsigned int count = oneOf({0U, 1U, 2U, 2U, 2U, 3U, 4U}); count > 0; --count)
            group->Add(filter(levels - 1).release());
        result = std::move(group);
    }
    result->negated = below(4) == 0;
    return result;
}

} // namespace test
