#include "host/support/TimeText.h"

#include <gtest/gtest.h>

#include <limits>

using ketmon::timeText;

namespace {

constexpr long long ticksTo1970 = 116444736000000000;
constexpr long long second = 10000000;

TEST(TimeText, IsUtcWithSevenDigitsOfTheSecond)
{
    EXPECT_EQ(timeText(ticksTo1970), "1970-01-01T00:00:00.0000000Z");
    EXPECT_EQ(timeText(ticksTo1970 + 1), "1970-01-01T00:00:00.0000001Z");
    EXPECT_EQ(timeText(ticksTo1970 + 1582934399 * second + 1234567), "2020-02-28T23:59:59.1234567Z");
    EXPECT_EQ(timeText(ticksTo1970 + 1582934400 * second), "2020-02-29T00:00:00.0000000Z");
    EXPECT_EQ(timeText(0), "1601-01-01T00:00:00.0000000Z");
    EXPECT_EQ(timeText(-1), "1600-12-31T23:59:59.9999999Z");
}

TEST(TimeText, IsNothingForAMomentThatHasNone)
{
    EXPECT_EQ(timeText(ticksTo1970 + 253402300800 * second - 1), "9999-12-31T23:59:59.9999999Z");
    EXPECT_EQ(timeText(ticksTo1970 + 253402300800 * second), std::nullopt);
    EXPECT_EQ(timeText(std::numeric_limits<long long>::max()), std::nullopt);
    EXPECT_EQ(timeText(std::numeric_limits<long long>::min()), std::nullopt);
}

} // namespace
