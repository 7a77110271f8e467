#include "host/agent/SampleTimes.h"
#include "host/agent/StatisticsClock.h"
#include "host/wire/SampleTime.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

using namespace ketmon;

namespace {

constexpr long long second = ticksPerSecond;
constexpr long long zero = 1000 * second;

TEST(SampleTimes, AreThoseOfTheDay)
{
    CSampleTimes times;
    CSampleHead head;

    times.start(head, zero, 5000);
    EXPECT_EQ(head.zero, zero + 5000);
    EXPECT_EQ(head.moment, zero + 5000);
    // Half a millisecond more is nothing that the clock was set by.
    times.goOn(head, zero + second, 10000);

    EXPECT_EQ(head.zero, zero + 5000);
    EXPECT_EQ(head.moment, zero + second + 5000);
    EXPECT_EQ(head.interval, second);
}

TEST(SampleTimes, KeepWhatPassedWhereTheClockIsSet)
{
    constexpr long long year = 365LL * 86400 * second;
    CSampleTimes times;
    CSampleHead head;
    times.start(head, zero, 0);

    long long passed = 0;
    for (long long const ahead : {year, -year, second, 0LL}) {
        passed += second;
        times.goOn(head, zero + passed, ahead);

        EXPECT_EQ(head.moment, zero + passed + ahead);
        EXPECT_EQ(head.interval, second) << ahead;
        EXPECT_EQ(head.moment - head.zero, passed) << ahead;
    }
}

long long standing()
{
    return zero;
}

TEST(StatisticsClock, GoesOnFromTheTimeOfTheDay)
{
    {
        CStatisticsClock const clock;
        EXPECT_LT(std::abs(dayAhead()), 10 * second);

        long long const before = statisticsTime();
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_GT(statisticsTime(), before);
    }
    KetStats::CSystemTime::setSource(&standing);
    EXPECT_EQ(statisticsTime(), zero);
    EXPECT_GT(dayAhead(), second);
    KetStats::CSystemTime::setSource(nullptr);
}

} // namespace
