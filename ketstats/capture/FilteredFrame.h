#pragma once

#include "ketstats/capture/EthernetAnalysis.h"
#include "ketstats/capture/IPv6Header.h"
#include "ketstats/capture/NetworkFrame.h"

#include <optional>
#include <typeinfo>

// What filters see of a frame: one analysis for all filters of a compound. It is made on the stack for one
// use. Headers are read exactly as the counting reads them.
//
// Bytes are looked at as those of an Ethernet frame, and a frame object of a class of the host's by its own
// analysis, which is of the medium that the host has it from.
class CFilteredFrame
{
public:
    explicit CFilteredFrame(CFrame const & frame)
        : m_frame(frame.GetData(), frame.GetCapturedLength(), static_cast<unsigned int>(frame.GetLength())),
          media(*analysedBy(frame).AnalyzeFrame()),
          isIP(media.protocolId.bytes == ipId),
          isIPv6(media.protocolId.bytes == ipv6Id)
    {}

    CFilteredFrame(CFilteredFrame const &) = delete;
    CFilteredFrame & operator=(CFilteredFrame const &) = delete;

    // The identifier in the tag that stands first in front of the type, for 0, or second, for 1. None if there is no
    // such tag, as on all media but Ethernet.
    std::optional<unsigned int> vlan(unsigned int tag) const
    {
        if (!dynamic_cast<CEthernetInfo const *>(&media))
            return std::nullopt;
        CBoundedBytes const bytes(m_frame);
        unsigned int at = ethernet::typeOffset;
        for (unsigned int before = 0; before < tag && ethernet::isVlanType(bytes.word(at)); ++before)
            at += 4;
        if (!ethernet::isVlanType(bytes.word(at)))
            return std::nullopt;
        return bytes.word(at + 2) & 0x0FFF;
    }

    // Of IPv6 packets only.
    CIPv6Header ipv6() const { return CIPv6Header(header()); }

    // These are of IP packets only.
    unsigned char subprotocol() const { return header()[9]; }
    unsigned int sourcePort() const { return header().word(headerLength()); }
    unsigned int destinationPort() const { return header().word(headerLength() + 2); }

    // Copies the bytes at any position of the header, which are four of IP and sixteen of IPv6.
    template <unsigned int Count>
    void addressAt(unsigned int position, unsigned char * target) const
    {
        unsigned int const behindAll = m_frame.GetCapturedLength();
        header().template copy<Count>(position < behindAll ? position : behindAll, target);
    }

private:
    static constexpr std::array<unsigned char, CProtocolId::size> ipId{0, 0, 0, 0, 0x08, 0x00};
    static constexpr std::array<unsigned char, CProtocolId::size> ipv6Id{0, 0, 0, 0, 0x86, 0xDD};

    // A header that would start behind the captured bytes is an empty one at their end.
    CBoundedBytes header() const
    {
        unsigned int const captured = m_frame.GetCapturedLength();
        unsigned int const offset = media.networkOffset < captured ? media.networkOffset : captured;
        return {m_frame.GetData() + offset, captured - offset};
    }

    unsigned int headerLength() const { return (header()[0] & 0x0FU) * 4; }

    // Many threads may ask filters about one frame of the library's own class, so that is left as it is.
    CNetworkFrame & analysedBy(CFrame const & frame)
    {
        auto const * const network = dynamic_cast<CNetworkFrame const *>(&frame);
        bool const isOwn = !network || typeid(*network) == typeid(CNetworkFrame);
        return isOwn ? m_frame : const_cast<CNetworkFrame &>(*network);
    }

    CNetworkFrame m_frame;

public:
    CMediaInfo const & media;
    bool const isIP;
    bool const isIPv6;
};
