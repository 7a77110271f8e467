#pragma once

#include "ketstats/model/statvalues.h"

#include <atomic>

namespace test {

// The time of day as a test sets it. The system's clock comes back when the object goes.
class Clock
{
public:
    static constexpr long long millisecond = 10'000;
    static constexpr long long second = 1000 * millisecond;

    Clock()
    {
        now() = 132'223'104'000'000'000; // 2020-01-01 00:00 UTC
        KetStats::CSystemTime::setSource([] { return now().load(); });
    }
    ~Clock() { KetStats::CSystemTime::setSource(nullptr); }
    Clock(Clock const &) = delete;
    Clock & operator=(Clock const &) = delete;

    void advance(long long ticks) { now() += ticks; }

private:
    static std::atomic<long long> & now()
    {
        static std::atomic<long long> ticks;
        return ticks;
    }
};

} // namespace test
