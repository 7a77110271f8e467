#include "host/capture/FrameCounter.h"

namespace ketmon {

void leaveOutUnknown(KetStats::CKetrinStatManager & manager)
{
    for (char const * const group : {"1.5", "1.7", "2.4"})
        manager.disableStatistic(KetStats::COid(group));
}

void CFrameCounter::count(CFrameBlock const & block, std::size_t first, std::size_t count)
{
    if (block.linkType() == linktype::ethernet)
        m_manager.analyzeFrames(block.views().subspan(first, count));
    else
        countOthers(block, first, count);
}

void CFrameCounter::countOthers(CFrameBlock const & block, std::size_t first, std::size_t count)
{
    // Of a pipe nobody knew before.
    if (!m_leftOut)
        leaveOutUnknown(m_manager);
    m_leftOut = true;
    for (std::size_t i = first; i < first + count; ++i) {
        m_frame.assign(block.frame(i));
        m_manager.analyzeFrame(&m_frame);
    }
}

} // namespace ketmon
