#pragma once

#include <algorithm>

namespace ketmon {

constexpr long long ticksPerSecond = 10000000;
constexpr long long nanosecondsPerTick = 100;
constexpr long long ticksTo1970 = 116444736000000000; // since 1601-01-01 UTC

// A moment in units of 100 ns since 1601-01-01 UTC, from the time since 1970. What doesn't fill a unit is cut
// off. Damaged files hold any moment; those outside of some fourteen thousand years from 1601 on count as the
// nearest one inside, so that the difference of two moments always fits.
constexpr long long ticksOfStamp(long long seconds, long long nanoseconds)
{
    constexpr long long first = -ticksTo1970 / ticksPerSecond;
    constexpr long long last = (1LL << 62) / ticksPerSecond + first;
    return ticksTo1970 + std::clamp(seconds, first, last) * ticksPerSecond + nanoseconds / nanosecondsPerTick;
}

} // namespace ketmon
