#include "host/live/FrameOddities.h"

#include <algorithm>

namespace ketmon {

namespace {

// Lengths without the frame check sequence, which captures leave out.
constexpr unsigned int headerLength = 14;
constexpr unsigned int longestUsual = 1514;
constexpr unsigned int longestTagged = 1522; // with two VLAN tags
constexpr unsigned int checkSequence = 4;

constexpr unsigned int fragmentField = 6; // of an IPv4 header
constexpr unsigned char moreFragments = 0x20;
constexpr unsigned char offsetHigh = 0x1F;

} // namespace

CFrameOddities::CFrameOddities()
{
    unsigned char const type[] = {0x08, 0x00};
    m_ipv4.Set(sizeof type, type);
}

void CFrameOddities::count(CNetworkFrame & frame)
{
    unsigned int const length = static_cast<unsigned int>(frame.GetLength());
    ++m_frames;
    m_longest = std::max<std::uint64_t>(m_longest, length);
    if (frame.GetCapturedLength() < length)
        ++m_cut;
    if (length < headerLength)
        ++m_headless;
    if (length > longestUsual) {
        auto const * const media = dynamic_cast<CEthernetInfo const *>(frame.AnalyzeFrame());
        if (length > longestTagged || !media || !media->hasVlanTag())
            ++m_overlong;
    }
    if (isFragment(frame))
        ++m_fragments;
}

COddFigures CFrameOddities::figures() const
{
    CCount const longest = m_frames > 0 ? CCount(m_longest + checkSequence) : CCount();
    return {m_cut, m_fragments, m_overlong, m_headless, longest};
}

bool CFrameOddities::isFragment(CNetworkFrame & frame) const
{
    CMediaInfo const & media = *frame.AnalyzeFrame();
    unsigned int const field = media.networkOffset + fragmentField;
    if (field + 1 >= frame.GetCapturedLength() || !(media.GetProtocolId() == m_ipv4))
        return false;
    unsigned char const * const bytes = frame.GetData() + field;
    return (bytes[0] & (moreFragments | offsetHigh)) != 0 || bytes[1] != 0;
}

} // namespace ketmon
