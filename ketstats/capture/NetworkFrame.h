#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/capture/FrameView.h"
#include "ketstats/capture/MediaInfo.h"

// A captured Ethernet frame and its analysis. The object views the host's bytes, which must stay in place
// while it is in use, and may be given one frame after another. It belongs to one thread at a time.
//
// A class that keeps its bytes in another way overrides GetData, GetLength and GetCapturedLength; these are what
// is analysed and counted. It calls Assign, with whatever it likes, when it has other bytes.
class KNDISLIB_API CNetworkFrame : public CFrame
{
public:
    CNetworkFrame() : CFrame(nullptr, 0, 0) {}
    CNetworkFrame(void const * data, unsigned int capturedLength, unsigned int length)
        : CFrame(data, capturedLength, length)
    {}
    ~CNetworkFrame() override;

    // Views other bytes from now on. The result of the last AnalyzeFrame is gone.
    void Assign(void const * data, unsigned int capturedLength, unsigned int length)
    {
        m_data = static_cast<unsigned char const *>(data);
        m_capturedLength = capturedLength;
        m_length = length;
        m_analysed = false;
    }

    // The media information of the frame, worked out at the first call. Never null: any bytes have an
    // analysis, that of a frame without a header being all zeros. It is the frame's own.
    virtual CMediaInfo * AnalyzeFrame();

private:
    void analyse();

    CEthernetInfo m_media;
    bool m_analysed = false;
};

// Calls a handler with a frame object of those bytes, which is there for the call alone. For whoever can't make one:
// the library of statistics asks for this one only when frames come, and so may use its functions and nothing else.
KNDISLIB_API void handOver(CFrameView const & view,
                           void (*handler)(CNetworkFrame const * frame, void * context), void * context);
