#include "host/capture/Medium.h"

#include "host/capture/LinkType.h"

#include "ketstats/capture/EthernetAnalysis.h"

namespace ketmon {

namespace {

constexpr unsigned int ipv4Type = 0x0800;
constexpr unsigned int ipv6Type = 0x86DD;
constexpr unsigned int ipxType = 0x8137;
constexpr unsigned int tagSize = 4;

void setProtocol(CMedium & medium, unsigned int type)
{
    unsigned char const wire[2] = {static_cast<unsigned char>(type >> 8), static_cast<unsigned char>(type)};
    medium.protocolId.Set(2, wire);
}

// What an 802.3 length would have behind it, told apart as behind that.
void analysePayload(CBoundedBytes bytes, unsigned int payload, CMedium & medium)
{
    medium.networkOffset = payload;
    if (bytes.word(payload) == 0xFFFF) {
        setProtocol(medium, ipxType);
    } else if (bytes.word(payload) == 0xAAAA && bytes[payload + 2] == 0x03) {
        setProtocol(medium, bytes.word(payload + 6));
        medium.networkOffset = payload + 8;
    } else {
        unsigned char const serviceAccessPoint = bytes[payload];
        medium.protocolId.Set(1, &serviceAccessPoint);
        medium.networkOffset = payload + 3;
    }
}

namespace cooked {

enum Protocol : unsigned int
{
    rawIPX = 1,
    llc = 4,
};

enum PacketType : unsigned int
{
    broadcast = 1,
    multicast = 2,
};

// Of these the protocol field says something else, or nothing.
enum Hardware : unsigned int
{
    frameRelay = 770,
    radioTap = 803,
    netlink = 824,
};

bool hasNoProtocol(unsigned int hardware)
{
    return hardware == frameRelay || hardware == radioTap || hardware == netlink;
}

// Where the fields stand.
struct CForm
{
    unsigned int protocol;
    unsigned int hardware;
    unsigned int addressLength; // its low byte
    unsigned int address;
    unsigned int payload;
};

constexpr CForm first{14, 2, 5, 6, 16};
constexpr CForm second{0, 8, 11, 12, 20};

void analyse(CBoundedBytes bytes, CForm const & form, unsigned int packetType, CMedium & medium)
{
    medium.cast = packetType == broadcast   ? CMedium::Cast::broadcast
                  : packetType == multicast ? CMedium::Cast::multicast
                                            : CMedium::Cast::unicast;
    if (bytes[form.addressLength] == medium.sourceMAC.bytes.size())
        bytes.copy<6>(form.address, medium.sourceMAC.bytes.data());
    medium.networkOffset = form.payload;
    if (hasNoProtocol(bytes.word(form.hardware)))
        return;

    unsigned int type = bytes.word(form.protocol);
    bool const tagged = ethernet::isVlanType(type);
    // A tag has the type of what it is in front of behind itself.
    while (ethernet::isVlanType(type)) {
        type = bytes.word(medium.networkOffset + 2);
        medium.networkOffset += tagSize;
    }
    if (type >= ethernet::lowestType)
        setProtocol(medium, type);
    else if (tagged || type == llc)
        analysePayload(bytes, medium.networkOffset, medium);
    else if (type == rawIPX)
        setProtocol(medium, ipxType);
}

} // namespace cooked

// Families of IPv6 differ among the systems that write such captures. That of Linux isn't among them.
bool isIPv6Family(unsigned int family)
{
    return family == 24 || family == 28 || family == 30;
}

void analyseLoopback(CBoundedBytes bytes, CMedium & medium)
{
    constexpr unsigned int ipv4Family = 2;
    medium.networkOffset = 4;
    // One of them is 0 in whichever order a small number stands.
    bool const little = bytes.word(2) == 0;
    if (!little && bytes.word(0) != 0)
        return;
    unsigned int const word = little ? bytes.word(0) : bytes.word(2);
    unsigned int const family = little ? (word >> 8 | (word & 0xFF) << 8) : word;
    if (family == ipv4Family)
        setProtocol(medium, ipv4Type);
    else if (isIPv6Family(family))
        setProtocol(medium, ipv6Type);
}

void analysePpp(CBoundedBytes bytes, CMedium & medium)
{
    constexpr unsigned int framing = 0xFF03;
    constexpr unsigned int ipv4Number = 0x21;
    constexpr unsigned int ipv6Number = 0x57;
    unsigned int const at = bytes.word(0) == framing ? 2 : 0;
    bool const isCompressed = (bytes[at] & 1) != 0;
    unsigned int const number = isCompressed ? bytes[at] : bytes.word(at);
    medium.networkOffset = at + (isCompressed ? 1 : 2);
    if (number == ipv4Number)
        setProtocol(medium, ipv4Type);
    else if (number == ipv6Number)
        setProtocol(medium, ipv6Type);
}

void analyseRaw(CBoundedBytes bytes, CMedium & medium)
{
    unsigned int const version = bytes[0] >> 4;
    if (version == 4)
        setProtocol(medium, ipv4Type);
    else if (version == 6)
        setProtocol(medium, ipv6Type);
}

} // namespace

void analyseMedium(std::uint32_t linkType, CBoundedBytes bytes, CMedium & medium)
{
    medium = CMedium();
    switch (linkType) {
    case linktype::linuxSll:
        return cooked::analyse(bytes, cooked::first, bytes.word(0), medium);
    case linktype::linuxSll2:
        return cooked::analyse(bytes, cooked::second, bytes[10], medium);
    case linktype::null:
    case linktype::loop:
        return analyseLoopback(bytes, medium);
    case linktype::ppp:
    case linktype::pppHdlc:
        return analysePpp(bytes, medium);
    case linktype::raw:
        return analyseRaw(bytes, medium);
    case linktype::ipv4:
        return setProtocol(medium, ipv4Type);
    case linktype::ipv6:
        return setProtocol(medium, ipv6Type);
    default:
        return;
    }
}

unsigned int mediumHeaderLength(std::uint32_t linkType)
{
    switch (linkType) {
    case linktype::ethernet:
        return ethernet::headerSize;
    case linktype::linuxSll:
        return cooked::first.payload;
    case linktype::linuxSll2:
        return cooked::second.payload;
    case linktype::null:
    case linktype::loop:
        return 4;
    case linktype::ppp:
    case linktype::pppHdlc:
        return 1;
    default:
        return 0;
    }
}

} // namespace ketmon
