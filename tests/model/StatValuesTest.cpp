#include "ketstats/model/statvalues.h"

#include "tests/support/Bytes.h"
#include "tests/support/Raised.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <limits>

using namespace KetStats;
using test::bytes;
using test::Raised;
using test::raisedBy;

namespace {

TEST(PercentVal, EqualityWorksAtOneHundredth)
{
    EXPECT_TRUE(percentVal(0.019) == percentVal(0.011));
    EXPECT_FALSE(percentVal(0.02) == percentVal(0.019));
    EXPECT_TRUE(percentVal(12.341) == percentVal(12.349));
    EXPECT_TRUE(percentVal(12.341) != percentVal(12.351));
    EXPECT_TRUE(percentVal(-0.009) == percentVal(0.009)) << "cut off toward zero";
}

TEST(PercentVal, OrderIsExactAndTrueForUnorderedOperands)
{
    double const nan = std::numeric_limits<double>::quiet_NaN();

    EXPECT_TRUE(percentVal(0.011) < percentVal(0.019));
    EXPECT_FALSE(percentVal(0.019) < percentVal(0.019));
    EXPECT_TRUE(percentVal(1.0) < 1.5);
    EXPECT_TRUE(percentVal(nan) < percentVal(1.0));
    EXPECT_TRUE(percentVal(1.0) < percentVal(nan));
    EXPECT_TRUE(percentVal(1.0) < nan);
}

TEST(PercentVal, WhatHasNoIntegerCountsAsZeroInEquality)
{
    double const nan = std::numeric_limits<double>::quiet_NaN();
    double const infinity = std::numeric_limits<double>::infinity();

    EXPECT_TRUE(percentVal(nan) == percentVal(0.0));
    EXPECT_TRUE(percentVal(infinity) == percentVal(-infinity));
    EXPECT_TRUE(percentVal(1e300) == percentVal(0.0));
}

TEST(PercentVal, EqualityComparesTheLow32Bits)
{
    EXPECT_TRUE(percentVal(42949672.96) == percentVal(0.0));
    EXPECT_FALSE(percentVal(42949672.97) == percentVal(0.0));
}

TEST(PercentVal, ArithmeticWorksOnTheValue)
{
    percentVal value;
    EXPECT_EQ(static_cast<double>(value), 0.0);

    value = 3.0;
    value += 1.0;
    value *= 2.0;
    value -= 2.0;
    value /= 4.0;

    EXPECT_EQ(static_cast<double>(value), 1.5);
}

TEST(PercentVal, ComparesWithNumbersAsWithPercentages)
{
    percentVal const value(12.341);

    EXPECT_TRUE(value == 12.349);
    EXPECT_TRUE(12.349 == value);
    EXPECT_FALSE(value != 12.349);
    EXPECT_TRUE(value != 12.35);
    EXPECT_TRUE(percentVal(1.0) == 1.0);
    EXPECT_TRUE(percentVal(1.0) == 1);
    EXPECT_TRUE(percentVal(1.0) != 2U);
}

TEST(IPAddress, ComparesWithNumbersInNetworkOrder)
{
    CIPAddress const address(2);

    EXPECT_TRUE(address == 2U);
    EXPECT_TRUE(2U == address);
    EXPECT_TRUE(address == 2);
    EXPECT_TRUE(address != 3U);
    EXPECT_TRUE(CIPAddress(0xFFFFFFFFU) == 0xFFFFFFFFU);
    EXPECT_TRUE(CIPAddress(0xFFFFFFFFU) != 0);
}

std::string textOf(COid const & oid)
{
    return oid.toString();
}

TEST(Oid, ConvertsFromAPathAsFromAText)
{
    unsigned short const path[] = {1, 5, 2, 0};
    unsigned short const * const none = nullptr;

    EXPECT_EQ(textOf(path), "1.5.2");
    EXPECT_EQ(textOf("1.5.2"), "1.5.2");
    EXPECT_EQ(textOf(path + 3), "");
    EXPECT_EQ(textOf(none), "");
}

COid parsed(char const * text)
{
    return {text};
}

TEST(Oid, ParsesAndPrintsComponents)
{
    EXPECT_EQ(parsed("1").length(), 1U);
    EXPECT_EQ(parsed("1").toString(), "1");
    EXPECT_EQ(parsed("1.4.2").toString(), "1.4.2");
    EXPECT_EQ(parsed("007.010").toString(), "7.10");
    EXPECT_EQ(COid().toString(), "");
}

TEST(Oid, ZeroIsALegalComponentInText)
{
    COid const oid = parsed("0.0");

    ASSERT_EQ(oid.length(), 2U);
    EXPECT_EQ(oid[0], 0);
    EXPECT_EQ(oid[1], 0);
    EXPECT_EQ(oid.toString(), "0.0");
}

TEST(Oid, AcceptsOneDotAtTheEnd)
{
    EXPECT_EQ(parsed("1.2.").toString(), "1.2");
    EXPECT_EQ(parsed("1.2.").length(), 2U);
}

TEST(Oid, ComponentsWrapAt65536)
{
    EXPECT_EQ(parsed("65535").toString(), "65535");
    EXPECT_EQ(parsed("65536").toString(), "0");
    EXPECT_EQ(parsed("65537.1").toString(), "1.1");
    EXPECT_EQ(parsed("70000").toString(), "4464");
    EXPECT_EQ(parsed("4294967297000000000000000000001").length(), 1U);
}

TEST(Oid, BadTextRaisesAndLeavesTheObjectEmpty)
{
    struct
    {
        char const * text;
        int line;
    } const cases[] = {
        {"", 62},   {".", 47},  {".1", 47}, {"1..2", 47}, {"1.2..", 47}, {"1.a", 54},
        {"-1", 54}, {" 1", 54}, {"1 ", 54}, {"+1", 54},   {"1,2", 54},   {"1.2.x3", 54},
    };
    for (auto const & bad : cases) {
        SCOPED_TRACE(bad.text);
        COid oid("9.9");

        EXPECT_EQ(raisedBy<COid::CException>([&] { oid.assign(bad.text); }),
                  (Raised{1, "statvalues", bad.line, true}));
        EXPECT_EQ(oid.length(), 0U);
        EXPECT_EQ(raisedBy<COid::CException>([&] { COid constructed{std::string(bad.text)}; }).line,
                  bad.line);
    }
}

TEST(Oid, BuildsFromRangesAndZeroTerminatedArrays)
{
    unsigned short const components[] = {1, 5, 0, 7};

    EXPECT_EQ(COid(components, components + 4).toString(), "1.5.0.7");
    EXPECT_EQ(COid(components).toString(), "1.5") << "a zero ends this form";
}

TEST(Oid, ComparesComponentsAsNumbersWithPrefixesFirst)
{
    EXPECT_LT(parsed("1.2").compare(parsed("1.2.0")), 0);
    EXPECT_GT(parsed("1.10").compare(parsed("1.9")), 0);
    EXPECT_EQ(parsed("1.2").compare(parsed("1.2")), 0);
    EXPECT_LT(parsed("1.32768").compare(parsed("1.65535")), 0);
    EXPECT_TRUE(COidLess()(COid(), parsed("0")));
}

TEST(IpAddress, KeepsNetworkOrderAndSortsByOctets)
{
    test::Bytes const low = bytes("01 02 03 04");
    test::Bytes const high = bytes("02 00 00 00");
    CIPAddress first;
    CIPAddress second;
    ktools::CMemoryBuffer buffer(low.data(), 4);
    first.unpackValue(buffer);
    ktools::CMemoryBuffer other(high.data(), 4);
    second.unpackValue(other);

    EXPECT_TRUE(first < second);
    EXPECT_FALSE(second < first);
    EXPECT_TRUE(first != second);
    EXPECT_TRUE(first == CIPAddress(static_cast<unsigned int>(first)));
    EXPECT_EQ(static_cast<unsigned int>(CIPAddress()), 0U);
}

TEST(PackedValues, TravelAsTheyLie)
{
    ktools::CMemoryBuffer buffer;
    CMACAddr mac;
    LoadHexString("00-11-22-33-44-55", mac.bytes.data(), 6);
    CProtocolIdPacked id;
    unsigned char const ip[] = {0x08, 0x00};
    id.Set(2, ip);

    CMACAddrPacked(mac).packValue(buffer);
    id.packValue(buffer);

    EXPECT_EQ(test::contents(buffer), bytes("00 11 22 33 44 55  00 00 00 00 08 00"));
    CMACAddrPacked readMac;
    CProtocolIdPacked readId;
    readMac.unpackValue(buffer);
    readId.unpackValue(buffer);
    EXPECT_EQ(readMac, CMACAddrPacked(mac));
    EXPECT_EQ(static_cast<long long>(readId), 2048);
}

TEST(PackedValues, ProtocolIdReadsAsOneBigEndianNumber)
{
    CProtocolIdPacked id;
    EXPECT_EQ(static_cast<long long>(id), 0);

    unsigned char const all[] = {0xFF, 0xFE, 0xFD, 0xFC, 0xFB, 0xFA};
    id.Set(6, all);
    EXPECT_EQ(static_cast<long long>(id), 0xFFFEFDFCFBFALL);
}

// A clock that the test sets.
std::atomic<long long> testTicks;

class SystemTime : public testing::Test
{
protected:
    ~SystemTime() override { CSystemTime::setSource(nullptr); }

