#include "ketstats/engine/StatManager.h"

namespace KetStats {

// One straight pass over a frame, with the writer side of the gate held. The order of the steps is fixed.
void CKetrinStatManager::doAnalyzeFrame(CNetworkFrame * frame)
{
    CMediaInfo * const media = frame->AnalyzeFrame();
    if (overhead.load(std::memory_order_relaxed) == -1)
        measureOverhead(*media);

    // Every statistic counts the frame with its overhead. Only the low 16 bits of a frame's length count.
    long long const frameSize =
        static_cast<unsigned short>(frame->GetLength()) + overhead.load(std::memory_order_relaxed);
    countFrame(frameSize);

    bool const broadcast = media->IsBroadcast();
    bool const unicast = !broadcast && !media->IsMulticast();
    if (enabledGroup(4)) {
        countFrameType(broadcast, unicast, frameSize);
        countFrameSize(frameSize);
    }
}

// Done once in the life of a manager: the overhead is a property of the medium, told by its first frame.
void CKetrinStatManager::measureOverhead(CMediaInfo const & media)
{
    overhead.store(media.GetOverhead(), std::memory_order_relaxed);
}

void CKetrinStatManager::countFrame(long long frameSize)
{
    agentStatistic.globalStatistics.transmittedFrames.add(1);
    agentStatistic.globalStatistics.transmittedData.add(frameSize);
}

void CKetrinStatManager::countFrameType(bool broadcast, bool unicast, long long frameSize)
{
    CFrameTypesStat & types = agentStatistic.frameTables.frameTypes;
    CFrameTypeOrSizeStat & row = unicast ? types.unicast : broadcast ? types.broadcast : types.multicast;
    row.data.add(frameSize);
    row.frames.add(1);
}

// The limits are inclusive and hold for the size with the overhead, so that a row's bytes add up with the
// global data. A negative size falls in the first row.
void CKetrinStatManager::countFrameSize(long long frameSize)
{
    CFrameSizesStat & sizes = agentStatistic.frameTables.frameSizes;
    CFrameTypeOrSizeStat & row = frameSize <= 64     ? sizes.size64
                                 : frameSize <= 128  ? sizes.size128
                                 : frameSize <= 256  ? sizes.size256
                                 : frameSize <= 512  ? sizes.size512
                                 : frameSize <= 1024 ? sizes.size1024
                                                     : sizes.sizeOver1024;
    row.data.add(frameSize);
    row.frames.add(1);
}

} // namespace KetStats
