#include "fuzz/UnpackCheck.h"

#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

using namespace KetStats;

namespace {

// Counts on while several threads ask it.
class Adapter : public CNdisHook
{
public:
    long GetLinkSpeed() override { return 1'000'000'000; }
    long GetMissedFrames() override { return ++m_figure; }
    long GetSoftMissedFrames() override { return ++m_figure; }
    long GetLong(long) override { return ++m_figure; }

private:
    std::atomic<long> m_figure{0};
};

TEST(SnapshotConcurrency, ClientsSampleWhileFramesFlow)
{
    Adapter adapter;
    CKetrinStatManager manager;
    for (int group = 1; group <= 9; ++group)
        manager.enableStatistic("1." + std::to_string(group));
    manager.beginAnalyzing(&adapter);

    std::atomic<bool> done{false};
    std::thread capture([&] {
        for (unsigned int i = 0; i < 3000; ++i) {
            test::Frame frame(test::tcpFrame(test::host(i % 250), test::host(i * 7 % 230), 1 + i % 1024, 80));
            manager.analyzeFrame(&frame);
        }
        done = true;
    });
    std::thread clients[3];
    for (std::thread & client : clients)
        client = std::thread([&] {
            CStatSnapshot snapshot;
            CStatSnapshot receiver;
            snapshot.addOid("1");
            for (int round = 0; round < 4 || !done; ++round) {
                snapshot.initSnapshot(manager);
                for (int samples = 0; samples < 3; ++samples) {
                    snapshot.nextSample(manager);
                    EXPECT_EQ(test::read(receiver, samples % 3 == 0 ? test::packedFull(snapshot)
                                                                    : test::packedChanges(snapshot)),
                              test::nothingRaised);
                }
                receiver.calculatePercentStats();
            }
            EXPECT_EQ(fuzz::brokenTree(test::visible(receiver)), "");
        });
    capture.join();
    for (std::thread & client : clients)
        client.join();

    EXPECT_EQ(manager.getAgentStatistic().globalStatistics.transmittedFrames, 3000U);
}

// Rows whose keys were changed in place are filed under others still, and to ask for them must not file them anew.
TEST(SnapshotConcurrency, TreeThatIsHeldStillIsAskedByManyThreads)
{
    test::Live live;
    for (unsigned int i = 0; i < 100; ++i)
        test::put(live->protocols, test::id(i), i, i);
    for (CProtocolStat & row : live->protocols)
        row.protocolId = test::id(static_cast<unsigned int>(row.framesTransmitted) + 1000);
    CAgentStatistic const & still = *live;

    std::thread clients[3];
    for (std::thread & client : clients)
        client = std::thread([&] {
            CStatSnapshot snapshot;
            snapshot.addOid("1");
            snapshot.initSnapshot(still);
            snapshot.nextSample(still);
            for (unsigned int i = 0; i < 100; ++i) {
                CProtocolStat const * const row = still.protocols.find(test::id(i + 1000));
                ASSERT_NE(row, nullptr);
                ASSERT_EQ(row->framesTransmitted, i);
                ASSERT_EQ(still.protocols.find(test::id(i)), nullptr);
            }
        });
    for (std::thread & client : clients)
        client.join();

    EXPECT_EQ(live->protocols[test::id(3)]->framesTransmitted, 3U) << "filed as before";
}

} // namespace
