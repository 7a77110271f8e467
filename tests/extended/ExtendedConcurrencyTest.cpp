#include "tests/snapshot/Snapshots.h"
#include "tests/support/IPv6Frames.h"
#include "tests/support/IPv6Traffic.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace KetStats;
using namespace test;

// Both trees under one gate: a thread that counts, clients that sample and pack, and a host that switches groups and
// resets between. Whether they get into each other's way is for the thread sanitizer to see.

namespace {

CExtendedStatistic & extended(CStatSnapshot & snapshot)
{
    return static_cast<CExtendedStatistic &>(*snapshot.getStat(COid("2")));
}

void enable(CKetrinStatManager & manager, bool on, int group)
{
    COid const oid("2." + std::to_string(group));
    on ? manager.enableStatistic(oid) : manager.disableStatistic(oid);
}

void expectSound(CExtendedStatistic & tree)
{
    EXPECT_TRUE(soundFromOutside(tree.ipv6Connections));
    EXPECT_TRUE(soundFromOutside(tree.ipv6Protocols));
    EXPECT_TRUE(soundFromOutside(tree.ipv6Ports.tcpPorts));
    EXPECT_TRUE(soundFromOutside(tree.vlans.outer));
    EXPECT_TRUE(soundFromOutside(tree.vlans.inner));
    EXPECT_TRUE(soundFromOutside(tree.neighbours));
}

class ExtendedConcurrency : public testing::Test
{
protected:
    ExtendedConcurrency() : manager(few()) { enableAll(manager); }

    static void enableAll(CKetrinStatManager & manager)
    {
        for (int group = 1; group <= 9; ++group)
            manager.enableStatistic("1." + std::to_string(group));
        for (int group = 1; group <= 7; ++group)
            enable(manager, true, group);
        manager.beginAnalyzing(nullptr);
    }

    static CTableLimits few()
    {
        CTableLimits limits;
        limits.ipv6Connections = limits.vlans = 40;
        limits.neighbours = 20;
        return limits;
    }

    // Some by one, some in blocks.
    static void countAll(CKetrinStatManager & manager, Traffic const & traffic)
    {
        std::vector<CFrameView> views;
        for (Captured const & frame : traffic) {
            views.push_back({frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length});
            if (views.size() == 16) {
                manager.analyzeFrames(views);
                views.clear();
            }
            if (views.size() % 5 == 1) {
                CNetworkFrame view(frame.data.data(), static_cast<unsigned int>(frame.data.size()),
                                   frame.length);
                manager.analyzeFrame(&view);
            }
        }
    }

    // Of both trees, one of them, or parts; with changes and whole.
    void client(unsigned int number)
    {
        char const * const selections[][2] = {{"1", "2"}, {"2", nullptr}, {"2.1", "2.4"}, {"1.8", "2.6"}};
        CStatSnapshot snapshot(few());
        for (char const * const oid : selections[number % 4])
            if (oid)
                snapshot.addOid(oid);
        snapshot.tellRowsApart(number % 2 == 0);
        for (unsigned int round = 0; round < 3 || !done; ++round) {
            CStatSnapshot receiver(few());
            if (number % 2 == 0)
                snapshot.initSnapshot(manager);
            else
                snapshot.startSampling(manager);
            for (int samples = 0; samples < 4; ++samples) {
                snapshot.nextSample(manager);
                ASSERT_EQ(read(receiver, samples == 0 ? packedFull(snapshot) : packedChanges(snapshot)),
                          nothingRaised);
                receiver.setLedgers(snapshot.getLedgers());
            }
            receiver.calculatePercentStats();
            static_cast<void>(receiver.getGivenUp());
            expectSound(extended(receiver));
        }
    }

    CKetrinStatManager manager;
    std::atomic<bool> done{false};
};

TEST_F(ExtendedConcurrency, ClientsSampleBothTreesWhileFramesFlow)
{
    Traffic const traffic = randomIPv6Traffic(21, 4000, 80);
    std::thread capture([&] {
        countAll(manager, traffic);
        done = true;
    });
    std::thread clients[4];
    for (unsigned int number = 0; number < 4; ++number)
        clients[number] = std::thread([this, number] { client(number); });
    capture.join();
    for (std::thread & thread : clients)
        thread.join();

    CKetrinStatManager alone(few());
    enableAll(alone);
    countAll(alone, traffic);
    EXPECT_EQ(manager.getExtendedStatistic().collate(alone.getExtendedStatistic()), 0);
    EXPECT_EQ(manager.getAgentStatistic().stations.collate(alone.getAgentStatistic().stations), 0);
}

TEST_F(ExtendedConcurrency, GroupsAreSwitchedAndTreesResetMeanwhile)
{
    Traffic const traffic = randomIPv6Traffic(22, 4000, 80);
    std::thread capture([&] {
        countAll(manager, traffic);
        done = true;
    });
    std::thread host([&] {
        Random random(1);
        for (unsigned int round = 0; round < 20 || !done; ++round) {
            enable(manager, random.oneIn(2), 1 + static_cast<int>(random.below(7)));
            if (random.oneIn(5))
                manager.reset();
            manager.setTCPPortRange(1, random.oneIn(2) ? 1024 : 65535);
            std::this_thread::yield();
        }
    });
    std::thread clients[2];
    for (unsigned int number = 0; number < 2; ++number)
        clients[number] = std::thread([this, number] { client(number); });
    capture.join();
    host.join();
    for (std::thread & thread : clients)
        thread.join();

    expectSound(manager.getExtendedStatistic());
    // All of it works on.
    for (int group = 1; group <= 7; ++group)
        enable(manager, true, group);
    manager.reset();
    Frame frame(tagged(ipv6Frame(v6A, v6B, 6, tcpHeader(5000, 80, 2)), 5));
    manager.analyzeFrame(&frame);
    CExtendedStatistic const & tree = manager.getExtendedStatistic();
    EXPECT_EQ(tree.ipv6Connections.size(), 1U);
    EXPECT_EQ(tree.vlans.outer.size(), 1U);
    EXPECT_EQ(tree.signals.tcpRequested.get(), 1U);
}

} // namespace
