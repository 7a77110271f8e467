#include "host/agent/Arrivals.h"

#include <gtest/gtest.h>

using ketmon::CArrivals;
using namespace std::chrono_literals;

namespace {

// How many of so many that come at once may.
int allowed(CArrivals & arrivals, std::string const & origin, int count, CArrivals::Clock::time_point now)
{
    int result = 0;
    for (int i = 0; i < count; ++i)
        result += arrivals.allows(origin, now) ? 1 : 0;
    return result;
}

TEST(Arrivals, AreLimitedForEachOriginByItself)
{
    CArrivals arrivals(50);
    auto const now = CArrivals::Clock::now() + 1h;

    EXPECT_EQ(allowed(arrivals, "10.0.0.1", 1000, now), 50);
    EXPECT_EQ(allowed(arrivals, "10.0.0.2", 10, now), 10);
    EXPECT_EQ(allowed(arrivals, "10.0.0.1", 1000, now + 2s), 10);
    EXPECT_EQ(allowed(arrivals, "10.0.0.1", 1000, now + 1h), 50);
}

TEST(Arrivals, FromEverywhereAreForgottenAndAllowed)
{
    CArrivals arrivals(50);
    auto const now = CArrivals::Clock::now() + 1h;

    for (int i = 0; i < 100000; ++i)
        ASSERT_TRUE(arrivals.allows(std::to_string(i), now)) << i;
}

} // namespace
