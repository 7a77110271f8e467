#pragma once

#include "host/capture/CaptureSource.h"
#include "host/render/Figures.h"

#include "ketstats/ketstats.h"

#include <cstdint>

namespace ketmon {

// Counts frames that something may be wrong with, which the tree doesn't tell apart. Costs a few nanoseconds a
// frame.
class CFrameOddities
{
public:
    void count(CCapturedFrame const & frame);

    COddFigures figures() const;

private:
    void countEthernet(CCapturedFrame const & frame);
    void countOther(CCapturedFrame const & frame);
    void lookInto(CCapturedFrame const & frame);

    std::uint64_t m_frames = 0;
    std::uint64_t m_cut = 0;
    std::uint64_t m_fragments = 0;
    std::uint64_t m_overlong = 0;
    std::uint64_t m_headless = 0;
    std::uint64_t m_longest = 0;
    bool m_ethernet = true;
};

} // namespace ketmon
