#include "ketstats/capture/FieldFilters.h"

#include "ketstats/capture/FilterExpression.h"
#include "ketstats/capture/FilterStream.h"
#include "ketstats/capture/FilteredFrame.h"

#include <cstring>

namespace {

constexpr unsigned char tcp = 6;
constexpr unsigned char udp = 17;

// `ether src` or `ether dst` with an address.
CFilterExpression ofStation(char const * end, CMACAddr const & address)
{
    std::string text = std::string("ether ") + end + " " + hexString(address.bytes.data(), 6);
    for (std::size_t i = text.size() - 17; i < text.size(); ++i) {
        if (text[i] == '-')
            text[i] = ':';
        else if (text[i] >= 'A' && text[i] <= 'F')
            text[i] = static_cast<char>(text[i] - 'A' + 'a');
    }
    return CFilterExpression::ofAnyDepth(text);
}

CFilterExpression ofSubprotocol(unsigned char protocol)
{
    std::string const number = std::to_string(protocol);
    return CFilterExpression::ofIP("ip proto " + number, "ether[{9}] = " + number);
}

} // namespace

CSrcMACFilter::CSrcMACFilter(std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated)
{}

KETSTATS_FIELD_FILTER_BODIES(CSrcMACFilter, fiSourceMAC)

bool CSrcMACFilter::matches(CFilteredFrame const & frame) const
{
    return frame.media.sourceMAC == address;
}

CFilterExpression CSrcMACFilter::expression() const
{
    return ofStation("src", address);
}

void CSrcMACFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, address);
}

void CSrcMACFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    address = filterstream::read<CMACAddr>(buffer);
}

CDstMACFilter::CDstMACFilter(std::string const & addressText, std::string const & theDescription,
                             bool isNegated)
    : CFilter(theDescription, isNegated)
{
    LoadHexString(addressText.c_str(), address.bytes.data(), static_cast<int>(address.bytes.size()));
}

KETSTATS_FIELD_FILTER_BODIES(CDstMACFilter, fiDestinationMAC)

bool CDstMACFilter::matches(CFilteredFrame const & frame) const
{
    return frame.media.destinationMAC == address;
}

CFilterExpression CDstMACFilter::expression() const
{
    return ofStation("dst", address);
}

void CDstMACFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, address);
}

void CDstMACFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    address = filterstream::read<CMACAddr>(buffer);
}

CProtocolFilter::CProtocolFilter(std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated)
{}

CProtocolFilter::CProtocolFilter(CProtocolId const & theProtocolId, std::string const & theDescription,
                                 bool isNegated)
    : CFilter(theDescription, isNegated),
      protocolId(theProtocolId)
{}

KETSTATS_FIELD_FILTER_BODIES(CProtocolFilter, fiProtocol)

bool CProtocolFilter::matches(CFilteredFrame const & frame) const
{
    return frame.media.GetProtocolId() == protocolId;
}

CFilterExpression CProtocolFilter::expression() const
{
    // No frame has an id of more than two bytes.
    for (std::size_t i = 0; i < 4; ++i)
        if (protocolId.bytes[i] != 0)
            return CFilterExpression::constant(false);
    return CFilterExpression::ofProtocol(static_cast<unsigned int>(protocolId.bytes[4]) << 8 |
                                         protocolId.bytes[5]);
}

void CProtocolFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, protocolId);
}

void CProtocolFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    protocolId = filterstream::read<CProtocolId>(buffer);
}

CIPSubprotocolFilter::CIPSubprotocolFilter(unsigned char theProtocol, std::string const & theDescription,
                                           bool isNegated)
    : CFilter(theDescription, isNegated),
      protocol(theProtocol)
{}

KETSTATS_FIELD_FILTER_BODIES(CIPSubprotocolFilter, fiIPSubprotocol)

bool CIPSubprotocolFilter::matches(CFilteredFrame const & frame) const
{
    return frame.isIP && frame.subprotocol() == protocol;
}

CFilterExpression CIPSubprotocolFilter::expression() const
{
    return ofSubprotocol(protocol);
}

void CIPSubprotocolFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, protocol);
}

void CIPSubprotocolFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    protocol = filterstream::read<unsigned char>(buffer);
}

CIPPortFilter::CIPPortFilter(unsigned short thePort, ePortType theType, eOperation theOperation,
                             std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated),
      port(thePort),
      type(theType),
      operation(theOperation)
{}

KETSTATS_FIELD_FILTER_BODIES(CIPPortFilter, fiIPPort)

bool CIPPortFilter::matches(CFilteredFrame const & frame) const
{
    if (operation != eoEqual || type > ptUDP || !frame.isIP)
        return false;
    unsigned char const protocol = frame.subprotocol();
    if (!(protocol == tcp && type != ptUDP) && !(protocol == udp && type != ptTCP))
        return false;
    return (type != ptDestination && frame.sourcePort() == port) ||
           (type != ptSource && frame.destinationPort() == port);
}

