#pragma once

#include "ketstats/capture/Frame.h"
#include "ketstats/capture/MediaInfo.h"

// The field behind the addresses of an Ethernet frame.
namespace ethernet {

constexpr unsigned int typeOffset = 12;     // behind destination and source
constexpr unsigned int headerSize = 14;     // of a frame without a tag
constexpr unsigned int lowestType = 0x0600; // below, the field is an 802.3 length

inline bool isVlanType(unsigned int type)
{
    return type == 0x8100 || type == 0x88A8 || type == 0x9100;
}

} // namespace ethernet

// Works out the media information of the captured bytes of an Ethernet frame, whatever they are.
KNDISLIB_API void analyseEthernet(CBoundedBytes bytes, CEthernetInfo & media);
