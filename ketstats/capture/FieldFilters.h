#pragma once

#include "ketstats/capture/Address.h"
#include "ketstats/capture/Filter.h"
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
    ~CSrcMACFilter() override;

    eFilterId GetFilterId() const override;
    CFilter * Clone() const override;

    CMACAddr address;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CSrcMACFilter(CSrcMACFilter const &);
    CSrcMACFilter & operator=(CSrcMACFilter const &) = delete;
};

// Frames to one station or group.
class KNDISLIB_API CDstMACFilter : public CFilter
{
public:
    // The address as LoadHexString reads it.
    CDstMACFilter(std::string const & addressText, std::string const & theDescription, bool isNegated);
    ~CDstMACFilter() override;

    eFilterId GetFilterId() const override;
    CFilter * Clone() const override;

    CMACAddr address;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CDstMACFilter(CDstMACFilter const &);
    CDstMACFilter & operator=(CDstMACFilter const &) = delete;
};

// Frames of one network protocol: those whose analysis gives this id, all six bytes compared.
class KNDISLIB_API CProtocolFilter : public CFilter
{
public:
    // The id is empty until it is set.
    CProtocolFilter(std::string const & theDescription, bool isNegated);
    CProtocolFilter(CProtocolId const & theProtocolId, std::string const & theDescription, bool isNegated);
    ~CProtocolFilter() override;

    eFilterId GetFilterId() const override;
    CFilter * Clone() const override;

    CProtocolId protocolId;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CProtocolFilter(CProtocolFilter const &);
    CProtocolFilter & operator=(CProtocolFilter const &) = delete;
};

// IP packets with one value in the protocol field.
class KNDISLIB_API CIPSubprotocolFilter : public CFilter
{
public:
    CIPSubprotocolFilter(unsigned char theProtocol, std::string const & theDescription, bool isNegated);
    ~CIPSubprotocolFilter() override;

    eFilterId GetFilterId() const override;
    CFilter * Clone() const override;

    unsigned char protocol;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CIPSubprotocolFilter(CIPSubprotocolFilter const &);
    CIPSubprotocolFilter & operator=(CIPSubprotocolFilter const &) = delete;
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

    // The port as a number. A type that isn't one passes nothing, and isn't read from a stream.
    CIPPortFilter(unsigned short thePort, ePortType theType, eOperation theOperation,
                  std::string const & theDescription, bool isNegated);
    ~CIPPortFilter() override;

    eFilterId GetFilterId() const override;
    CFilter * Clone() const override;

    unsigned short port;
    ePortType type;
    eOperation operation;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CIPPortFilter(CIPPortFilter const &);
    CIPPortFilter & operator=(CIPPortFilter const &) = delete;
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
    ~CIPAddrFilter() override;

    eFilterId GetFilterId() const override;
    CFilter * Clone() const override;

    unsigned int address;
    unsigned int position;
    eOperation operation;

protected:
    bool matches(CFilteredFrame const & frame) const override;
    CFilterExpression expression() const override;
    void packFields(ktools::CMemoryBuffer & buffer) const override;
    void unpackFields(ktools::CMemoryBuffer & buffer, unsigned int levels) override;

private:
    CIPAddrFilter(CIPAddrFilter const &);
    CIPAddrFilter & operator=(CIPAddrFilter const &) = delete;
};
