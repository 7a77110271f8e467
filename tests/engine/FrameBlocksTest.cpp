#include "ketstats/engine/StatManager.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include "tests/support/Allocations.h"
#include "tests/support/Frames.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace KetStats;
using test::Bytes;
using test::hostA;
using test::hostB;

namespace {

// As many frames as a test wants, each a byte longer on the wire than the one before.
class FrameBlocks : public testing::Test
{
protected:
    std::vector<CFrameView> views(unsigned int count) const
    {
        std::vector<CFrameView> result;
        for (unsigned int i = 0; i < count; ++i)
            result.push_back({m_bytes.data(), static_cast<unsigned int>(m_bytes.size()), 60 + i});
        return result;
    }
    unsigned int frames() { return manager.getAgentStatistic().globalStatistics.transmittedFrames; }

    CKetrinStatManager manager;

private:
    Bytes m_bytes = test::tcpFrame(hostA, hostB, 40000, 80);
};

TEST_F(FrameBlocks, AreDroppedByAManagerThatIsIdle)
{
    int calls = 0;
    manager.RegisterFrameHandler(
        [](CNetworkFrame const *, void * context) { ++*static_cast<int *>(context); }, &calls);

    manager.analyzeFrames(views(3));

    EXPECT_EQ(frames(), 0U);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(manager.getOverhead(), -1);
}

TEST_F(FrameBlocks, OfNoFrameChangeNothing)
{
    manager.beginAnalyzing(nullptr);
    manager.analyzeFrames({});
    EXPECT_EQ(frames(), 0U);
    EXPECT_EQ(manager.getOverhead(), -1);
}

TEST_F(FrameBlocks, TellTheOverheadOfEthernet)
{
    manager.beginAnalyzing(nullptr);
    manager.analyzeFrames(views(1));
    EXPECT_EQ(manager.getOverhead(), 4);
    EXPECT_EQ(manager.getAgentStatistic().globalStatistics.transmittedData, 64);
}

// Behind each frame, with no more than it counted by then, and outside the gate.
TEST_F(FrameBlocks, AreHandedToTheHandlerOneByOne)
{
    struct Context
    {
        CKetrinStatManager * manager;
        std::vector<int> lengths;
        std::vector<unsigned int> counted;
    } context{&manager, {}, {}};
    manager.RegisterFrameHandler(
        [](CNetworkFrame const * frame, void * pointer) {
            auto & seen = *static_cast<Context *>(pointer);
            seen.lengths.push_back(frame->GetLength());
            CStatSnapshot snapshot;
            snapshot.addOid("1.1");
            snapshot.initSnapshot(*seen.manager); // takes the gate on this thread
            seen.counted.push_back(seen.manager->getAgentStatistic().globalStatistics.transmittedFrames);
        },
        &context);
    manager.beginAnalyzing(nullptr);

    manager.analyzeFrames(views(100));

    ASSERT_EQ(context.lengths.size(), 100U);
    for (unsigned int i = 0; i < 100; ++i) {
        EXPECT_EQ(context.lengths[i], static_cast<int>(60 + i));
        EXPECT_EQ(context.counted[i], i + 1);
    }
}

TEST_F(FrameBlocks, EndWhereAHandlerEndsTheAnalysis)
{
    manager.RegisterFrameHandler(
        [](CNetworkFrame const * frame, void * context) {
            if (frame->GetLength() == 62)
                static_cast<CKetrinStatManager *>(context)->endAnalyzing();
        },
        &manager);
    manager.beginAnalyzing(nullptr);

    manager.analyzeFrames(views(10));

    EXPECT_EQ(frames(), 3U);
}

TEST_F(FrameBlocks, LeaveTheGateWhereAHandlerThrows)
{
    manager.RegisterFrameHandler(
        [](CNetworkFrame const * frame, void *) {
            if (frame->GetLength() == 61)
                throw std::runtime_error("enough");
        },
        nullptr);
    manager.beginAnalyzing(nullptr);

    EXPECT_THROW(manager.analyzeFrames(views(10)), std::runtime_error);

    EXPECT_EQ(frames(), 2U);
    manager.RegisterFrameHandler(nullptr, nullptr);
    manager.analyzeFrames(views(10));
    EXPECT_EQ(frames(), 12U);
}

TEST_F(FrameBlocks, AllocateNothingForRowsThatAreThere)
{
    for (char const * const group : {"1.4", "1.5", "1.6", "1.7", "1.8"})
        manager.enableStatistic(COid(group));
    manager.beginAnalyzing(nullptr);
    std::vector<CFrameView> const block = views(200);
    manager.analyzeFrames(block);

    test::Allocations const allocations;
    manager.analyzeFrames(block);
    EXPECT_EQ(allocations.count(), 0);
}

// A sample doesn't wait for the end of a block, however long that is.
TEST_F(FrameBlocks, LetReadersIn)
{
    constexpr unsigned int all = 1000000;
    manager.beginAnalyzing(nullptr);
    std::vector<CFrameView> const block = views(all);
    CStatSnapshot snapshot;
    snapshot.addOid("1.1");
    snapshot.initSnapshot(manager);
    ktools::CMemoryBuffer packed(1 << 16, true);
    std::atomic<bool> ended{false};
    std::thread counting([&] {
        manager.analyzeFrames(block);
        ended = true;
    });
    bool between = false;
    while (!ended) {
        snapshot.nextSample(manager);
        packed.size = 0;
        snapshot.pack(packed, false);
        double const seen = snapshot.getStat("1.1.3")->getNumeric();
        between = between || (seen > 0 && seen < all);
    }
    counting.join();
    EXPECT_TRUE(between);
    EXPECT_EQ(frames(), all);
}

} // namespace
