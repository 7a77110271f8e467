#pragma once

#include "host/capture/CaptureTime.h"

#include <sys/time.h>

namespace ketmon {

// A stamp of libpcap's, taken with the precision of nanoseconds, for which the field for microseconds holds
// them, in units of 100 ns since 1601-01-01 UTC.
inline long long ticksOfNanoStamp(timeval const & stamp)
{
    return ticksOfStamp(stamp.tv_sec, stamp.tv_usec);
}

} // namespace ketmon
