#include "host/console/RetryWaits.h"

#include <gtest/gtest.h>

#include <vector>

using ketmon::CRetryWaits;
using namespace std::chrono_literals;

namespace {

constexpr CRetryWaits::Clock::time_point start{};

TEST(RetryWaits, DoubleUpToHalfAMinute)
{
    CRetryWaits waits;

    for (auto const wait : {1s, 2s, 4s, 8s, 16s, 30s, 30s})
        EXPECT_EQ(waits.next(start), wait);
}

// An agent that fails each time it has sent a sample or two is waited for longer and longer.
TEST(RetryWaits, GoOnGrowingBehindAConnectionThatCameToLittle)
{
    CRetryWaits waits;

    for (auto const wait : {1s, 2s, 4s, 8s}) {
        waits.connected(start);
        waits.sampled();
        waits.sampled();
        EXPECT_EQ(waits.next(start + 59s), wait);
    }
}

TEST(RetryWaits, BeginAnewBehindThreeSamplesOrAMinute)
{
    CRetryWaits waits;
    EXPECT_EQ(waits.next(start), 1s);
    EXPECT_EQ(waits.next(start), 2s);

    waits.connected(start);
    for (int i = 0; i < 3; ++i)
        waits.sampled();
    EXPECT_EQ(waits.next(start), 1s);
    EXPECT_EQ(waits.next(start), 2s);
    waits.connected(start);
    waits.sampled();
    EXPECT_EQ(waits.next(start + 60s), 1s);
    // A try that didn't come to a connection has nothing of the one before.
    EXPECT_EQ(waits.next(start + 120s), 2s);
}

} // namespace
