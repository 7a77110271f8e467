#include "host/capture/MediumFrame.h"

#include "host/capture/LinkType.h"

namespace ketmon {

CMediaInfo * CMediumFrame::AnalyzeFrame()
{
    if (m_linkType == linktype::ethernet)
        return CNetworkFrame::AnalyzeFrame();
    if (!m_known) {
        analyseMedium(m_linkType, CBoundedBytes(*this), m_medium);
        m_known = true;
    }
    return &m_medium;
}

} // namespace ketmon
