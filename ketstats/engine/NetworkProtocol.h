#pragma once

#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/model/statvalues.h"

#include <cstdint>

namespace KetStats {

// A port as it lies in a header.
struct CPortOnWire
{
    int number() const { return (wire & 0xFF) << 8 | wire >> 8; }

    std::uint16_t wire = 0;
};

// The fields of an IPv4 header. The version and the fragment fields aren't looked at, and a header length is taken
// as it stands.
class CIPHeader
{
public:
    static constexpr unsigned char tcp = 6;
    static constexpr unsigned char udp = 17;

    explicit CIPHeader(CBoundedBytes bytes) : m_bytes(bytes) {}

    // Addresses as they lie.
    std::uint32_t source() const { return m_bytes.number<std::uint32_t>(12); }
    std::uint32_t destination() const { return m_bytes.number<std::uint32_t>(16); }
    unsigned char subprotocol() const { return m_bytes[9]; }
    // Ports, where the transport header stands behind the IP header.
    CPortOnWire sourcePort() const { return {m_bytes.number<std::uint16_t>(length())}; }
    CPortOnWire destinationPort() const { return {m_bytes.number<std::uint16_t>(length() + 2)}; }

private:
    unsigned int length() const { return (m_bytes[0] & 0x0FU) * 4; }

    CBoundedBytes m_bytes;
};

// The fields of an ARP packet. The lengths of the addresses are honoured, but only six bytes of a hardware address
// are ever taken.
//
//     2 protocol type   4 hlen   5 plen   6 opcode   8 sender MAC, sender IP, target MAC, target IP
class CARPHeader
{
public:
    explicit CARPHeader(CBoundedBytes bytes) : m_bytes(bytes) {}

    std::uint16_t protocolType() const { return m_bytes.number<std::uint16_t>(2); } // as it lies
    unsigned int opcode() const { return m_bytes.word(6); }
    CMACAddr senderMAC() const { return macAt(senderOffset); }
    CIPAddress senderIP() const { return addressAt(senderOffset + hlen()); }
    CMACAddr targetMAC() const { return macAt(senderOffset + hlen() + plen()); }
    CIPAddress targetIP() const { return addressAt(senderOffset + 2 * hlen() + plen()); }

private:
    static constexpr unsigned int senderOffset = 8;

    unsigned int hlen() const { return m_bytes[4]; }
    unsigned int plen() const { return m_bytes[5]; }
    CMACAddr macAt(unsigned int offset) const
    {
        CMACAddr address;
        m_bytes.copy<6>(offset, address.bytes.data());
        return address;
    }
    CIPAddress addressAt(unsigned int offset) const { return {m_bytes.number<std::uint32_t>(offset)}; }

    CBoundedBytes m_bytes;
};

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

    CNetworkFrame * frame;
    CMediaInfo * media;
    unsigned char const * header = nullptr; // first byte of this protocol's header
    unsigned int m_available = 0;           // captured bytes from there on
};

// IPv4.
class KETSTATS_API CIPProtocol final : public CNetworkProtocol
{
public:
    explicit CIPProtocol(CNetworkFrame * theFrame, CMediaInfo * theMedia = nullptr)
        : CNetworkProtocol(theFrame, theMedia)
    {}

    bool analyze() override { return analyzeWithHeader(); }
    CProtocolId const & getProtocolId() const override { return ipId(); }

    CIPAddress getSourceAddress() const { return {fields().source()}; }
    CIPAddress getDestinationAddress() const { return {fields().destination()}; }
    CProtocolId getSubprotocolId() const { return idAt(9, 1); }
    CProtocolId getSrcPortId() const { return idOf(fields().sourcePort()); }
    CProtocolId getDstPortId() const { return idOf(fields().destinationPort()); }
    // The same as numbers.
    int getSrcPort() const { return fields().sourcePort().number(); }
    int getDstPort() const { return fields().destinationPort().number(); }

private:
    CIPHeader fields() const { return CIPHeader(bytes()); }
    static CProtocolId idOf(CPortOnWire port)
    {
        CProtocolId id;
        id.Set(sizeof port.wire, reinterpret_cast<unsigned char const *>(&port.wire));
        return id;
    }
};

// ARP.
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
    unsigned int getOpcode() const { return fields().opcode(); }
    CMACAddr getSenderMAC() const { return fields().senderMAC(); }
    CIPAddress getSenderIP() const { return fields().senderIP(); }
    CMACAddr getTargetMAC() const { return fields().targetMAC(); }
    CIPAddress getTargetIP() const { return fields().targetIP(); }

private:
    CARPHeader fields() const { return CARPHeader(bytes()); }
};

} // namespace KetStats
