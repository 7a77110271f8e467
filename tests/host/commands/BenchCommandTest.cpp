#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using test::capture;
using test::ketmon;
using test::Outcome;
using testing::HasSubstr;

namespace {

TEST(BenchCommand, PrintsTimesAFrame)
{
    Outcome const outcome =
        ketmon({"bench", capture("nanosecond-big-endian.pcap"), "--passes", "3", "--json"});

    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    auto const document = outcome.json();
    EXPECT_EQ(document["frames"], 10);
    EXPECT_GT(document["nsPerFrame"]["best"].get<double>(), 0.0);
    EXPECT_GE(document["nsPerFrame"]["median"].get<double>(), document["nsPerFrame"]["best"].get<double>());
}

TEST(BenchCommand, PrintsForPeopleToo)
{
    Outcome const outcome = ketmon({"bench", capture("nanosecond-big-endian.pcap"), "--enable", "1.4"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("10 frames, 20 passes"));
    EXPECT_THAT(outcome.output,
                testing::ContainsRegex("median +[0-9.]+ ns/frame +[0-9]+ frames/s +[0-9.]+ Gbit/s\n"));
}

TEST(BenchCommand, RefusesWhatItCannotMeasureWith)
{
    EXPECT_EQ(ketmon({"bench", capture("empty.pcap")}).exitCode, 2);
    EXPECT_THAT(ketmon({"bench", capture("empty.pcap")}).errors, HasSubstr("no frames"));
    EXPECT_EQ(ketmon({"bench", "/no/such/file"}).exitCode, 2);
    expectRefused(ketmon({"bench", capture("jumbo-ssh.pcap"), "--passes", "0"}), "'0' isn't 1 or more (see");
    EXPECT_EQ(ketmon({"bench", capture("jumbo-ssh.pcap"), "--enable", "1.11"}).exitCode, 2);
}

} // namespace
