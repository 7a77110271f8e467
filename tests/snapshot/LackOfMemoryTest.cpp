#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"
#include "tests/support/Allocations.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <new>

// Memory that runs out at any moment, within frames and within what clients do.

using namespace KetStats;
using test::Bytes;
using test::Frame;
using test::MemoryRunsOut;

namespace {

void enableAll(CKetrinStatManager & manager)
{
    for (int group = 1; group <= 9; ++group)
        manager.enableStatistic("1." + std::to_string(group));
    manager.beginAnalyzing(nullptr);
}

void count(CKetrinStatManager & manager, unsigned int number)
{
    Frame frame(test::tcpFrame(test::host(number % 40), test::host(number % 7 + 50), 1 + number % 30, 80));
    manager.analyzeFrame(&frame);
}

template <class Table>
unsigned long long framesOf(Table const & table)
{
    unsigned long long sum = table.ledger().framesTransmitted;
    for (auto const & row : table)
        sum += row.framesTransmitted.get();
    return sum;
}

unsigned long long stationPortFrames(CAgentStatistic const & tree)
{
    CLedger const kept = tree.ledgers().stationTcpPorts;
    unsigned long long sum = kept.framesTransmitted + kept.framesReceived;
    for (CStationStat const & station : tree.stations)
        for (CTcpPortStat const & port : station.tcpPorts)
            sum += port.framesTransmitted.get() + port.framesReceived.get();
    return sum;
}

constexpr unsigned int frames = 60;

// All that fails from some allocation on, for each of them in turn.
TEST(LackOfMemory, LosesNoFrameWhereverItBegins)
{
    bool ended = false;
    for (long after = 0; !ended; ++after) {
        SCOPED_TRACE(testing::Message() << "after " << after << " allocations");
        CKetrinStatManager manager;
        enableAll(manager);
        std::vector<std::unique_ptr<Frame>> all;
        for (unsigned int i = 0; i < frames; ++i)
            all.push_back(std::make_unique<Frame>(
                test::tcpFrame(test::host(i % 40), test::host(i % 7 + 50), 1 + i % 30, 80)));

        test::Allocations const allocations;
        {
            MemoryRunsOut const soon(after);
            for (auto const & frame : all)
                manager.analyzeFrame(frame.get());
        }
        ended = allocations.count() <= after;

        CAgentStatistic & tree = manager.getAgentStatistic();
        ASSERT_EQ(tree.globalStatistics.transmittedFrames.get(), frames);
        ASSERT_EQ(tree.frameTables.frameTypes.unicast.frames.get(), frames);
        ASSERT_EQ(framesOf(tree.stations), frames);
        ASSERT_EQ(framesOf(tree.protocols), frames);
        ASSERT_EQ(framesOf(tree.macConnections), frames);
        ASSERT_EQ(framesOf(tree.ipConnections), frames);
        ASSERT_EQ(framesOf(tree.ipSubprotocols), frames);
        ASSERT_EQ(framesOf(tree.ipPorts.tcpPorts), frames);
        ASSERT_EQ(stationPortFrames(tree), 2U * frames);
        ASSERT_TRUE(test::soundFromOutside(tree.stations));
        ASSERT_TRUE(test::soundFromOutside(tree.ipConnections));

        count(manager, 3);
        ASSERT_EQ(framesOf(tree.ipConnections), frames + 1) << "and goes on when there is memory again";
    }
}

TEST(LackOfMemory, TableWithRowsGivesTheOldestForTheNewOne)
{
    CKetrinStatManager manager;
    enableAll(manager);
    for (unsigned int i = 0; i < 3; ++i)
        count(manager, i);
    auto & table = manager.getAgentStatistic().macConnections;
    unsigned int const oldest = table.getOldestId();
    unsigned int const rows = table.size();
    Frame frame(test::ethernet(test::macA, test::macB, 0x0800));

    {
        MemoryRunsOut const now(0);
        manager.analyzeFrame(&frame);
    }

    EXPECT_EQ(table.size(), rows);
    EXPECT_EQ(table.ledger().rows, 1U);
    EXPECT_EQ(table.ledger().framesTransmitted, 1U);
    EXPECT_EQ(table.getNewestId(), oldest) << "the new row has its id";
}

TEST(LackOfMemory, TableWithoutRowsCountsInItsLedger)
{
    CKetrinStatManager manager;
    enableAll(manager);
    Frame frame(test::udpFrame(test::hostA, test::hostB, 53, 1000), 100);

    {
        MemoryRunsOut const now(0);
        manager.analyzeFrame(&frame);
    }

    CLedgers const all = manager.getAgentStatistic().ledgers();
    EXPECT_EQ(all.ipConnections, (CLedger{0, 1, 104, 0, 0}));
    EXPECT_EQ(all.stations, (CLedger{0, 1, 104, 1, 104}));
    EXPECT_EQ(all.udpPorts, (CLedger{0, 1, 104, 1, 104}));
    EXPECT_EQ(all.stationUdpPorts, (CLedger{0, 1, 104, 1, 104}));
    EXPECT_EQ(all.arpTable, CLedger());
}

TEST(LackOfMemory, BindingIsLearnedForTheOldestOneOrNotAtAll)
{
    CKetrinStatManager manager;
    enableAll(manager);
    Frame first(test::arpRequest(test::hostA, test::hostC));
    Frame second(test::arpRequest(test::hostB, test::hostC));
    auto & table = manager.getAgentStatistic().arpTable;

    {
        MemoryRunsOut const now(0);
        manager.analyzeFrame(&first);
    }
    EXPECT_EQ(table.size(), 0U);
    manager.analyzeFrame(&first);
    // The room for two rows is there; fill it, and what the index has beside it.
    for (unsigned int i = 0; i < 2; ++i) {
        Frame more(test::arpRequest(test::host(i), test::hostC));
        manager.analyzeFrame(&more);
    }
    {
        MemoryRunsOut const now(0);
        for (unsigned int i = 0; i < 8; ++i) {
            manager.analyzeFrame(&second);
            manager.analyzeFrame(&first);
        }
    }

    EXPECT_NE(table.find(test::ip("10.0.0.11")), nullptr);
    EXPECT_TRUE(test::soundFromOutside(table));
}

// A client whose operation fails, at each allocation in turn, leaves the manager to others, and can begin anew.
TEST(LackOfMemory, OfAClientIsItsOwn)
{
    test::Clock clock;
    CKetrinStatManager manager;
    enableAll(manager);
    for (unsigned int i = 0; i < 12; ++i)
        count(manager, i);

    bool ended = false;
    unsigned int failures = 0;
    for (long after = 0; !ended; ++after) {
        SCOPED_TRACE(testing::Message() << "after " << after << " allocations");
        CStatSnapshot snapshot;
        snapshot.addOid("1");
        ktools::CMemoryBuffer buffer(4 << 20, true);
        try {
            MemoryRunsOut const soon(after);
            snapshot.startSampling(manager);
            snapshot.pack(buffer, true);
            snapshot.nextSample(manager);
            snapshot.pack(buffer, false);
            snapshot.getStat("1.5");
            ended = true;
        } catch (std::bad_alloc const &) {
            ++failures;
        }

        clock.advance(test::Clock::millisecond * 10);
        count(manager,
              static_cast<unsigned int>(after) % 12); // would wait for ever at a gate that wasn't left
        CStatSnapshot other;
        other.addOid("1");
        for (CStatSnapshot * const client : {&other, &snapshot}) {
            client->reset();
            client->startSampling(manager);
            clock.advance(test::Clock::millisecond * 10);
            client->nextSample(manager);
        }
        Bytes const expected = test::packedFull(other);
        CStatSnapshot received;
        CStatSnapshot receivedToo;
        ASSERT_EQ(test::read(received, expected), test::nothingRaised);
        ASSERT_EQ(test::read(receivedToo, test::packedFull(snapshot)), test::nothingRaised);
        ASSERT_EQ(test::visible(receivedToo).stations.collate(test::visible(received).stations), 0);
        ASSERT_EQ(test::visible(receivedToo).ipPorts.collate(test::visible(received).ipPorts), 0);
        ASSERT_TRUE(test::soundFromOutside(test::visible(snapshot).stations));
    }
    EXPECT_GT(failures, 50U);
}

} // namespace