// Not `tcp port 80`: that passes over later fragments, which are counted like the first.
CFilterExpression CIPPortFilter::expression() const
{
    if (operation != eoEqual || type > ptUDP)
        return CFilterExpression::constant(false);
    std::string const equal = " = " + std::to_string(port);
    std::vector<CFilterExpression> ends;
    if (type != ptDestination)
        ends.push_back(CFilterExpression::ofIP("ip[(ip[0] & 0xf) << 2:2]" + equal,
                                               "ether[((ether[{0}] & 0xf) << 2) + {0}:2]" + equal));
    if (type != ptSource)
        ends.push_back(CFilterExpression::ofIP("ip[((ip[0] & 0xf) << 2) + 2:2]" + equal,
                                               "ether[((ether[{0}] & 0xf) << 2) + {2}:2]" + equal));
    CFilterExpression const protocol =
        type == ptTCP ? ofSubprotocol(tcp)
        : type == ptUDP
            ? ofSubprotocol(udp)
            : CFilterExpression::ofIP("ip proto (6 or 17)", "(ether[{9}] = 6 or ether[{9}] = 17)");
    return CFilterExpression::all({protocol, CFilterExpression::any(ends)});
}

// What a stream may not hold.
void CIPPortFilter::checkPackable(unsigned int levels) const
{
    CFilter::checkPackable(levels);
    if (type > ptUDP || operation != eoEqual)
        ktools::raise<CException>(1, "FieldFilters", 250);
}

void CIPPortFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, port);
    filterstream::write(buffer, type);
    filterstream::write(buffer, operation);
}

void CIPPortFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    auto const thePort = filterstream::read<unsigned short>(buffer);
    auto const theType = filterstream::read<unsigned int>(buffer);
    if (theType > ptUDP)
        filterstream::refuse(264, "FieldFilters");
    auto const theOperation = filterstream::read<unsigned int>(buffer);
    if (theOperation != eoEqual)
        filterstream::refuse(267, "FieldFilters");
    port = thePort;
    type = static_cast<ePortType>(theType);
    operation = eoEqual;
}

CIPAddrFilter::CIPAddrFilter(unsigned int theAddress, unsigned int thePosition, eOperation theOperation,
                             std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated),
      address(theAddress),
      position(thePosition),
      operation(theOperation)
{}

KETSTATS_FIELD_FILTER_BODIES(CIPAddrFilter, fiIPAddress)

bool CIPAddrFilter::matches(CFilteredFrame const & frame) const
{
    if (operation != eoEqual || !frame.isIP)
        return false;
    unsigned char found[sizeof address];
    frame.addressAt<sizeof found>(position, found);
    return std::memcmp(found, &address, sizeof address) == 0;
}

CFilterExpression CIPAddrFilter::expression() const
{
    // No frame is as long as that, so zeros are what is read there; libpcap would count from the other end.
    static constexpr unsigned int behindAllFrames = 0x7FFF0000;

    if (operation != eoEqual || (position >= behindAllFrames && address != 0))
        return CFilterExpression::constant(false);
    if (position >= behindAllFrames)
        return CFilterExpression::ofProtocol(0x0800);

    unsigned char octets[sizeof address];
    std::memcpy(octets, &address, sizeof address);
    unsigned int const number = static_cast<unsigned int>(octets[0]) << 24 |
                                static_cast<unsigned int>(octets[1]) << 16 |
                                static_cast<unsigned int>(octets[2]) << 8 | octets[3];
    std::string const place = std::to_string(position);
    std::string const equal = ":4] = " + CFilterExpression::hexNumber(number, sizeof address);
    std::string text = "ip[" + place + equal;
    if (position == apSource || position == apDestination) {
        text = position == apSource ? "ip src host " : "ip dst host ";
        for (int i = 0; i < 4; ++i)
            text += (i == 0 ? "" : ".") + std::to_string(octets[i]);
    }
    return CFilterExpression::ofIP(text, "ether[{" + place + "}" + equal);
}

// What a stream may not hold.
void CIPAddrFilter::checkPackable(unsigned int levels) const
{
    CFilter::checkPackable(levels);
    if (operation != eoEqual)
        ktools::raise<CException>(1, "FieldFilters", 330);
}

void CIPAddrFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, address);
    filterstream::write(buffer, position);
    filterstream::write(buffer, operation);
}

void CIPAddrFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    auto const theAddress = filterstream::read<unsigned int>(buffer);
    auto const thePosition = filterstream::read<unsigned int>(buffer);
    auto const theOperation = filterstream::read<unsigned int>(buffer);
    if (theOperation != eoEqual)
        filterstream::refuse(342, "FieldFilters");
    address = theAddress;
    position = thePosition;
    operation = eoEqual;
}
