#include "ketstats/platform/Clock.h"

namespace KetStats::platform {

namespace {

constexpr long long ticksPerMillisecond = 10000;

} // namespace

_SYSTEMTIME currentTime()
{
    _SYSTEMTIME time{};
    GetSystemTime(&time);
    return time;
}

long long ticksOf(_SYSTEMTIME const & time)
{
    FILETIME ticks{};
    if (!SystemTimeToFileTime(&time, &ticks))
        return 0;
    return static_cast<long long>(static_cast<unsigned long long>(ticks.dwHighDateTime) << 32 |
                                  ticks.dwLowDateTime);
}

_SYSTEMTIME timeOf(long long ticks)
{
    auto const whole = static_cast<unsigned long long>(ticks - ticks % ticksPerMillisecond);
    FILETIME const fileTime = {static_cast<DWORD>(whole), static_cast<DWORD>(whole >> 32)};
    _SYSTEMTIME time{};
    FileTimeToSystemTime(&fileTime, &time);
    return time;
}

} // namespace KetStats::platform
