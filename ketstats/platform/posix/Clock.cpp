#include "ketstats/platform/Clock.h"

#include <chrono>

namespace KetStats::platform {

namespace {

using std::chrono::days;
using std::chrono::floor;
using std::chrono::milliseconds;
using std::chrono::sys_days;
using std::chrono::sys_time;

constexpr long long ticksPerMillisecond = 10000;
constexpr sys_days tickEpoch = std::chrono::year(1601) / 1 / 1;

_SYSTEMTIME broken(sys_time<milliseconds> moment)
{
    auto const day = floor<days>(moment);
    std::chrono::year_month_day const date(day);
    std::chrono::hh_mm_ss const clock(moment - day);

    _SYSTEMTIME time{};
    time.wYear = static_cast<unsigned short>(static_cast<int>(date.year()));
    time.wMonth = static_cast<unsigned short>(static_cast<unsigned>(date.month()));
    time.wDayOfWeek = static_cast<unsigned short>(std::chrono::weekday(day).c_encoding());
    time.wDay = static_cast<unsigned short>(static_cast<unsigned>(date.day()));
    time.wHour = static_cast<unsigned short>(clock.hours().count());
    time.wMinute = static_cast<unsigned short>(clock.minutes().count());
    time.wSecond = static_cast<unsigned short>(clock.seconds().count());
    time.wMilliseconds = static_cast<unsigned short>(clock.subseconds().count());
    return time;
}

} // namespace

_SYSTEMTIME currentTime()
{
    return broken(floor<milliseconds>(std::chrono::system_clock::now()));
}

long long ticksOf(_SYSTEMTIME const & time)
{
    std::chrono::year_month_day const date(std::chrono::year(time.wYear), std::chrono::month(time.wMonth),
                                           std::chrono::day(time.wDay));
    if (!date.ok() || time.wHour > 23 || time.wMinute > 59 || time.wSecond > 59 || time.wMilliseconds > 999)
        return 0;
    milliseconds const sinceEpoch = sys_days(date) - tickEpoch + std::chrono::hours(time.wHour) +
                                    std::chrono::minutes(time.wMinute) + std::chrono::seconds(time.wSecond) +
                                    milliseconds(time.wMilliseconds);
    return sinceEpoch.count() * ticksPerMillisecond;
}

_SYSTEMTIME timeOf(long long ticks)
{
    return broken(sys_time<milliseconds>(tickEpoch) + milliseconds(ticks / ticksPerMillisecond));
}

} // namespace KetStats::platform
