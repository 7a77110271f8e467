#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/engine/PassControls.h"
#include "ketstats/extended/ExtendedStatistic.h"

namespace KetStats {

// What the second tree is told of a frame.
struct CFrameFacts
{
    unsigned short protocol;    // 0 for an id of more than two bytes
    CBoundedBytes network;      // captured, from the network header on
    unsigned int networkLength; // on the wire
    long long size;             // as all statistics count it
    bool unicast;
    unsigned int changedBindings; // that it taught by ARP, of addresses that are bound to another MAC address
    unsigned char const * tag;    // the two bytes of the first VLAN tag, null if there is none
    CBoundedBytes behindTag;      // captured, from the type behind that tag on
};

// Counts a frame in those groups of the second tree that are enabled. The writer side of the gate is held, and the
// first tree has counted the frame.
void passOverExtended(CExtendedStatistic & tree, CPassControls const & controls, CFrameFacts const & frame);

} // namespace KetStats
