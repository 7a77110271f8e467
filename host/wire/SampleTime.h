#pragma once

#include "host/capture/CaptureTime.h"

#include "ketstats/platform/SystemTypes.h"

#include <chrono>

namespace ketmon {

// The moment of a broken-down time of the statistics, in units of 100 ns since 1601-01-01 UTC.
inline long long ticksOf(_SYSTEMTIME const & time)
{
    using namespace std::chrono;
    auto const date = year(time.wYear) / month(time.wMonth) / day(time.wDay);
    auto const moment = sys_days(date) + hours(time.wHour) + minutes(time.wMinute) + seconds(time.wSecond);
    return ticksOfStamp(moment.time_since_epoch().count(), time.wMilliseconds * 1000000LL);
}

} // namespace ketmon
