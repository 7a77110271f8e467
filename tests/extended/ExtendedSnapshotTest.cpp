#include "ketstats/snapshot/StatSnapshot.h"

#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/IPv6Frames.h"
#include "tests/support/Rows.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

using namespace KetStats;
using namespace test;

namespace {

constexpr unsigned int tcp = 6;

CExtendedStatistic & extended(CStatSnapshot & snapshot)
{
    return static_cast<CExtendedStatistic &>(*snapshot.getStat(COid("2")));
}

Ipv6Host numbered(unsigned int number)
{
    char text[32];
    std::snprintf(text, sizeof text, "2001:db8::%x:%x", number >> 16, number & 0xFFFF);
    return {macA, text};
}

class ExtendedSnapshot : public testing::Test
{
protected:
    explicit ExtendedSnapshot(CTableLimits const & theLimits = {}) : limits(theLimits), manager(theLimits)
    {
        for (int group = 1; group <= 9; ++group)
            manager.enableStatistic("1." + std::to_string(group));
        for (int group = 1; group <= 7; ++group)
            manager.enableStatistic("2." + std::to_string(group));
        manager.beginAnalyzing(nullptr);
    }

    void count(Bytes const & bytes)
    {
        Frame frame(bytes);
        manager.analyzeFrame(&frame);
    }

    void countAll(unsigned int number)
    {
        count(tagged(ipv6Frame(numbered(number), v6B, tcp, tcpHeader(5000, 80, 2)), number % 9));
        count(ipv6Frame(v6B, numbered(number), 47));
        count(ipv6Frame({macC, "fe80::1"}, {multicastMac, "ff02::1"}, 58,
                        icmpv6(136, 0, Bytes(4) + ipv6Bytes(numbered(number).ip) + addressOption(2, macB)),
                        255));
    }

    Clock clock;
    CTableLimits limits;
    CKetrinStatManager manager;
};

TEST_F(ExtendedSnapshot, ShowsWhatWasCountedSinceItsZeroPoint)
{
    countAll(1);
    CStatSnapshot snapshot;
    snapshot.addOid("2");
    snapshot.initSnapshot(manager);
    countAll(1);
    countAll(2);
    snapshot.nextSample(manager);
    packedFull(snapshot);

    CExtendedStatistic & tree = extended(snapshot);
    EXPECT_EQ(tree.ipv6Connections.find({ipv6(numbered(1).ip), ipv6("2001:db8::b")})->framesTransmitted.get(),
              1U);
    EXPECT_EQ(tree.ipv6Connections.find({ipv6(numbered(2).ip), ipv6("2001:db8::b")})->framesTransmitted.get(),
              1U);
    EXPECT_EQ(tree.vlans.outer.find(id(1))->framesTransmitted.get(), 1U);
    EXPECT_EQ(tree.signals.tcpRequested.get(), 2U);
    EXPECT_EQ(tree.tunnels.gre.frames.get(), 2U);
    // These have no zero point.
    EXPECT_EQ(tree.ipv6Protocols.find(id(tcp))->framesTransmitted.get(), 3U);
    EXPECT_EQ(tree.neighbours.size(), 2U);
    // Nobody asked for the first tree.
    EXPECT_EQ(visible(snapshot).stations.size(), 0U);
}

TEST_F(ExtendedSnapshot, AGroupThatIsSelectedLaterHasItsZeroPoint)
{
    countAll(1);
    CStatSnapshot snapshot;
    snapshot.initSnapshot(manager);
    countAll(1);
    snapshot.addOid("2.1");
    snapshot.nextSample(manager);
    packedFull(snapshot);
    EXPECT_EQ(extended(snapshot).ipv6Connections.getOldest()->framesTransmitted.get(), 1U);
}

TEST_F(ExtendedSnapshot, OnlySelectedGroupsAreSampledAndSent)
{
    countAll(1);
    CStatSnapshot snapshot;
    snapshot.addOid("2.4.1");
    snapshot.addOid("2.4");
    snapshot.addOid("2.6.1");
    snapshot.addOid("2.6");
    snapshot.initSnapshot(manager);
    countAll(1);
    snapshot.nextSample(manager);
    CStatSnapshot receiver;
    EXPECT_EQ(read(receiver, packedFull(snapshot)), Raised());

    CExtendedStatistic & tree = extended(receiver);
    EXPECT_EQ(tree.vlans.outer.size(), 1U);
    EXPECT_EQ(tree.signals.tcpRequested.get(), 1U);
    EXPECT_EQ(tree.ipv6Connections.size(), 0U);
    EXPECT_EQ(tree.tunnels.gre.frames.get(), 0U);
}

// Bytes of tree 1, then of tree 2, by their ids.
TEST_F(ExtendedSnapshot, BothTreesTravelTogether)
{
    CStatSnapshot both;
    both.addOid("2.6.1");
    both.addOid("2.6");
    both.addOid("1.1.3");
    both.addOid("1.1");
    both.initSnapshot(manager);
    clock.advance(Clock::second);
    count(ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80, 2)));
    both.nextSample(manager);

    EXPECT_EQ(packedFull(both), bytes("01 00 01 00 03 00 01 00 00 00 00 00 00 00 "
                                      "02 00 06 00 01 00 01 00 00 00 00 00 00 00 00 00"));
    clock.advance(Clock::second);
    both.nextSample(manager);
    EXPECT_EQ(packedChanges(both), bytes("00 00"));
    clock.advance(Clock::second);
    count(ipv6Frame(v6A, v6B, tcp, tcpHeader(5000, 80, 16)));
    both.nextSample(manager);
    EXPECT_EQ(packedChanges(both), bytes("01 00 01 00 03 00 02 00 00 00 00 00 00 00 00 00"));
    clock.advance(Clock::second);
}

