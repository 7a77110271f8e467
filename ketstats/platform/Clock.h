#pragma once

#include "ketstats/platform/SystemTypes.h"

// The system's clock and calendar. Ticks count 100 nanoseconds since 1601-01-01 00:00 UTC.
namespace KetStats::platform {

// The current UTC time, to the millisecond.
_SYSTEMTIME currentTime();

// The tick of a broken-down time; 0 if it names no moment.
long long ticksOf(_SYSTEMTIME const & time);

// The broken-down form of a tick, what is below a millisecond cut off.
_SYSTEMTIME timeOf(long long ticks);

} // namespace KetStats::platform
