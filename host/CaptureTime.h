#pragma once

#include <cstdint>

namespace ketmon {

constexpr long long ticksPerSecond = 10000000;
constexpr long long nanosecondsPerTick = 100;
constexpr long long ticksTo1970 = 116444736000000000; // since 1601-01-01 UTC

// A moment in units of 100 ns since 1601-01-01 UTC, from the time since 1970. What doesn't fill a unit is cut
// off. Damaged files hold moments that don't fit; they come out as any other.
constexpr long long ticksOfStamp(long long seconds, long long nanoseconds)
{
    using Wrapping = std::uint64_t;
    return static_cast<long long>(static_cast<Wrapping>(ticksTo1970) +
                                  static_cast<Wrapping>(seconds) * static_cast<Wrapping>(ticksPerSecond) +
                                  static_cast<Wrapping>(nanoseconds / nanosecondsPerTick));
}

} // namespace ketmon