TEST_F(ExtendedSnapshot, AReceiverOfEitherTreeTakesIt)
{
    CStatSnapshot first, second, both;
    for (CStatSnapshot * const snapshot : {&first, &both})
        snapshot->addOid("1");
    for (CStatSnapshot * const snapshot : {&second, &both})
        snapshot->addOid("2");
    for (CStatSnapshot * const snapshot : {&first, &second, &both})
        snapshot->initSnapshot(manager);
    for (unsigned int number = 0; number < 20; ++number)
        countAll(number);
    for (CStatSnapshot * const snapshot : {&first, &second, &both})
        snapshot->nextSample(manager);
    Bytes const ofFirst = packedFull(first);
    Bytes const ofSecond = packedFull(second);
    Bytes const ofBoth = packedFull(both);

    // What the one and the other say, with one mark at the end.
    EXPECT_EQ(ofBoth, Bytes(ofFirst.begin(), ofFirst.end() - 2) + ofSecond);

    CStatSnapshot receiver;
    EXPECT_EQ(read(receiver, ofBoth), Raised());
    EXPECT_EQ(visible(receiver).collate(visible(first)), 0);
    EXPECT_EQ(extended(receiver).collate(extended(second)), 0);
    CStatSnapshot onlySecond;
    EXPECT_EQ(read(onlySecond, ofSecond), Raised());
    EXPECT_EQ(extended(onlySecond).collate(extended(second)), 0);
    EXPECT_EQ(visible(onlySecond).stations.size(), 0U);
}

