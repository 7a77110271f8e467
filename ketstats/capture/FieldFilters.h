#pragma once

#include "ketstats/capture/Address.h"
#include "ketstats/capture/FieldFilter.h"
#include "ketstats/capture/ProtocolId.h"

// The filters that look at one field of a frame.
//
// Those of IP look only at frames whose protocol id is that of IP, 08 00, whatever its framing, and read the
// header as the counting does: the version and the fragment fields aren't looked at, and a header length
// below five words is taken as it stands.

// Frames from one station.
class KNDISLIB_API CSrcMACFilter : public CFilter
{
public:
    // The address is all zeros until it is set.
    CSrcMACFilter(std::string const & theDescription, bool isNegated);

    CMACAddr address;

    KETSTATS_FIELD_FILTER(CSrcMACFilter)
};

// Frames to one station or group.
class KNDISLIB_API CDstMACFilter : public CFilter
{
public:
    // The address as LoadHexString reads it.
    CDstMACFilter(std::string const & addressText, std::string const & theDescription, bool isNegated);

    CMACAddr address;

    KETSTATS_FIELD_FILTER(CDstMACFilter)
};

// Frames of one network protocol: those whose analysis gives this id, all six bytes compared.
class KNDISLIB_API CProtocolFilter : public CFilter
{
public:
    // The id is empty until it is set.
    CProtocolFilter(std::string const & theDescription, bool isNegated);
    CProtocolFilter(CProtocolId const & theProtocolId, std::string const & theDescription, bool isNegated);

    CProtocolId protocolId;

    KETSTATS_FIELD_FILTER(CProtocolFilter)
};

// IP packets with one value in the protocol field.
class KNDISLIB_API CIPSubprotocolFilter : public CFilter
{
public:
    CIPSubprotocolFilter(unsigned char theProtocol, std::string const & theDescription, bool isNegated);

    unsigned char protocol;

    KETSTATS_FIELD_FILTER(CIPSubprotocolFilter)
};

// TCP segments or UDP datagrams with one port. The ports of later fragments are read where those of the first
// would stand, as the counting does.
class KNDISLIB_API CIPPortFilter : public CFilter
{
public:
    enum ePortType : unsigned int
    {
        ptAny = 0,         // TCP or UDP, at either end
        ptSource = 1,      // TCP or UDP, at the source
        ptDestination = 2, // TCP or UDP, at the destination
        ptTCP = 3,         // TCP, at either end
        ptUDP = 4,         // UDP, at either end
    };

    // The port as a number. A type that isn't one passes nothing, and is neither packed nor read from a
    // stream.
    CIPPortFilter(unsigned short thePort, ePortType theType, eOperation theOperation,
                  std::string const & theDescription, bool isNegated);

    unsigned short port;
    ePortType type;
    eOperation operation;

    KETSTATS_FIELD_FILTER(CIPPortFilter)

protected:
    void checkPackable(unsigned int levels) const override;
};

// IP packets with one address, or any other four bytes, at a place of the header.
class KNDISLIB_API CIPAddrFilter : public CFilter
{
public:
    // Where the addresses stand in the header.
    enum ePosition : unsigned int
    {
        apSource = 12,
        apDestination = 16,
    };

    // The address as its four bytes lie on the wire, and the byte of the IP header where they are looked for.
    CIPAddrFilter(unsigned int theAddress, unsigned int thePosition, eOperation theOperation,
                  std::string const & theDescription, bool isNegated);

    unsigned int address;
    unsigned int position;
    eOperation operation;

    KETSTATS_FIELD_FILTER(CIPAddrFilter)

protected:
    void checkPackable(unsigned int levels) const override;
};
