#include "host/agent/StatisticsClock.h"

#include "host/capture/CaptureTime.h"
#include "host/wire/SampleTime.h"

#include "ketstats/ketstats.h"

#include <chrono>

namespace ketmon {

namespace {

using Ticks = std::chrono::duration<long long, std::ratio<1, ticksPerSecond>>;

template <class Clock>
long long ticksSinceItsStart()
{
    return std::chrono::duration_cast<Ticks>(Clock::now().time_since_epoch()).count();
}

long long dayTime()
{
    return ticksTo1970 + ticksSinceItsStart<std::chrono::system_clock>();
}

// The library takes a plain function as its clock. This is set before there is a second thread.
long long steadyAhead = 0;

long long steadyTime()
{
    return ticksSinceItsStart<std::chrono::steady_clock>() + steadyAhead;
}

} // namespace

CStatisticsClock::CStatisticsClock()
{
    steadyAhead = dayTime() - ticksSinceItsStart<std::chrono::steady_clock>();
    KetStats::CSystemTime::setSource(&steadyTime);
}

CStatisticsClock::~CStatisticsClock()
{
    KetStats::CSystemTime::setSource(nullptr);
}

long long dayAhead()
{
    return dayTime() - statisticsTime();
}

} // namespace ketmon
