#include "host/support/TimeText.h"

#include <fmt/core.h>

#include <chrono>
#include <ratio>

namespace ketmon {

std::optional<std::string> timeText(long long ticks)
{
    using namespace std::chrono;
    using CTicks = duration<long long, std::ratio<1, 10000000>>;
    sys_days const start = year(1601) / January / 1;

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

} // namespace ketmon
