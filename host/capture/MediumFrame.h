#pragma once

#include "host/capture/CaptureSource.h"
#include "host/capture/Medium.h"

#include "ketstats/capture/NetworkFrame.h"

#include <cstdint>

namespace ketmon {

// A captured frame of any medium that is counted, as the library takes it: what tells of its medium is worked
// out as its link type has it. It views the bytes of the capture, and may be given one frame after another.
class CMediumFrame : public CNetworkFrame
{
public:
    CMediumFrame() = default;
    explicit CMediumFrame(CCapturedFrame const & frame) { assign(frame); }

    void assign(CCapturedFrame const & frame)
    {
        Assign(frame.data, frame.capturedLength, frame.length);
        m_linkType = frame.linkType;
        m_known = false;
    }

    CMediaInfo * AnalyzeFrame() override;

private:
    std::uint32_t m_linkType = 0;
    bool m_known = false;
    CMedium m_medium; // of a frame that isn't of Ethernet
};

} // namespace ketmon
