#include "host/agent/Recurrence.h"

#include <gtest/gtest.h>

using namespace ketmon;
using namespace std::chrono_literals;

namespace {

TEST(Recurrence, KeepsItsTimesHoweverLongThingsTake)
{
    CRecurrence samples(100ms);
    auto const start = CRecurrence::Clock::now();
    samples.start(start);

    EXPECT_EQ(samples.due(), start + 100ms);
    EXPECT_EQ(samples.goOn(start + 130ms), 0U);
    EXPECT_EQ(samples.due(), start + 200ms);
    EXPECT_EQ(samples.goOn(start + 299ms), 0U);
    EXPECT_EQ(samples.due(), start + 300ms);
    // The one at 400 is over.
    EXPECT_EQ(samples.goOn(start + 400ms), 1U);
    EXPECT_EQ(samples.due(), start + 500ms);
    EXPECT_EQ(samples.goOn(start + 10s), 95U);
    EXPECT_EQ(samples.due(), start + 10100ms);
}

} // namespace
