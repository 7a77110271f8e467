#include "ketstats/text/FixedPoint.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace KetStats;

// Exact decimal arithmetic checks this function on a great many values: tests/independent/fixed_point.py.
namespace {

TEST(FixedPoint, ReadsAsInTheExamples)
{
    EXPECT_EQ(fixedPointToString(1234.567, 2), "1234.57");
    EXPECT_EQ(fixedPointToString(0.05, 2), "0.05");
    EXPECT_EQ(fixedPointToString(0.004, 2), "0.00");
    EXPECT_EQ(fixedPointToString(0, 2), "0.00");
    EXPECT_EQ(fixedPointToString(0, 0), "0");
    EXPECT_EQ(fixedPointToString(0.999, 2), "1.00");
    EXPECT_EQ(fixedPointToString(-0.5, 1), "-0.5");
}

TEST(FixedPoint, WithoutPlacesThereIsNoPoint)
{
    EXPECT_EQ(fixedPointToString(0.49, 0), "0");
    EXPECT_EQ(fixedPointToString(0.6, 0), "1");
    EXPECT_EQ(fixedPointToString(1234, 0), "1234");
    EXPECT_EQ(fixedPointToString(99.9, 0), "100");
}

TEST(FixedPoint, FewerThanNoPlacesAreNone)
{
    EXPECT_EQ(fixedPointToString(1234.5, -1), "1235");
    EXPECT_EQ(fixedPointToString(0.25, std::numeric_limits<int>::min()), "0");
}

TEST(FixedPoint, DoesNotGroupThousands)
{
    EXPECT_EQ(fixedPointToString(1234567890, 2), "1234567890.00");
}

TEST(FixedPoint, TiesGoAwayFromZero)
{
    EXPECT_EQ(fixedPointToString(0.125, 2), "0.13");
    EXPECT_EQ(fixedPointToString(0.375, 2), "0.38");
    EXPECT_EQ(fixedPointToString(0.5, 0), "1");
    EXPECT_EQ(fixedPointToString(2.5, 0), "3");
    EXPECT_EQ(fixedPointToString(3.5, 0), "4");
    EXPECT_EQ(fixedPointToString(-2.5, 0), "-3");
    EXPECT_EQ(fixedPointToString(-0.125, 2), "-0.13");
    EXPECT_EQ(fixedPointToString(9.5, 0), "10");
}

TEST(FixedPoint, WhatIsNearATieInDecimalGoesTheWayOfItsExactValue)
{
    EXPECT_EQ(fixedPointToString(1.005, 2), "1.00") << "the number is just below 1.005";
    EXPECT_EQ(fixedPointToString(1.115, 2), "1.11") << "just below";
    EXPECT_EQ(fixedPointToString(1.025, 2), "1.02") << "just below";
    EXPECT_EQ(fixedPointToString(0.615, 2), "0.61") << "just below";
    EXPECT_EQ(fixedPointToString(0.145, 2), "0.14") << "just below";
    EXPECT_EQ(fixedPointToString(2.135, 2), "2.13") << "just below";
    EXPECT_EQ(fixedPointToString(1.335, 2), "1.33") << "just below";
    EXPECT_EQ(fixedPointToString(std::nextafter(0.5, 0), 0), "0");
    EXPECT_EQ(fixedPointToString(std::nextafter(0.5, 1), 0), "1");
}

TEST(FixedPoint, NegativeValuesKeepTheirSignWhenTheyReadAsZero)
{
    EXPECT_EQ(fixedPointToString(-0.0, 2), "-0.00");
    EXPECT_EQ(fixedPointToString(-0.001, 2), "-0.00");
    EXPECT_EQ(fixedPointToString(-0.1, 0), "-0");
}

TEST(FixedPoint, ShowsTheExactValueToAnyPlace)
{
    EXPECT_EQ(fixedPointToString(0.1, 55), "0.1000000000000000055511151231257827021181583404541015625");
    EXPECT_EQ(fixedPointToString(0.1, 60), "0.100000000000000005551115123125782702118158340454101562500000");
    EXPECT_EQ(fixedPointToString(1e23, 1), "99999999999999991611392.0");
    EXPECT_EQ(fixedPointToString(std::numeric_limits<double>::max(), 0).size(), 309U);
    std::string const smallest = fixedPointToString(std::numeric_limits<double>::denorm_min(), 1074);
    EXPECT_EQ(smallest.size(), 1076U);
    EXPECT_EQ(smallest.substr(323), "004940656458412465441765687928682213723650598026143247644255856825006"
                                    "755072702087518652998363616359923797965646954457177309266567103559"
                                    "397963987747960107818781263007131903114045278458171678489821036887"
                                    "186360569987307230500063874091535649843873124733972731696151400317"
                                    "153853980741262385655911710266585566867681870395603106249319452715"
                                    "914924553293054565444011274801297099995419319894090804165633245247"
                                    "571478690147267801593552386115501348035264934720193790268107107491"
                                    "703332226844753335720832431936092382893458368060106011506169809753"
                                    "078342277318329247904982524730776375927247874656084778203734469699"
                                    "533647017972677717585125660551199131504891101451037862738167250955"
                                    "837389733598993664809941164205702637090279242767544565229087538682"
                                    "506419718265533447265625");
}

TEST(FixedPoint, CarriesThroughAllNines)
{
    EXPECT_EQ(fixedPointToString(999999999.9999999, 3), "1000000000.000");
    EXPECT_EQ(fixedPointToString(9.999, 2), "10.00");
    EXPECT_EQ(fixedPointToString(-0.9999, 3), "-1.000");
}

TEST(FixedPoint, GivesATextForWhatIsNoNumber)
{
    EXPECT_EQ(fixedPointToString(std::numeric_limits<double>::quiet_NaN(), 2), "nan");
    EXPECT_EQ(fixedPointToString(-std::numeric_limits<double>::quiet_NaN(), 2), "nan");
    EXPECT_EQ(fixedPointToString(std::numeric_limits<double>::infinity(), 2), "inf");
    EXPECT_EQ(fixedPointToString(-std::numeric_limits<double>::infinity(), 0), "-inf");
}

TEST(FixedPoint, WritesNoMorePlacesThanAValueCanHave)
{
    double const smallest = std::numeric_limits<double>::denorm_min();
    std::string const whole = fixedPointToString(smallest, 1074);

    EXPECT_EQ(mostFractionDigits, 1100);
    for (int const digits : {1101, 2000000000, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(fixedPointToString(smallest, digits), whole + std::string(1100 - 1074, '0'));
        EXPECT_EQ(fixedPointToString(1.5, digits), "1.5" + std::string(1099, '0'));
    }
    EXPECT_EQ(fixedPointToString(1.5, 1100), "1.5" + std::string(1099, '0'));
}

} // namespace
