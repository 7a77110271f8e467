#include "host/capture/CaptureSource.h"

#include "host/capture/FrameBlock.h"

namespace ketmon {

void CCaptureSource::nextBlock(CFrameBlock & block)
{
    block.clear();
    CCapturedFrame frame{};
    if (next(frame))
        block.add(frame);
}

} // namespace ketmon
