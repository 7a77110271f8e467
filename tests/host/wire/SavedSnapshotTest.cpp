#include "host/wire/SavedSnapshot.h"

#include "fuzz/ReadSavedSnapshotCheck.h"
#include "host/wire/Fingerprint.h"
#include "tests/support/Regressions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

using ketmon::CBadSavedSnapshot;
using ketmon::CSavedSnapshot;
using ketmon::parsedSavedSnapshot;
using testing::HasSubstr;

namespace {

CSavedSnapshot example()
{
    CSavedSnapshot snapshot;
    snapshot.recording = 0x1122334455667788;
    snapshot.sequence = 3;
    snapshot.name = "a.pcap";
    snapshot.zero = -1;
    snapshot.previous = 2;
    snapshot.time = 3;
    snapshot.summary.frames = 4;
    snapshot.summary.bytes = 5;
    snapshot.summary.capturedBytes = 6;
    snapshot.summary.first = 7;
    snapshot.summary.last = 8;
    snapshot.groups = 0x12;
    snapshot.filtering = true;
    snapshot.linkBits = 9;
    snapshot.limits.ipConnections = 20001;
    snapshot.ledgers.stationUdpPorts.bytesReceived = 10;
    snapshot.bytes = "packed";
    return snapshot;
}

std::string complaint(std::string_view bytes)
{
    try {
        static_cast<void>(parsedSavedSnapshot(bytes));
        return "none";
    } catch (CBadSavedSnapshot const & problem) {
        return problem.what();
    }
}

TEST(FuzzRegression, ReadSavedSnapshotKeepsItsRulesOnEveryPastInput)
{
    test::replayRegressions<char>("read-saved-snapshot", [](auto const & bytes) {
        return fuzz::checkSavedSnapshot({bytes.data(), bytes.size()});
    });
}

TEST(SavedSnapshot, IsReadAsItWasWritten)
{
    CSavedSnapshot const one = example();
    CSavedSnapshot const other = parsedSavedSnapshot(encoded(one));

    EXPECT_EQ(other.recording, one.recording);
    EXPECT_EQ(other.sequence, 3U);
    EXPECT_EQ(other.name, "a.pcap");
    EXPECT_EQ(other.zero, -1);
    EXPECT_EQ(other.previous, 2);
    EXPECT_EQ(other.time, 3);
    EXPECT_EQ(other.summary.frames, 4U);
    EXPECT_EQ(other.summary.bytes, 5U);
    EXPECT_EQ(other.summary.capturedBytes, 6U);
    EXPECT_EQ(other.summary.first, 7);
    EXPECT_EQ(other.summary.last, 8);
    EXPECT_EQ(other.groups, 0x12U);
    EXPECT_TRUE(other.filtering);
    EXPECT_EQ(other.linkBits, 9U);
    EXPECT_EQ(other.limits, one.limits);
    EXPECT_EQ(other.ledgers, one.ledgers);
    EXPECT_EQ(other.bytes, "packed");
    EXPECT_FALSE(parsedSavedSnapshot(encoded(CSavedSnapshot())).summary.first);
}

TEST(SavedSnapshot, HasItsFieldsWhereTheFormSays)
{
    std::string const bytes = encoded(example());

    EXPECT_EQ(bytes.substr(0, 16), std::string("ketmon\x1A\x02\x72\x03\0\0\x06\0\0\0", 16));
    EXPECT_EQ(bytes.substr(24, 8), "\x88\x77\x66\x55\x44\x33\x22\x11");
    EXPECT_EQ(bytes.substr(32, 16), std::string("\x03\0\0\0\x03\0\0\0\x12\0\0\0\x06\0\0\0", 16));
    EXPECT_EQ(bytes.substr(132, 4), std::string("\x21\x4E\0\0", 4)); // the fourth limit
    EXPECT_EQ(bytes.substr(552, 1), "\x0A");                         // the last count
    EXPECT_EQ(bytes.substr(876), "a.pcappacked");

    // Without the second tree.
    CSavedSnapshot first = example();
    first.extended = false;
    std::string const older = encoded(first);
    EXPECT_EQ(older.substr(0, 16), std::string("ketmon\x1A\x01\x36\x02\0\0\x06\0\0\0", 16));
    EXPECT_EQ(older.substr(16, 544), bytes.substr(16, 544));
    EXPECT_EQ(older.substr(560), "a.pcappacked");
    EXPECT_FALSE(parsedSavedSnapshot(older).extended);
    EXPECT_TRUE(parsedSavedSnapshot(bytes).extended);
}

TEST(SavedSnapshot, CutAnywhereItIsRefused)
{
    std::string const bytes = encoded(example());
    for (std::size_t length = 0; length < bytes.size(); ++length)
        ASSERT_NE(complaint(bytes.substr(0, length)), "none") << length;
    EXPECT_EQ(complaint(bytes + "x"), "there are bytes behind its end");
    EXPECT_THAT(complaint("\x01text"), HasSubstr("of an older ketmon"));
}

TEST(SavedSnapshot, OfAnotherFormOrOtherStatisticsItIsRefused)
{
    std::string bytes = encoded(example());
    bytes[7] = 3;
    EXPECT_THAT(complaint(bytes), HasSubstr("a form that this ketmon doesn't know"));
    bytes[7] = 2;
    bytes[560] ^= 1;
    EXPECT_THAT(complaint(bytes), HasSubstr("other statistics"));
    bytes[560] ^= 1;
    bytes[16] ^= 1;
    EXPECT_THAT(complaint(bytes), HasSubstr("other statistics"));

    for (unsigned int const limit : {0U, 1U, 65536U}) {
        CSavedSnapshot odd = example();
        odd.limits.arpTable = limit;
        EXPECT_THAT(complaint(encoded(odd)), HasSubstr("no table has a limit"));
    }
}

TEST(SavedSnapshot, DamagedAtRandomItIsReadOrRefused)
{
    std::string const whole = encoded(example());
    unsigned int refused = 0;
    for (unsigned int seed = 0; seed < 20000; ++seed) {
        std::mt19937 random(seed);
        std::string bytes = whole;
        for (std::size_t flips = 1 + random() % 4; flips > 0; --flips)
            bytes[random() % bytes.size()] ^= static_cast<char>(1U << random() % 8);
        refused += complaint(bytes) != "none" ? 1 : 0;
    }
    EXPECT_GT(refused, 1000U);
}

} // namespace
