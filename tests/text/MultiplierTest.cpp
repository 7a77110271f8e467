#include "ketstats/text/Multiplier.h"

#include <gtest/gtest.h>

#include <limits>
#include <type_traits>

using namespace KetStats;

namespace {

struct Expected
{
    Multiplier const & object;
    long long value;
    char const * name;
    char const * abbrev;
};

Expected const expected[] = {
    {mKiloCS, 1024, "kilo", "K"},
    {mKilo, 1000, "kilo", "k"},
    {mMegaCS, 1048576, "mega", "M"},
    {mMega, 1000000, "mega", "M"},
    {mGigaCS, 1073741824, "giga", "G"},
    {mGiga, 1000000000, "giga", "G"},
    {mTeraCS, 1099511627776, "tera", "T"},
    {mTera, 1000000000000, "tera", "T"},
    {mPetaCS, 1125899906842624, "peta", "P"},
    {mPeta, 1000000000000000, "peta", "P"},
    {mExaCS, 1152921504606846976, "exa", "E"},
    {mExa, 1000000000000000000, "exa", "E"},
};

TEST(Multiplier, TwelveStandInTheArrayWithANullBehindThem)
{
    for (unsigned int i = 0; i < 12; ++i)
        EXPECT_EQ(multipliers[i], &expected[i].object) << i;
    EXPECT_EQ(multipliers[12], nullptr);
    EXPECT_EQ(multiplierCount, 12U);
}

TEST(Multiplier, EachHasItsValueNameAndSymbol)
{
    for (Expected const & one : expected) {
        EXPECT_EQ(one.object.value, one.value);
        EXPECT_EQ(one.object.name, one.name);
        EXPECT_EQ(one.object.abbrev, one.abbrev);
    }
}

TEST(Multiplier, EvenOnesArePowersOf1024AndOddOnesOf1000)
{
    long long binary = 1;
    long long decimal = 1;
    for (unsigned int i = 0; i < multiplierCount; i += 2) {
        EXPECT_EQ(multipliers[i]->value, binary *= 1024);
        EXPECT_EQ(multipliers[i + 1]->value, decimal *= 1000);
    }
}

TEST(Multiplier, OnlyTheKiloPairDiffersInItsSymbol)
{
    for (unsigned int i = 0; i < multiplierCount; i += 2) {
        EXPECT_EQ(multipliers[i]->name, multipliers[i + 1]->name);
        EXPECT_EQ(multipliers[i]->abbrev == multipliers[i + 1]->abbrev, i != 0) << i;
    }
}

TEST(Multiplier, AHostMakesItsOwn)
{
    Multiplier const dozen(12, "dozen", "dz");

    EXPECT_EQ(dozen.value, 12);
    EXPECT_EQ(dozen.name, "dozen");
    EXPECT_EQ(dozen.abbrev, "dz");
    static_assert(std::is_same_v<decltype(Multiplier::value), long long>);
    EXPECT_EQ(Multiplier(std::numeric_limits<long long>::min(), "", "").value,
              std::numeric_limits<long long>::min());
}

} // namespace
