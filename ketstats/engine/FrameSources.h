#pragma once

#include "ketstats/capture/EthernetAnalysis.h"
#include "ketstats/capture/FrameView.h"
#include "ketstats/capture/NetworkFrame.h"
#include "ketstats/model/Hashing.h"
#include "ketstats/model/statvalues.h"

#include <cstdint>
#include <typeinfo>

// The two kinds of frames that the pass counts. They answer alike; addresses and ids come as the numbers by which
// tables are searched.
namespace KetStats {

using CMACBits = CKeyBits<CMACAddrPacked>;
using CProtocolBits = CKeyBits<CProtocolIdPacked>;

// An id of two bytes as they lie in a frame, and one of a single byte.
inline CProtocolBits idOfWord(std::uint16_t wire)
{
    return CProtocolBits(static_cast<std::uint64_t>(wire) << 32);
}
inline CProtocolBits idOfByte(unsigned char value)
{
    return CProtocolBits(static_cast<std::uint64_t>(value) << 40);
}

// A frame object of the host's. Its class may be the host's too, and what it is asked may throw: so it is asked
// for no more than the pass needs, at the time when it needs it.
class CHostFrame
{
public:
    explicit CHostFrame(CNetworkFrame & frame) : m_frame(frame), m_media(*frame.AnalyzeFrame()) {}

    // Bytes on the medium that its length doesn't include.
    int overhead() const { return m_media.GetOverhead(); }
    int length() const { return m_frame.GetLength(); }
    bool isBroadcast() const { return m_media.IsBroadcast(); }
    bool isMulticast() const { return m_media.IsMulticast(); }
    CMACBits source() const { return CMACBits(CMACAddrPacked(m_media.sourceMAC)); }
    CMACBits destination() const { return CMACBits(CMACAddrPacked(m_media.destinationMAC)); }
    CProtocolBits protocol() const { return CProtocolBits(CProtocolIdPacked(m_media.GetProtocolId())); }

    // The captured bytes, and those from the network header on. A header that would start behind them is an empty one
    // at their end.
    CBoundedBytes bytes() const
    {
        unsigned int const captured = m_frame.GetCapturedLength();
        return {m_frame.GetData(), captured};
    }
    CBoundedBytes network() const { return bytes().from(m_media.networkOffset); }
    unsigned int networkOffset() const { return m_media.networkOffset; }

    // The tag, two bytes, null if there is none.
    unsigned char const * vlanTag() const
    {
        // Media of exactly that class, which are all that a capture brings, need no search through their bases.
        auto const * const ethernet = typeid(m_media) == typeid(CEthernetInfo)
                                          ? static_cast<CEthernetInfo const *>(&m_media)
                                          : dynamic_cast<CEthernetInfo const *>(&m_media);
        return ethernet && ethernet->hasVlanTag() ? ethernet->vlanTag : nullptr;
    }

private:
    CNetworkFrame & m_frame;
    CMediaInfo & m_media;
};

// The bytes of an Ethernet frame. Nearly all have a type right behind their addresses, and are taken apart here;
// the others are analysed as a CNetworkFrame does it.
class CPlainFrame
{
public:
    explicit CPlainFrame(CFrameView const & view)
        : m_bytes(static_cast<unsigned char const *>(view.data), view.capturedLength),
          m_length(view.length)
    {
        std::uint16_t const wire = m_bytes.number<std::uint16_t>(ethernet::typeOffset);
        unsigned int const type = m_bytes.word(ethernet::typeOffset);
        if (!m_bytes.holds(0, ethernet::headerSize) || type < ethernet::lowestType ||
            ethernet::isVlanType(type)) [[unlikely]] {
            analyse();
            return;
        }
        m_destination = addressAt(0);
        m_source = addressAt(6);
        m_protocol = idOfWord(wire);
        m_networkOffset = ethernet::headerSize;
    }

    int overhead() const { return CEthernetInfo::frameCheckSequence; }
    int length() const { return static_cast<int>(m_length); }
    bool isBroadcast() const { return m_destination == CMACBits(0xFFFFFFFFFFFF); }
    bool isMulticast() const { return (m_destination.number() & 1) != 0; }
    CMACBits source() const { return m_source; }
    CMACBits destination() const { return m_destination; }
    CProtocolBits protocol() const { return m_protocol; }
    CBoundedBytes bytes() const { return m_bytes; }
    CBoundedBytes network() const { return m_bytes.from(m_networkOffset); }
    unsigned int networkOffset() const { return m_networkOffset; }
    unsigned char const * vlanTag() const { return m_tagged ? m_tag : nullptr; }

private:
    CMACBits addressAt(unsigned int offset) const
    {
        return CMACBits(m_bytes.number<std::uint32_t>(offset) |
                        static_cast<std::uint64_t>(m_bytes.number<std::uint16_t>(offset + 4)) << 32);
    }
    void analyse();

    CBoundedBytes m_bytes;
    unsigned int m_length;
    unsigned int m_networkOffset = 0;
    CMACBits m_destination{0};
    CMACBits m_source{0};
    CProtocolBits m_protocol{0};
    bool m_tagged = false;
    unsigned char m_tag[2] = {};
};

} // namespace KetStats
