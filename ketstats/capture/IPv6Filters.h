#pragma once

#include "ketstats/capture/FieldFilters.h"

#include <array>

// The filters that look at one field of IPv6.
//
// They look only at frames whose protocol id is that of IPv6, 86 DD, whatever its framing. The version isn't looked
// at. What stands behind the extension headers is found as the counting finds it: over sixteen of them at most, and a
// header that wasn't captured whole ends the walk, and its own number counts then.

// IPv6 packets with one address, or any other sixteen bytes, at a place of the header.
class KNDISLIB_API CIPv6AddrFilter : public CFilter
{
public:
    using CAddress = std::array<unsigned char, 16>;

    // Where the addresses stand in the header.
    enum ePosition : unsigned int
    {
        apSource = 8,
        apDestination = 24,
    };

    // The address as its bytes lie on the wire, and the byte of the header where they are looked for.
    CIPv6AddrFilter(CAddress const & theAddress, unsigned int thePosition, eOperation theOperation,
                    std::string const & theDescription, bool isNegated);

    CAddress address;
    unsigned int position;
    eOperation operation;

    KETSTATS_FIELD_FILTER(CIPv6AddrFilter)

protected:
    void checkPackable(unsigned int levels) const override;
};

// IPv6 packets that carry one protocol behind their extension headers: the number at which the walk ends.
class KNDISLIB_API CIPv6ProtocolFilter : public CFilter
{
public:
    CIPv6ProtocolFilter(unsigned char theProtocol, std::string const & theDescription, bool isNegated);

    unsigned char protocol;

    KETSTATS_FIELD_FILTER(CIPv6ProtocolFilter)
};

// TCP segments or UDP datagrams of IPv6 with one port. What has no ports passes only if the filter is negated: a
// fragment that isn't the first, and a packet of which the four bytes of the ports weren't captured.
class KNDISLIB_API CIPv6PortFilter : public CFilter
{
public:
    // The port as a number. A type that isn't one passes nothing, and is neither packed nor read from a stream.
    CIPv6PortFilter(unsigned short thePort, CIPPortFilter::ePortType theType, eOperation theOperation,
                    std::string const & theDescription, bool isNegated);

    unsigned short port;
    CIPPortFilter::ePortType type;
    eOperation operation;

    KETSTATS_FIELD_FILTER(CIPv6PortFilter)

protected:
    void checkPackable(unsigned int levels) const override;
};
