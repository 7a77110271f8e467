#pragma once

#include <sys/time.h>

namespace ketmon {

// A stamp of libpcap's, taken with the precision of nanoseconds, for which the field for microseconds holds
// them, in units of 100 ns since 1601-01-01 UTC.
inline long long ticksOfNanoStamp(timeval const & stamp)
{
    constexpr long long ticksPerSecond = 10000000;
    constexpr long long nanosecondsPerTick = 100;
    constexpr long long ticksTo1970 = 116444736000000000;
    return ticksTo1970 + static_cast<long long>(stamp.tv_sec) * ticksPerSecond +
           static_cast<long long>(stamp.tv_usec) / nanosecondsPerTick;
}

} // namespace ketmon