    static CSystemTime at(long long ticks)
    {
        testTicks = ticks;
        CSystemTime::setSource([] { return testTicks.load(); });
        CSystemTime time;
        time.getSystemTime();
        return time;
    }
};

TEST_F(SystemTime, DifferenceIsLeftMinusRightInTicks)
{
    CSystemTime const earlier = at(130000000000000000);
    CSystemTime const later = at(130000000010000000);

    EXPECT_EQ(later - earlier, 10000000);
    EXPECT_EQ(earlier - later, -10000000);
}

TEST_F(SystemTime, BreaksDownToTheMillisecond)
{
    // 2020-02-29 12:34:56.789 UTC, a Saturday, with 1234 ticks that are below a millisecond.
    _SYSTEMTIME const time = at(132274532967890000 + 1234);

    EXPECT_EQ(time.wYear, 2020);
    EXPECT_EQ(time.wMonth, 2);
    EXPECT_EQ(time.wDay, 29);
    EXPECT_EQ(time.wDayOfWeek, 6);
    EXPECT_EQ(time.wHour, 12);
    EXPECT_EQ(time.wMinute, 34);
    EXPECT_EQ(time.wSecond, 56);
    EXPECT_EQ(time.wMilliseconds, 789);
    EXPECT_EQ(at(132274532967890000 + 1234) - at(132274532967890000), 0)
        << "both fields have that resolution";
}

TEST_F(SystemTime, NullBringsTheSystemClockBack)
{
    CSystemTime const old = at(10000000);
    CSystemTime::setSource(nullptr);
    CSystemTime now;

    now.getSystemTime();

    EXPECT_GT(now - old, 400LL * 365 * 24 * 3600 * 10000000);
}

TEST_F(SystemTime, SystemClockAgreesWithTheStandardLibrarys)
{
    using namespace std::chrono;
    auto const standard = [] {
        constexpr long long ticksTo1970 = 116444736000000000;
        auto const since1970 = system_clock::now().time_since_epoch();
        return ticksTo1970 + duration_cast<duration<long long, std::ratio<1, 10000000>>>(since1970).count();
    };
    CSystemTime const origin = at(0);
    CSystemTime::setSource(nullptr);
    CSystemTime now;

    long long const before = standard();
    now.getSystemTime();
    long long const after = standard();

    // The system's clock may tell whole milliseconds only, and those of some moments ago.
    constexpr long long tolerance = 1000000;
    EXPECT_GE(now - origin, before - tolerance);
    EXPECT_LE(now - origin, after + tolerance);
}

} // namespace
