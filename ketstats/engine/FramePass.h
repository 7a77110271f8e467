#pragma once

#include "ketstats/capture/NetworkFrame.h"

namespace KetStats {

// What the pass over one frame knows about it. Later steps read what earlier ones found.
struct CFramePass
{
    CNetworkFrame * frame;
    CMediaInfo * media;  // the frame's
    long long frameSize; // bytes that every statistic counts the frame for: its length and the overhead
    bool broadcast;
    bool unicast; // neither broadcast nor multicast

    // Found by the IP step, and only if it ran.
    bool ipFrame = false;
    bool tcpFrame = false;
    bool udpFrame = false;
    CProtocolId srcPortId{};
    CProtocolId dstPortId{};
    int srcPort = 0;
    int dstPort = 0;
};

} // namespace KetStats
