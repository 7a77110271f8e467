#include "ketstats/capture/IPv6Filters.h"

#include "ketstats/capture/ExtensionHeaders.h"
#include "ketstats/capture/FilterExpression.h"
#include "ketstats/capture/FilterStream.h"
#include "ketstats/capture/FilteredFrame.h"

namespace {

constexpr char source[] = "IPv6Filters";

constexpr unsigned char tcp = 6;
constexpr unsigned char udp = 17;
constexpr unsigned int bytesOfPorts = 4;

} // namespace

CIPv6AddrFilter::CIPv6AddrFilter(CAddress const & theAddress, unsigned int thePosition,
                                 eOperation theOperation, std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated),
      address(theAddress),
      position(thePosition),
      operation(theOperation)
{}

KETSTATS_FIELD_FILTER_BODIES(CIPv6AddrFilter, fiIPv6Address)

bool CIPv6AddrFilter::matches(CFilteredFrame const & frame) const
{
    if (operation != eoEqual || !frame.isIPv6)
        return false;
    CAddress found;
    frame.addressAt<sizeof found>(position, found.data());
    return found == address;
}

CFilterExpression CIPv6AddrFilter::expression() const
{
    // No frame is as long as that, so zeros are what is read there; libpcap would count from the other end.
    static constexpr unsigned int behindAllFrames = 0x7FFF0000;

    if (operation != eoEqual || (position >= behindAllFrames && address != CAddress()))
        return CFilterExpression::constant(false);
    if (position >= behindAllFrames)
        return CFilterExpression::ofProtocol(0x86DD);

    std::string text;
    std::string anywhere;
    for (unsigned int word = 0; word < 4; ++word) {
        unsigned char const * const octets = address.data() + 4 * word;
        unsigned int const number = static_cast<unsigned int>(octets[0]) << 24 |
                                    static_cast<unsigned int>(octets[1]) << 16 |
                                    static_cast<unsigned int>(octets[2]) << 8 | octets[3];
        std::string const place = std::to_string(position + 4 * word);
        std::string const equal = ":4] = " + CFilterExpression::hexNumber(number, sizeof number);
        char const * const between = word == 0 ? "(" : " and ";
        text += between + ("ip6[" + place) + equal;
        anywhere += between + ("ether[{" + place) + '}' + equal;
    }
    if (position == apSource || position == apDestination)
        text = (position == apSource ? "ip6 src host " : "ip6 dst host ") + ipv6Text(address.data());
    else
        text += ')';
    return CFilterExpression::ofIPv6(text, anywhere + ')');
}

// What a stream may not hold.
void CIPv6AddrFilter::checkPackable(unsigned int levels) const
{
    CFilter::checkPackable(levels);
    if (operation != eoEqual)
        ktools::raise<CException>(1, source, 74);
}

void CIPv6AddrFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, address);
    filterstream::write(buffer, position);
    filterstream::write(buffer, operation);
}

void CIPv6AddrFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    auto const theAddress = filterstream::read<CAddress>(buffer);
    auto const thePosition = filterstream::read<unsigned int>(buffer);
    auto const theOperation = filterstream::read<unsigned int>(buffer);
    if (theOperation != eoEqual)
        filterstream::refuse(90, source);
    address = theAddress;
    position = thePosition;
    operation = eoEqual;
}

CIPv6ProtocolFilter::CIPv6ProtocolFilter(unsigned char theProtocol, std::string const & theDescription,
                                         bool isNegated)
    : CFilter(theDescription, isNegated),
      protocol(theProtocol)
{}

KETSTATS_FIELD_FILTER_BODIES(CIPv6ProtocolFilter, fiIPv6Protocol)

bool CIPv6ProtocolFilter::matches(CFilteredFrame const & frame) const
{
    return frame.isIPv6 && frame.ipv6().protocol() == protocol;
}

CFilterExpression CIPv6ProtocolFilter::expression() const
{
    return extensionheaders::carrying(protocol);
}

void CIPv6ProtocolFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, protocol);
}

void CIPv6ProtocolFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    protocol = filterstream::read<unsigned char>(buffer);
}

CIPv6PortFilter::CIPv6PortFilter(unsigned short thePort, CIPPortFilter::ePortType theType,
                                 eOperation theOperation, std::string const & theDescription, bool isNegated)
    : CFilter(theDescription, isNegated),
      port(thePort),
      type(theType),
      operation(theOperation)
{}

KETSTATS_FIELD_FILTER_BODIES(CIPv6PortFilter, fiIPv6Port)

bool CIPv6PortFilter::matches(CFilteredFrame const & frame) const
{
    if (operation != eoEqual || type > CIPPortFilter::ptUDP || !frame.isIPv6)
        return false;
    CIPv6Header const header = frame.ipv6();
    unsigned char const protocol = header.protocol();
    if (!(protocol == tcp && type != CIPPortFilter::ptUDP) &&
        !(protocol == udp && type != CIPPortFilter::ptTCP))
        return false;
    unsigned int const ports = header.payload();
    if (!header.hasPayload() || !header.bytes().holds(ports, bytesOfPorts))
        return false;
    return (type != CIPPortFilter::ptDestination && header.bytes().word(ports) == port) ||
           (type != CIPPortFilter::ptSource && header.bytes().word(ports + 2) == port);
}

CFilterExpression CIPv6PortFilter::expression() const
{
    return operation == eoEqual && type <= CIPPortFilter::ptUDP ? extensionheaders::withPort(port, type)
                                                                : CFilterExpression::constant(false);
}

// What a stream may not hold.
void CIPv6PortFilter::checkPackable(unsigned int levels) const
{
    CFilter::checkPackable(levels);
    if (type > CIPPortFilter::ptUDP || operation != eoEqual)
        ktools::raise<CException>(1, source, 161);
}

void CIPv6PortFilter::packFields(ktools::CMemoryBuffer & buffer) const
{
    filterstream::write(buffer, port);
    filterstream::write(buffer, type);
    filterstream::write(buffer, operation);
}

void CIPv6PortFilter::unpackFields(ktools::CMemoryBuffer & buffer, unsigned int /*levels*/)
{
    auto const thePort = filterstream::read<unsigned short>(buffer);
    auto const theType = filterstream::read<unsigned int>(buffer);
    if (theType > CIPPortFilter::ptUDP)
        filterstream::refuse(176, source);
    auto const theOperation = filterstream::read<unsigned int>(buffer);
    if (theOperation != eoEqual)
        filterstream::refuse(179, source);
    port = thePort;
    type = static_cast<CIPPortFilter::ePortType>(theType);
    operation = eoEqual;
}
