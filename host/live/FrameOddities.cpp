#include "host/live/FrameOddities.h"

#include "host/capture/Medium.h"

#include <algorithm>

namespace ketmon {

namespace {

// Lengths without the frame check sequence, which captures leave out.
constexpr unsigned int headerLength = 14;
constexpr unsigned int longestUsual = 1514;
constexpr unsigned int longestTagged = 1522; // with two VLAN tags
constexpr unsigned int checkSequence = 4;

constexpr unsigned int typeOffset = 12;
constexpr unsigned int arp = 0x0806;
constexpr unsigned int ipv6 = 0x86DD;
constexpr unsigned int ipv4 = 0x0800;
constexpr unsigned int fragmentField = 6;     // of an IPv4 header
constexpr unsigned int fragmentBits = 0x3FFF; // more fragments, and the offset

bool isFragment(CBoundedBytes bytes, unsigned int networkOffset)
{
    unsigned int const field = networkOffset + fragmentField;
    return bytes.holds(field, 2) && (bytes.word(field) & fragmentBits) != 0;
}

bool isIPv4(CMediaInfo const & media)
{
    constexpr unsigned char wire[] = {ipv4 >> 8, ipv4 & 0xFF};
    CProtocolId id;
    id.Set(sizeof wire, wire);
    return media.GetProtocolId() == id;
}

} // namespace

void CFrameOddities::count(CCapturedFrame const & frame)
{
    ++m_frames;
    m_longest = std::max<std::uint64_t>(m_longest, frame.length);
    if (frame.capturedLength < frame.length)
        ++m_cut;
    m_ethernet = frame.linkType == linktype::ethernet;
    if (m_ethernet)
        countEthernet(frame);
    else
        countOther(frame);
}

void CFrameOddities::countEthernet(CCapturedFrame const & frame)
{
    if (frame.length < headerLength)
        ++m_headless;
    CBoundedBytes const bytes(frame.data, frame.capturedLength);
    unsigned int const type = bytes.word(typeOffset);
    // Nearly all frames have their type where it is looked for here.
    bool const plain = type == ipv4 || type == ipv6 || type == arp;
    if (!plain || frame.length > longestUsual)
        lookInto(frame);
    else if (type == ipv4 && isFragment(bytes, headerLength))
        ++m_fragments;
}

COddFigures CFrameOddities::figures() const
{
    CCount const longest = m_frames > 0 ? CCount(m_longest + (m_ethernet ? checkSequence : 0)) : CCount();
    // What is usual is known of Ethernet alone.
    return {m_cut, m_fragments, m_ethernet ? CCount(m_overlong) : CCount(), m_headless, longest};
}

// What takes a whole analysis to tell.
void CFrameOddities::lookInto(CCapturedFrame const & view)
{
    CNetworkFrame frame(view.data, view.capturedLength, view.length);
    auto const & media = static_cast<CEthernetInfo const &>(*frame.AnalyzeFrame());
    if (view.length > longestUsual && (view.length > longestTagged || !media.hasVlanTag()))
        ++m_overlong;
    if (isIPv4(media) && isFragment(CBoundedBytes(frame), media.networkOffset))
        ++m_fragments;
}

void CFrameOddities::countOther(CCapturedFrame const & frame)
{
    if (frame.length < mediumHeaderLength(frame.linkType))
        ++m_headless;
    CBoundedBytes const bytes(frame.data, frame.capturedLength);
    CMedium medium;
    analyseMedium(frame.linkType, bytes, medium);
    if (isIPv4(medium) && isFragment(bytes, medium.networkOffset))
        ++m_fragments;
}

} // namespace ketmon
