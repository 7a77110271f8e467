#include "host/capture/CaptureClock.h"

#include "ketstats/ketstats.h"

#include <atomic>

namespace ketmon {

namespace {

// The library takes a plain function as its clock, so what it reads can't be a member.
std::atomic<long long> current{0};

long long currentTicks()
{
    return current.load(std::memory_order_relaxed);
}

} // namespace

CCaptureClock::CCaptureClock(long long ticks)
{
    set(ticks);
    KetStats::CSystemTime::setSource(&currentTicks);
}

CCaptureClock::~CCaptureClock()
{
    KetStats::CSystemTime::setSource(nullptr);
}

void CCaptureClock::set(long long ticks)
{
    current.store(ticks, std::memory_order_relaxed);
}

long long CCaptureClock::now() const
{
    return currentTicks();
}

} // namespace ketmon
