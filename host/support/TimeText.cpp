#include "host/support/TimeText.h"

#include <fmt/core.h>

#include <ratio>

namespace ketmon {

using namespace std::chrono;

namespace {

using CTicks = duration<long long, std::ratio<1, 10000000>>;
constexpr sys_days start = year(1601) / January / 1;
constexpr std::size_t lengthWithMilliseconds = 23;

} // namespace

std::optional<std::string> timeText(long long ticks)
{

    // Days are added as such: in ticks the sum could go beyond what these hold.
    CTicks const since(ticks);
    days const whole = floor<days>(since);
    year_month_day const date(start + whole);
    if (int(date.year()) < 0 || int(date.year()) > 9999)
        return {};
    hh_mm_ss const time(since - whole);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:07}Z", int(date.year()), unsigned(date.month()),
                       unsigned(date.day()), time.hours().count(), time.minutes().count(),
                       time.seconds().count(), time.subseconds().count());
}

std::string timeText(system_clock::time_point moment)
{
    // From 1970 on: in nanoseconds the years from 1601 are too many.
    CTicks const since = duration_cast<CTicks>(moment.time_since_epoch()) - start.time_since_epoch();
    std::optional<std::string> const text = timeText(since.count());
    return text ? text->substr(0, lengthWithMilliseconds) + "Z" : "";
}

} // namespace ketmon
