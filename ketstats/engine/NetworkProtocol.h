#pragma once

#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/model/statvalues.h"

namespace KetStats {

// A view of one protocol's header inside one frame, made on the stack for one use. It owns and allocates
// nothing. Whatever the fields of the frame say, no byte outside the captured ones is read: what lies beyond
// reads as zero. Before analyze() succeeds every accessor answers with an empty id, a zero address or 0.
class KETSTATS_API CNetworkProtocol
{
public:
    CNetworkProtocol(CNetworkProtocol const &) = delete;
    CNetworkProtocol & operator=(CNetworkProtocol const &) = delete;

    // Whether the frame is of this protocol.
    virtual bool analyze();
    virtual CProtocolId const & getProtocolId() const = 0;
    virtual ~CNetworkProtocol();

    // The ids that the pass knows.
    static CProtocolId const & ipId();
    static CProtocolId const & arpId();
    static CProtocolId const & tcpId();
    static CProtocolId const & udpId();

protected:
    // `theMedia` is the frame's analysis; null has the frame analysed when it is needed.
    explicit CNetworkProtocol(CNetworkFrame * theFrame, CMediaInfo * theMedia = nullptr)
        : frame(theFrame),
          media(theMedia)
    {}

    // For the classes of this library: the base's test, then the header.
    bool analyzeWithHeader();

    // The captured bytes from the header on; none before it was found.
    CBoundedBytes bytes() const { return {header, m_available}; }
    CProtocolId idAt(unsigned int offset, int length) const
    {
        CBoundedBytes const captured = bytes();
        unsigned char wire[2];
        captured.copy<2>(offset, wire);
        CProtocolId id;
        id.Set(length, wire);
        return id;
    }
    CIPAddress addressAt(unsigned int offset) const
    {
        unsigned int address = 0;
        bytes().copy<sizeof address>(offset, reinterpret_cast<unsigned char *>(&address));
        return {address};
    }

    CNetworkFrame * frame;
    CMediaInfo * media;
    unsigned char const * header = nullptr; // first byte of this protocol's header
    unsigned int m_available = 0;           // captured bytes from there on
};

// IPv4. The version and the fragment fields aren't looked at, and a header length is taken as it stands.
class KETSTATS_API CIPProtocol final : public CNetworkProtocol
{
public:
    explicit CIPProtocol(CNetworkFrame * theFrame, CMediaInfo * theMedia = nullptr)
        : CNetworkProtocol(theFrame, theMedia)
    {}

    bool analyze() override { return analyzeWithHeader(); }
    CProtocolId const & getProtocolId() const override { return ipId(); }

    CIPAddress getSourceAddress() const { return addressAt(12); }
    CIPAddress getDestinationAddress() const { return addressAt(16); }
    CProtocolId getSubprotocolId() const { return idAt(9, 1); }
    // Ports, where the transport header stands behind the IP header.
    CProtocolId getSrcPortId() const { return idAt(headerLength(), 2); }
    CProtocolId getDstPortId() const { return idAt(headerLength() + 2, 2); }
    // The same as numbers.
    int getSrcPort() const { return static_cast<int>(bytes().word(headerLength())); }
    int getDstPort() const { return static_cast<int>(bytes().word(headerLength() + 2)); }

private:
    unsigned int headerLength() const { return (bytes()[0] & 0x0FU) * 4; }
};

// ARP. The lengths of the addresses are honoured, but only six bytes of a hardware address are ever taken.
//
//     2 protocol type   4 hlen   5 plen   6 opcode   8 sender MAC, sender IP, target MAC, target IP
class KETSTATS_API CARPProtocol final : public CNetworkProtocol
{
public:
    enum Opcode : unsigned int
    {
        request = 1,
        reply = 2,
    };

    explicit CARPProtocol(CNetworkFrame * theFrame, CMediaInfo * theMedia = nullptr)
        : CNetworkProtocol(theFrame, theMedia)
    {}

    bool analyze() override { return analyzeWithHeader(); }
    CProtocolId const & getProtocolId() const override { return arpId(); }

    CProtocolId getProtocolType() const { return idAt(2, 2); }
    unsigned int getOpcode() const { return bytes().word(6); }
    CMACAddr getSenderMAC() const { return macAt(senderMAC); }
    CIPAddress getSenderIP() const { return addressAt(senderMAC + hlen()); }
    CMACAddr getTargetMAC() const { return macAt(senderMAC + hlen() + plen()); }
    CIPAddress getTargetIP() const { return addressAt(senderMAC + 2 * hlen() + plen()); }

private:
    static constexpr unsigned int senderMAC = 8;

    unsigned int hlen() const { return bytes()[4]; }
    unsigned int plen() const { return bytes()[5]; }
    CMACAddr macAt(unsigned int offset) const;
};

} // namespace KetStats
