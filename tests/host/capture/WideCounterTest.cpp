#include "host/capture/WideCounter.h"

#include <gtest/gtest.h>

using ketmon::CWideCounter;

namespace {

TEST(WideCounter, GoesOnWhereTheNarrowOneStartsAgain)
{
    CWideCounter counter;

    EXPECT_EQ(counter.seen(0), 0U);
    EXPECT_EQ(counter.seen(0xFFFFFFF0), 0xFFFFFFF0U);
    EXPECT_EQ(counter.seen(0xFFFFFFF0), 0xFFFFFFF0U);
    EXPECT_EQ(counter.seen(16), 0x1'0000'0010U);
    EXPECT_EQ(counter.seen(15), 0x2'0000'000FU);
}

} // namespace
