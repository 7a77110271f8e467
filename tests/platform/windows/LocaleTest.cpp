#include "ketstats/platform/Locale.h"

#include <gtest/gtest.h>

#include <cstring>

using KetStats::platform::localeFractionDigits;

namespace {

TEST(Locale, TellsTheDigitsBehindThePointAsText)
{
    char text[20];
    std::memset(text, 'x', sizeof text);

    ASSERT_TRUE(localeFractionDigits(text, sizeof text));

    std::size_t const length = strnlen(text, sizeof text);
    EXPECT_GT(length, 0U);
    EXPECT_LT(length, sizeof text);
    EXPECT_EQ(std::strspn(text, "0123456789"), length) << text;
}

TEST(Locale, TextThatDoesNotFitIsAFailure)
{
    char text[1];
    EXPECT_FALSE(localeFractionDigits(text, sizeof text));
}

} // namespace
