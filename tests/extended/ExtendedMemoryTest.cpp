#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/Allocations.h"
#include "tests/support/IPv6Frames.h"
#include "tests/support/IPv6Traffic.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <new>

// Memory that runs out while the second tree counts, and while clients look at it.

using namespace KetStats;
using namespace test;

namespace {

constexpr unsigned int tcp = 6;

// Of both trees.
void enableAll(CKetrinStatManager & manager)
{
    for (int group = 1; group <= 9; ++group)
        manager.enableStatistic("1." + std::to_string(group));
    for (int group = 1; group <= 7; ++group)
        manager.enableStatistic("2." + std::to_string(group));
    manager.beginAnalyzing(nullptr);
}

Ipv6Host numbered(unsigned int number)
{
    return {host(number).mac, "2001:db8::" + std::to_string(number % 10000)};
}

// Between two tags, to a port with a row, from one without.
Bytes anyFrame(unsigned int number)
{
    return tagged(tagged(ipv6Frame(numbered(number % 20), numbered(number % 7 + 50), tcp,
                                   tcpHeader(40000, 1 + number % 30, 2)),
                         number % 9),
                  number % 11, 0x88A8);
}

Bytes anyAdvertisement(unsigned int number)
{
    return ipv6Frame(
        {macC, "fe80::1"}, {multicastMac, "ff02::1"}, 58,
        icmpv6(136, 0, Bytes(4) + ipv6Bytes(numbered(number).ip) + addressOption(2, host(number).mac)), 255);
}

template <class Table>
unsigned long long framesOf(Table const & table)
{
    unsigned long long sum = table.ledger().framesTransmitted + table.ledger().framesReceived;
    for (auto const & row : table) {
        sum += row.framesTransmitted.get();
        if constexpr (requires { row.framesReceived; })
            sum += row.framesReceived.get();
    }
    return sum;
}

template <class Operation>
void forEachTable(CExtendedStatistic & tree, Operation && operation)
{
    operation(tree.ipv6Connections);
    operation(tree.ipv6Protocols);
    operation(tree.ipv6Ports.tcpPorts);
    operation(tree.ipv6Ports.udpPorts);
    operation(tree.vlans.outer);
    operation(tree.vlans.inner);
    operation(tree.neighbours);
}

void expectSound(CExtendedStatistic & tree)
{
    forEachTable(tree, [](auto & table) { ASSERT_TRUE(soundFromOutside(table)); });
}

// All that fails from some allocation on, for each of them in turn.
TEST(LackOfMemoryInTheSecondTree, LosesNoFrameWhereverItBegins)
{
    constexpr unsigned int frames = 40;
    std::vector<std::unique_ptr<Frame>> all;
    std::vector<std::unique_ptr<Frame>> advertisements;
    for (unsigned int i = 0; i < frames; ++i) {
        all.push_back(std::make_unique<Frame>(anyFrame(i)));
        advertisements.push_back(std::make_unique<Frame>(anyAdvertisement(i)));
    }
    bool ended = false;
    for (long after = 0; !ended; ++after) {
        SCOPED_TRACE(testing::Message() << "after " << after << " allocations");
        CKetrinStatManager manager;
        enableAll(manager);

        Allocations const allocations;
        {
            MemoryRunsOut const soon(after);
            for (unsigned int i = 0; i < frames; ++i) {
                manager.analyzeFrame(all[i].get());
                manager.analyzeFrame(advertisements[i].get());
            }
        }
        ended = allocations.count() <= after;

        CExtendedStatistic & tree = manager.getExtendedStatistic();
        ASSERT_EQ(framesOf(tree.ipv6Connections), frames);
        ASSERT_EQ(framesOf(tree.ipv6Protocols), frames);
        ASSERT_EQ(framesOf(tree.ipv6Ports.tcpPorts), frames);
        ASSERT_EQ(framesOf(tree.vlans.outer), frames);
        ASSERT_EQ(framesOf(tree.vlans.inner), frames);
        ASSERT_EQ(tree.signals.tcpRequested.get(), frames);
        ASSERT_EQ(tree.signals.changedBindings.get(), 0U) << "what isn't known isn't changed";
        ASSERT_EQ(manager.getAgentStatistic().globalStatistics.transmittedFrames.get(), 2 * frames);
        expectSound(tree);

        manager.analyzeFrame(all.front().get());
        ASSERT_EQ(framesOf(tree.ipv6Connections), frames + 1) << "and goes on when there is memory again";
        manager.analyzeFrame(advertisements.front().get());
        ASSERT_NE(tree.neighbours.find(ipv6(numbered(0).ip)), nullptr);
    }
}

TEST(LackOfMemoryInTheSecondTree, TablesWithoutRowsCountInTheirLedgers)
{
    CKetrinStatManager manager;
    enableAll(manager);
    Frame frame(anyFrame(3), 100);
    Frame advertisement(anyAdvertisement(3));

    {
        MemoryRunsOut const now(0);
        manager.analyzeFrame(&frame);
        manager.analyzeFrame(&advertisement);
    }

    CLedgers all;
    manager.getExtendedStatistic().addLedgers(all);
    EXPECT_EQ(all.ipv6Connections, (CLedger{0, 1, 104, 0, 0}));
    EXPECT_EQ(all.ipv6Protocols, (CLedger{0, 1, 104, 0, 0}));
    EXPECT_EQ(all.ipv6TcpPorts, (CLedger{0, 0, 0, 1, 104}));
    EXPECT_EQ(all.vlans, (CLedger{0, 1, 104, 0, 0}));
    EXPECT_EQ(all.innerVlans, (CLedger{0, 1, 104, 0, 0}));
    EXPECT_EQ(all.neighbours, CLedger());
    EXPECT_EQ(manager.getExtendedStatistic().neighbours.size(), 0U);
}

TEST(LackOfMemoryInTheSecondTree, ABindingIsLearnedForTheOldestOne)
{
    CKetrinStatManager manager;
    enableAll(manager);
    auto & table = manager.getExtendedStatistic().neighbours;
    std::vector<std::unique_ptr<Frame>> all;
    for (unsigned int i = 0; i < 8; ++i)
        all.push_back(std::make_unique<Frame>(anyAdvertisement(i)));
    for (unsigned int i = 0; i < 3; ++i)
        manager.analyzeFrame(all[i].get());

    {
        MemoryRunsOut const now(0);
        for (unsigned int i = 3; i < 8; ++i)
            manager.analyzeFrame(all[i].get());
    }

    EXPECT_NE(table.find(ipv6(numbered(7).ip)), nullptr);
    EXPECT_EQ(table.find(ipv6(numbered(0).ip)), nullptr);
    EXPECT_EQ(manager.getExtendedStatistic().signals.changedBindings.get(), 0U);
    EXPECT_TRUE(soundFromOutside(table));
}

// A client whose operation fails, at each allocation in turn, leaves the manager to others, and can begin anew.
TEST(LackOfMemoryInTheSecondTree, OfAClientIsItsOwn)
{
    Clock clock;
    CKetrinStatManager manager;
    enableAll(manager);
    auto const count = [&](unsigned int number) {
        Frame frame(anyFrame(number));
        Frame advertisement(anyAdvertisement(number));
        manager.analyzeFrame(&frame); // would wait for ever at a gate that wasn't left
        manager.analyzeFrame(&advertisement);
    };
    for (unsigned int i = 0; i < 12; ++i)
        count(i);

    bool ended = false;
    unsigned int failures = 0;
    for (long after = 0; !ended; ++after) {
        SCOPED_TRACE(testing::Message() << "after " << after << " allocations");
        CStatSnapshot snapshot;
        ktools::CMemoryBuffer buffer(4 << 20, true);
        try {
            MemoryRunsOut const soon(after);
            snapshot.addOid("2");
            snapshot.startSampling(manager);
            snapshot.pack(buffer, true);
            snapshot.nextSample(manager);
            snapshot.pack(buffer, false);
            snapshot.getStat("2.1");
            snapshot.calculatePercentStats();
            ended = true;
        } catch (std::bad_alloc const &) {
            ++failures;
        }

        clock.advance(Clock::millisecond * 10);
        count(static_cast<unsigned int>(after) % 12);
        CStatSnapshot other;
        other.addOid("2");
        snapshot.addOid("2");
        for (CStatSnapshot * const client : {&other, &snapshot}) {
            client->reset();
            client->startSampling(manager);
            clock.advance(Clock::millisecond * 10);
            client->nextSample(manager);
        }
        CStatSnapshot received;
        CStatSnapshot receivedToo;
        ASSERT_EQ(read(received, packedFull(other)), nothingRaised);
        ASSERT_EQ(read(receivedToo, packedFull(snapshot)), nothingRaised);
        auto & tree = static_cast<CExtendedStatistic &>(*received.getStat(COid("2")));
        auto & treeToo = static_cast<CExtendedStatistic &>(*receivedToo.getStat(COid("2")));
        ASSERT_EQ(treeToo.collate(tree), 0);
        ASSERT_EQ(tree.vlans.outer.size(), 11U);
        auto & own = static_cast<CExtendedStatistic &>(*snapshot.getStat(COid("2")));
        forEachTable(own,
                     [](auto & table) { ASSERT_FALSE(table.flat()) << "rows are there to be looked at"; });
        expectSound(own);
        ASSERT_EQ(own.vlans.outer.size(), 11U);
    }
    EXPECT_GT(failures, 30U);
}

// Whatever comes, and whenever memory runs out, tables hold together, and the counters of frames count.
TEST(LackOfMemoryInTheSecondTree, LeavesItWholeWhateverTheFrames)
{
    CTableLimits limits;
    limits.ipv6Connections = limits.neighbours = 9;
    limits.vlans = limits.ipv6TcpPorts = 5;
    CKetrinStatManager manager(limits);
    enableAll(manager);
    CKetrinStatManager rich(limits);
    enableAll(rich);
    Random random(5);
    CNetworkFrame view;
    unsigned int number = 0;
    for (Captured const & frame : randomIPv6Traffic(9, 6000, 60)) {
        view.Assign(frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length);
        rich.analyzeFrame(&view);
        {
            MemoryRunsOut const soon(random.below(4));
            manager.analyzeFrame(&view);
        }
        if (++number % 50 == 0)
            expectSound(manager.getExtendedStatistic());
    }

    CExtendedStatistic & tree = manager.getExtendedStatistic();
    CExtendedStatistic & expected = rich.getExtendedStatistic();
    EXPECT_EQ(framesOf(tree.ipv6Connections), framesOf(expected.ipv6Connections));
    EXPECT_EQ(framesOf(tree.ipv6Protocols), framesOf(expected.ipv6Protocols));
    EXPECT_EQ(framesOf(tree.ipv6Ports.tcpPorts), framesOf(expected.ipv6Ports.tcpPorts));
    EXPECT_EQ(framesOf(tree.ipv6Ports.udpPorts), framesOf(expected.ipv6Ports.udpPorts));
    EXPECT_EQ(framesOf(tree.vlans.outer), framesOf(expected.vlans.outer));
    EXPECT_EQ(framesOf(tree.vlans.inner), framesOf(expected.vlans.inner));
    EXPECT_EQ(tree.tunnels.collate(expected.tunnels), 0);
    CSignalsStat::forEachColumn([&](auto, auto counter) {
        // Bindings that were given up early aren't known to have changed.
        if (counter != &CSignalsStat::changedBindings) {
            EXPECT_EQ((tree.signals.*counter).get(), (expected.signals.*counter).get());
        }
    });
}

} // namespace
