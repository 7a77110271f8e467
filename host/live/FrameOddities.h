#pragma once

#include "host/render/Figures.h"

#include "ketstats/ketstats.h"

#include <cstdint>

namespace ketmon {

// Counts frames that something may be wrong with, which the tree doesn't tell apart. Costs a few nanoseconds a
// frame.
class CFrameOddities
{
public:
    void count(CFrameView const & frame);

    COddFigures figures() const;

private:
    void lookInto(CFrameView const & frame);

    std::uint64_t m_frames = 0;
    std::uint64_t m_cut = 0;
    std::uint64_t m_fragments = 0;
    std::uint64_t m_overlong = 0;
    std::uint64_t m_headless = 0;
    std::uint64_t m_longest = 0;
};

} // namespace ketmon
