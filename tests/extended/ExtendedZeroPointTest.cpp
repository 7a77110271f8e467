#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/IPv6Frames.h"

#include <gtest/gtest.h>

using namespace KetStats;
using namespace test;

// What a client sees of the second tree of what was there before it came, table by table.

namespace {

CIPv6ConnectionStat::CKey pair(char const * from, char const * to)
{
    return {ipv6(from), ipv6(to)};
}

CTableLimits ofTwoRows()
{
    CTableLimits limits;
    limits.ipv6Connections = limits.ipv6Protocols = limits.ipv6TcpPorts = limits.ipv6UdpPorts = 3;
    limits.vlans = limits.innerVlans = limits.neighbours = 3;
    return limits;
}

// Live trees that are filled by hand, and a client that has selected all of the second one.
class ExtendedZeroPoint : public testing::Test
{
protected:
    ExtendedZeroPoint() { snapshot.addOid("2"); }

    void begin(bool tellRowsApart = true)
    {
        snapshot.tellRowsApart(tellRowsApart);
        snapshot.initSnapshot(first, live);
    }
    CExtendedStatistic & sampled()
    {
        clock.advance(Clock::second);
        snapshot.nextSample(first, live);
        packedChanges(snapshot);
        return static_cast<CExtendedStatistic &>(*snapshot.getStat(COid("2")));
    }