TEST_F(ExtendedSnapshot, BytesThatEndEarlyAreRefusedAtEveryLength)
{
    CStatSnapshot snapshot;
    snapshot.addOid("2");
    snapshot.addOid("1.1");
    snapshot.initSnapshot(manager);
    for (unsigned int number = 0; number < 3; ++number)
        countAll(number);
    snapshot.nextSample(manager);
    Bytes const whole = packedFull(snapshot);
    unsigned int refused = 0;
    for (std::size_t length = 1; length + 2 < whole.size(); ++length) {
        CStatSnapshot receiver;
        Raised const raised =
            read(receiver, Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        refused += raised == bytesEnded ? 1 : 0;
    }
    // All but that of the first tree alone, and with the half of an id behind it.
    EXPECT_EQ(refused, whole.size() - 3 - 2);
}

// Samples and packs at random against a model of maps.
TEST_F(ExtendedSnapshot, FollowsTheTrafficAtRandom)
{
    using Pair = std::pair<unsigned int, unsigned int>;
    Random random(7);
    CStatSnapshot sender;
    sender.addOid("2");
    sender.addOid("1");
    sender.initSnapshot(manager);
    CStatSnapshot receiver;
    std::map<Pair, unsigned int> frames;
    std::map<unsigned int, unsigned int> vlans, ports;
    unsigned int asked = 0;
    for (unsigned int round = 0; round < 60; ++round) {
        for (unsigned int i = random.below(30); i > 0; --i) {
            unsigned int const from = random.below(20), to = random.below(20), vlan = random.below(30);
            unsigned int const port = 1 + random.below(40), flags = random.oneIn(2) ? 2 : 16;
            count(tagged(ipv6Frame(numbered(from), numbered(to), tcp, tcpHeader(5000, port, flags)), vlan));
            ++frames[{from, to}];
            ++vlans[vlan];
            ++ports[port];
            asked += flags == 2 ? 1 : 0;
        }
        clock.advance(Clock::second);
        sender.nextSample(manager);
        ASSERT_EQ(read(receiver, round == 0 ? packedFull(sender) : packedChanges(sender)), Raised());
        receiver.calculatePercentStats();
        CExtendedStatistic & tree = extended(receiver);
        ASSERT_EQ(tree.ipv6Connections.size(), frames.size());
        for (auto const & [pair, expected] : frames) {
            auto const * const row =
                tree.ipv6Connections.find({ipv6(numbered(pair.first).ip), ipv6(numbered(pair.second).ip)});
            ASSERT_NE(row, nullptr);
            ASSERT_EQ(row->framesTransmitted.get(), expected);
            double const all = visible(receiver).globalStatistics.transmittedFrames.get();
            ASSERT_NEAR(row->percentage.get(), expected * 100.0 / all, 0.011);
            ASSERT_EQ(row->averageFrameSize.get(), 14U + 4 + 40 + 20 + 4);
        }
        ASSERT_EQ(tree.vlans.outer.size(), vlans.size());
        for (auto const & [vlan, expected] : vlans)
            ASSERT_EQ(tree.vlans.outer.find(id(vlan))->framesTransmitted.get(), expected);
        for (auto const & [port, expected] : ports)
            ASSERT_EQ(tree.ipv6Ports.tcpPorts.find(id(port))->framesReceived.get(), expected);
        ASSERT_EQ(tree.signals.tcpRequested.get(), asked);
    }
}

class SmallExtendedSnapshot : public ExtendedSnapshot
{
protected:
    SmallExtendedSnapshot() : ExtendedSnapshot(few()) {}

    static CTableLimits few()
    {
        CTableLimits limits;
        limits.ipv6Connections = 10;
        return limits;
    }
};

TEST_F(SmallExtendedSnapshot, WhatATableGivesUpStandsInItsLedgerAndWithTheOthers)
{
    CStatSnapshot sender(limits);
    sender.tellRowsApart(true);
    sender.addOid("2");
    sender.initSnapshot(manager);
    CStatSnapshot receiver(limits);
    for (unsigned int number = 0; number < 40; ++number) {
        count(ipv6Frame(numbered(number), v6B, tcp, tcpHeader(5000, 80)));
        sender.nextSample(manager);
        ASSERT_EQ(read(receiver, number == 0 ? packedFull(sender) : packedChanges(sender)), Raised());
        receiver.setLedgers(sender.getLedgers());

        CLedger const ledger = sender.getLedgers().ipv6Connections;
        unsigned long long shown = 0;
        for (auto const & row : extended(sender).ipv6Connections)
            shown += row.framesTransmitted.get();
        ASSERT_EQ(shown + ledger.framesTransmitted, number + 1);
        unsigned long long received = 0;
        for (auto const & row : extended(receiver).ipv6Connections)
            received += row.framesTransmitted.get();
        ASSERT_EQ(received + receiver.getGivenUp().ipv6Connections.framesTransmitted, number + 1);
    }
    CIPv6ConnectionStat const * const others =
        extended(receiver).ipv6Connections.getChildById(limits.ipv6Connections);
    ASSERT_NE(others, nullptr);
    EXPECT_EQ(others->source.getDescription()->formatValue(&others->source, 0, nullptr), "[others]");
    EXPECT_EQ(others->framesTransmitted.get(), 31U);
}

TEST_F(ExtendedSnapshot, NothingIsSelectedThatLeadsNowhere)
{
    CStatSnapshot snapshot;
    for (char const * const oid : {"2.8", "2.1.1", "2.4.3", "2.6.18", "3"})
        EXPECT_EQ(raisedBySelection([&] { snapshot.addOid(oid); }), noSuchStatistic) << oid;
}

TEST_F(ExtendedSnapshot, ResetsWithTheFirst)
{
    CStatSnapshot snapshot;
    snapshot.addOid("2");
    snapshot.initSnapshot(manager);
    countAll(1);
    snapshot.nextSample(manager);
    packedFull(snapshot);
    EXPECT_FALSE(extended(snapshot).isBlank());
    snapshot.reset();
    EXPECT_TRUE(extended(snapshot).isBlank());
    manager.reset();
    EXPECT_TRUE(manager.getExtendedStatistic().isBlank());
}

TEST_F(ExtendedSnapshot, OtherLimitsAreRefused)
{
    CTableLimits other;
    other.vlans = 7;
    CStatSnapshot snapshot(other);
    EXPECT_TRUE(raisedBySelection([&] { snapshot.initSnapshot(manager); }) != nothingRaised);
}

} // namespace
