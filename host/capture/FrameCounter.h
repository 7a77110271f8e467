#pragma once

#include "host/capture/FrameBlock.h"
#include "host/capture/MediumFrame.h"

#include "ketstats/ketstats.h"

#include <cstddef>

namespace ketmon {

// Turns off what can't be counted of frames that aren't of Ethernet: all that takes the addresses of both
// ends, which is stations and MAC traffic, and VLANs, since tags are looked for in frames of Ethernet alone.
void leaveOutUnknown(KetStats::CKetrinStatManager & manager);

// Hands blocks of frames to a manager: those of Ethernet as they lie, those of other media one by one.
class CFrameCounter
{
public:
    // The manager must live longer.
    explicit CFrameCounter(KetStats::CKetrinStatManager & manager) : m_manager(manager) {}

    // So many frames of a block, from `first` on.
    void count(CFrameBlock const & block, std::size_t first, std::size_t count);

private:
    void countOthers(CFrameBlock const & block, std::size_t first, std::size_t count);

    KetStats::CKetrinStatManager & m_manager;
    CMediumFrame m_frame;
    bool m_leftOut = false;
};

} // namespace ketmon