    Clock clock;
    CAgentStatistic first{ofTwoRows()};
    CExtendedStatistic live{ofTwoRows()};
    CStatSnapshot snapshot{ofTwoRows()};
};

template <class Table, class Key>
unsigned int framesOf(Table const & table, Key const & key)
{
    auto const * const row = table.find(key);
    return row ? row->framesTransmitted.get() : ~0U;
}

TEST_F(ExtendedZeroPoint, OfTrafficAndVlansIsTakenOffEachRow)
{
    put(live.ipv6Connections, pair("::1", "::2"), 100, 10000);
    put(live.vlans.outer, id(7), 50, 5000);
    put(live.vlans.inner, id(8), 20, 2000);
    begin();
    put(live.ipv6Connections, pair("::1", "::2"), 103, 10300);
    put(live.ipv6Connections, pair("::2", "::1"), 4, 400);
    put(live.vlans.outer, id(7), 55, 5500);
    put(live.vlans.inner, id(9), 6, 600);

    CExtendedStatistic & tree = sampled();

    EXPECT_EQ(framesOf(tree.ipv6Connections, pair("::1", "::2")), 3U);
    EXPECT_EQ(tree.ipv6Connections.find(pair("::1", "::2"))->dataTransmitted.get(), 300);
    EXPECT_EQ(framesOf(tree.ipv6Connections, pair("::2", "::1")), 4U);
    EXPECT_EQ(framesOf(tree.vlans.outer, id(7)), 5U);
    EXPECT_EQ(tree.vlans.outer.find(id(7))->dataTransmitted.get(), 500);
    EXPECT_EQ(framesOf(tree.vlans.inner, id(8)), 0U) << "nothing since, but it is there";
    EXPECT_EQ(framesOf(tree.vlans.inner, id(9)), 6U);
}

// As of the first tree: they show what was counted since the last reset.
TEST_F(ExtendedZeroPoint, OfProtocolsPortsAndNeighboursThereIsNone)
{
    put(live.ipv6Protocols, id(58), 10, 1000);
    put(live.ipv6Ports.tcpPorts, id(443), 20, 2000);
    put(live.ipv6Ports.udpPorts, id(53), 30, 3000).framesReceived = 7U;
    live.neighbours.createIfNew(ipv6("fe80::1"), mac(macA));
    begin();
    put(live.ipv6Protocols, id(58), 11, 1100);

    CExtendedStatistic & tree = sampled();

    EXPECT_EQ(framesOf(tree.ipv6Protocols, id(58)), 11U);
    EXPECT_EQ(framesOf(tree.ipv6Ports.tcpPorts, id(443)), 20U);
    EXPECT_EQ(framesOf(tree.ipv6Ports.udpPorts, id(53)), 30U);
    EXPECT_EQ(tree.ipv6Ports.udpPorts.find(id(53))->framesReceived.get(), 7U);
    EXPECT_EQ(tree.neighbours.find(ipv6("fe80::1"))->macAddress.get(), mac(macA));
}

TEST_F(ExtendedZeroPoint, OfSignalsAndTunnelsIsTakenOffEachCounter)
{
    unsigned int number = 0;
    CSignalsStat::forEachColumn([&](auto, auto counter) { (live.signals.*counter) = ++number * 10; });
    live.tunnels.gre.frames = 5U;
    live.tunnels.gre.data = 500LL;
    live.tunnels.mpls.frames = 9U;
    begin();
    number = 0;
    CSignalsStat::forEachColumn([&](auto, auto counter) { (live.signals.*counter).add(++number); });
    live.tunnels.gre.frames.add(3);
    live.tunnels.gre.data.add(200);
    live.tunnels.vxlan.frames.add(2);

    CExtendedStatistic & tree = sampled();

    number = 0;
    CSignalsStat::forEachColumn(
        [&](auto, auto counter) { EXPECT_EQ((tree.signals.*counter).get(), ++number); });
    EXPECT_EQ(number, 17U);
    EXPECT_EQ(tree.tunnels.gre.frames.get(), 3U);
    EXPECT_EQ(tree.tunnels.gre.data.get(), 200);
    EXPECT_EQ(tree.tunnels.vxlan.frames.get(), 2U);
    EXPECT_EQ(tree.tunnels.mpls.frames.get(), 0U);
}

TEST_F(ExtendedZeroPoint, ARowThatWasGivenUpAndCameBackIsToldFromTheOneBefore)
{
    for (bool const apart : {true, false}) {
        SCOPED_TRACE(apart ? "told apart" : "as they come");
        live.reset();
        put(live.ipv6Connections, pair("::1", "::2"), 100, 10000);
        put(live.vlans.outer, id(1), 100, 10000);
        begin(apart);
        // Others take the room of two rows, and the first comes again under its old id, with less than it had.
        for (unsigned int const number : {3U, 4U, 5U, 1U}) {
            std::string const address = "::" + std::to_string(number);
            put(live.ipv6Connections, pair(address.c_str(), "::2"), 3, 30);
            put(live.vlans.outer, id(number), 3, 30);
        }

        CExtendedStatistic & tree = sampled();

        EXPECT_EQ(tree.vlans.outer.find(id(1))->getId(), 1U);
        EXPECT_EQ(framesOf(tree.vlans.outer, id(1)), apart ? 3U : 3U - 100U);
        EXPECT_EQ(framesOf(tree.ipv6Connections, pair("::1", "::2")), apart ? 3U : 3U - 100U);
        if (apart) {
            EXPECT_EQ(snapshot.getLedgers().vlans, (CLedger{3, 6, 60, 0, 0}));
            EXPECT_EQ(snapshot.getLedgers().ipv6Connections, (CLedger{3, 6, 60, 0, 0}));
        }
        snapshot.reset();
    }
}

// What a table gave up counts from the zero point too: neither what went before it, nor what its rows had by then.
TEST_F(ExtendedZeroPoint, OfWhatIsGivenUpIsThatOfItsRows)
{
    for (unsigned int number = 1; number <= 4; ++number) { // two of these are gone before
        std::string const address = "::" + std::to_string(number);
        put(live.ipv6Connections, pair(address.c_str(), "::f"), 10, 100);
        put(live.vlans.outer, id(number), 10, 100);
        put(live.vlans.inner, id(number), 10, 100);
        put(live.ipv6Protocols, id(number), 10, 100);
        put(live.ipv6Ports.tcpPorts, id(number), 10, 100);
        put(live.ipv6Ports.udpPorts, id(number), 10, 100);
        if (live.neighbours.isFull())
            live.neighbours.deleteOldest();
        live.neighbours.createIfNew(ipv6(address), mac(macA));
    }
    begin();
    put(live.ipv6Connections, pair("::3", "::f"), 15, 150);
    put(live.vlans.outer, id(3), 16, 160);
    put(live.ipv6Connections, pair("::4", "::f"), 10, 100);
    put(live.ipv6Connections, pair("::5", "::f"), 1, 10); // ::3 goes
    put(live.vlans.outer, id(4), 10, 100);
    put(live.vlans.outer, id(5), 1, 10);
    put(live.vlans.inner, id(5), 1, 10);

    sampled();

    CLedgers const & ledgers = snapshot.getLedgers();
    EXPECT_EQ(ledgers.ipv6Connections, (CLedger{1, 5, 50, 0, 0}));
    EXPECT_EQ(ledgers.vlans, (CLedger{1, 6, 60, 0, 0}));
    EXPECT_EQ(ledgers.innerVlans, (CLedger{1, 0, 0, 0, 0}));
    // Since the last reset, as their rows.
    EXPECT_EQ(ledgers.ipv6Protocols, (CLedger{2, 20, 200, 0, 0}));
    EXPECT_EQ(ledgers.ipv6TcpPorts, (CLedger{2, 20, 200, 0, 0}));
    EXPECT_EQ(ledgers.ipv6UdpPorts, (CLedger{2, 20, 200, 0, 0}));
    EXPECT_EQ(ledgers.neighbours, (CLedger{2, 0, 0, 0, 0}));
    EXPECT_EQ(ledgers.ipConnections, CLedger());
}

TEST_F(ExtendedZeroPoint, CanBeSetAnew)
{
    put(live.vlans.outer, id(7), 50, 5000);
    live.signals.arpReplies = 5U;
    begin();
    put(live.vlans.outer, id(7), 60, 6000);
    live.signals.arpReplies = 8U;
    sampled();

    snapshot.initSnapshot(first, live);
    put(live.vlans.outer, id(7), 61, 6100);
    live.signals.arpReplies = 9U;
    snapshot.reset();
    CExtendedStatistic & tree = sampled();

    EXPECT_EQ(framesOf(tree.vlans.outer, id(7)), 1U);
    EXPECT_EQ(tree.signals.arpReplies.get(), 1U);
}

// The zero point of one that holds the selected groups alone has nothing of the others.
TEST_F(ExtendedZeroPoint, OfAGroupThatIsSelectedLaterIsNoneWhereOnlyTheSelectedAreHeld)
{
    CStatSnapshot narrow(ofTwoRows());
    narrow.holdSelectedOnly(true);
    narrow.addOid("2.1");
    put(live.vlans.outer, id(7), 50, 5000);
    put(live.ipv6Connections, pair("::1", "::2"), 100, 10000);
    narrow.initSnapshot(first, live);
    narrow.addOid("2.4");
    clock.advance(Clock::second);
    narrow.nextSample(first, live);
    packedFull(narrow);

    auto & tree = static_cast<CExtendedStatistic &>(*narrow.getStat(COid("2")));
    EXPECT_EQ(framesOf(tree.vlans.outer, id(7)), 50U);
    EXPECT_EQ(framesOf(tree.ipv6Connections, pair("::1", "::2")), 0U);
}

// Percentages relate to the frames of the first tree since the zero point.
TEST_F(ExtendedZeroPoint, OfTunnelsAndVlansIsThatOfTheirShares)
{
    snapshot.addOid("1.1");
    first.globalStatistics.transmittedFrames = 1000U;
    put(live.vlans.outer, id(7), 500, 5000);
    live.tunnels.gre.frames = 300U;
    begin();
    first.globalStatistics.transmittedFrames = 1100U;
    put(live.vlans.outer, id(7), 525, 5250);
    live.tunnels.gre.frames = 310U;
    sampled();

    snapshot.calculatePercentStats();

    auto & tree = static_cast<CExtendedStatistic &>(*snapshot.getStat(COid("2")));
    EXPECT_EQ(tree.vlans.outer.find(id(7))->percentage.get(), 25.0);
    EXPECT_EQ(tree.vlans.outer.find(id(7))->averageFrameSize.get(), 10U);
    EXPECT_EQ(tree.tunnels.gre.percentage.get(), 10.0);
}

} // namespace
