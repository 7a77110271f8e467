#include "host/render/Quantity.h"

#include <gtest/gtest.h>

#include <limits>

using namespace ketmon;

namespace {

TEST(Quantity, HasThreeDigitsAndThousandsOf1000)
{
    CQuantityText const text(false);

    EXPECT_EQ(text(0), "0");
    EXPECT_EQ(text(9999), "9,999");
    EXPECT_EQ(text(10000), "10.0 k");
    EXPECT_EQ(text(12345), "12.3 k");
    EXPECT_EQ(text(123456), "123 k");
    EXPECT_EQ(text(999499), "999 k");
    EXPECT_EQ(text(999500), "1.00 M") << "never 1000 k";
    EXPECT_EQ(text(2874845), "2.87 M");
    EXPECT_EQ(text(9995000000ULL), "10.0 G");
    EXPECT_EQ(text(std::numeric_limits<std::uint64_t>::max()), "18.4 E");
}

TEST(Quantity, HasAllDigitsWhereExact)
{
    CQuantityText const text(true);

    EXPECT_EQ(text(12345), "12,345");
    EXPECT_EQ(text(std::numeric_limits<std::uint64_t>::max()), "18,446,744,073,709,551,615");
    EXPECT_EQ(text.bytes(1234567), "1,234,567 bytes");
}

TEST(Quantity, WhatIsNotKnownIsADash)
{
    EXPECT_EQ(CQuantityText(false)({}), "-");
    EXPECT_EQ(percentText({}), "-");
    EXPECT_EQ(percentText(std::numeric_limits<double>::quiet_NaN()), "-");
    EXPECT_EQ(bitRateText({}), "-");
    EXPECT_EQ(frameRateText({}), "-");
    EXPECT_EQ(momentText({}), "-");
    EXPECT_EQ(momentText(std::numeric_limits<long long>::max()), "-") << "behind the year 9999";
    EXPECT_EQ(shareOf(1, {}), std::nullopt);
    EXPECT_EQ(shareOf(0, 0), std::nullopt) << "a part of nothing";
}

TEST(Quantity, ReadsWellInSentences)
{
    CQuantityText const text(false);

    EXPECT_EQ(text.frames(1), "1 frame");
    EXPECT_EQ(text.frames(5223), "5,223 frames");
    EXPECT_EQ(text.bytes(1), "1 byte");
    EXPECT_EQ(text.bytes(990), "990 bytes");
    EXPECT_EQ(text.bytes(7100000), "7.10 MB");
}

TEST(Quantity, RatesHaveTheirUnits)
{
    EXPECT_EQ(bitRateText(142000.0), "142 kbit/s");
    EXPECT_EQ(bitRateText(0.0), "0.00 bit/s");
    EXPECT_EQ(bitRateText(0.158), "0.16 bit/s");
    EXPECT_EQ(frameRateText(29.17), "29.2 frames/s");
    EXPECT_EQ(frameRateText(29170.0), "29.2 k frames/s");
    EXPECT_EQ(frameRateText(0.00003), "0.00003 frames/s");
    EXPECT_EQ(frameRateText(1e-9), "<0.000001 frames/s");
}

TEST(Quantity, APercentageIsNeverAllOrNothingUnlessItIs)
{
    EXPECT_EQ(percentText(0.0), "0 %");
    EXPECT_EQ(percentText(0.00001), "<0.1 %");
    EXPECT_EQ(percentText(0.181), "18.1 %");
    EXPECT_EQ(percentText(0.99999), "99.9 %");
    EXPECT_EQ(percentText(1.0), "100 %");
    EXPECT_EQ(percentText(1.5), "150 %");
}

TEST(Quantity, ADurationHasTheUnitsThatPeopleSay)
{
    EXPECT_EQ(durationText(0.0008046), "805 us");
    EXPECT_EQ(durationText(0.344), "344 ms");
    EXPECT_EQ(durationText(1.867), "1.867 s");
    EXPECT_EQ(durationText(161.0), "2 min 41 s");
    EXPECT_EQ(durationText(10334.0), "2 h 52 min");
    EXPECT_EQ(durationText(142448400.0), "1,648 days 17 h");
}

TEST(Quantity, AMomentIsOfTheUtcWithMicroseconds)
{
    EXPECT_EQ(momentText(132223104000000000), "2020-01-01 00:00:00.000000 UTC");
    EXPECT_EQ(momentText(132223104001234567), "2020-01-01 00:00:00.1234567 UTC");
}

} // namespace
