#include "ketstats/engine/StatManager.h"
#include "ketstats/snapshot/StatSnapshot.h"

#include "tests/support/Allocations.h"
#include "tests/support/Frames.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

using namespace KetStats;
using test::broadcastMac;
using test::Frame;
using test::macA;
using test::macB;
using test::multicastMac;
using test::plainFrame;

namespace {

class Hook : public CNdisHook
{
public:
    explicit Hook(long linkSpeed) : m_linkSpeed(linkSpeed) {}
    long GetLinkSpeed() override { return m_linkSpeed; }

private:
    long m_linkSpeed;
};

class Manager : public testing::Test
{
protected:
    void count(Frame & frame) { manager.analyzeFrame(&frame); }
    void count(Frame && frame) { count(frame); }

    unsigned int frames() { return tree().globalStatistics.transmittedFrames; }
    long long data() { return tree().globalStatistics.transmittedData; }
    CAgentStatistic & tree() { return manager.getAgentStatistic(); }

    CKetrinStatManager manager;
};

using StatManager = Manager;

TEST_F(StatManager, StartsIdleWithEverythingOff)
{
    EXPECT_FALSE(manager.analyzing());
    EXPECT_EQ(manager.getLinkSpeed(), 0);
    EXPECT_EQ(manager.getOverhead(), -1);
    for (int group = 1; group <= 9; ++group)
        EXPECT_FALSE(manager.statisticEnabled(COid("1." + std::to_string(group))));
}

TEST_F(StatManager, EnablesTheTopLevelGroupsAndNothingElse)
{
    for (int group = 1; group <= 9; ++group) {
        COid const oid("1." + std::to_string(group));
        EXPECT_TRUE(manager.enableStatistic(oid));
        EXPECT_TRUE(manager.statisticEnabled(oid));
    }
    EXPECT_TRUE(manager.disableStatistic(COid("1.5")));
    EXPECT_FALSE(manager.statisticEnabled(COid("1.5")));
    EXPECT_TRUE(manager.statisticEnabled(COid("1.4")));

    for (char const * const unknown : {"1", "1.0", "1.10", "1.11", "1.4.1", "2.8", "4"}) {
        EXPECT_FALSE(manager.enableStatistic(COid(unknown))) << unknown;
        EXPECT_FALSE(manager.disableStatistic(COid(unknown))) << unknown;
        EXPECT_FALSE(manager.statisticEnabled(COid(unknown))) << unknown;
    }
    EXPECT_FALSE(manager.enableStatistic(COid()));
}

TEST_F(StatManager, AsksTheHookForTheLinkSpeed)
{
    Hook hook(100000004);
    ASSERT_TRUE(manager.beginAnalyzing(&hook));
    EXPECT_EQ(manager.getLinkSpeed(), 12500000) << "bytes a second, cut off";
    manager.endAnalyzing();
    EXPECT_EQ(manager.getLinkSpeed(), 12500000) << "it stays";

    Hook negative(-15);
    manager.beginAnalyzing(&negative);
    EXPECT_EQ(manager.getLinkSpeed(), -1);
}

TEST_F(StatManager, LinkSpeedThatIsTooLargeSaturates)
{
    for (auto const & [bits, bytes] :
         {std::pair(2147483647LL, 268435455), std::pair(400000000000LL, 2147483647)}) {
        if (!std::in_range<long>(bits)) // the interface can't tell it on this system
            continue;
        Hook hook(static_cast<long>(bits));
        manager.beginAnalyzing(&hook);
        EXPECT_EQ(manager.getLinkSpeed(), bytes);
        manager.endAnalyzing();
    }
}

TEST_F(StatManager, SecondBeginFailsAndChangesNothing)
{
    Hook hook(800);
    Hook other(1600);
    ASSERT_TRUE(manager.beginAnalyzing(&hook));
    count(plainFrame(macB, macA, 60));

    EXPECT_FALSE(manager.beginAnalyzing(&other));

    EXPECT_TRUE(manager.analyzing());
    EXPECT_EQ(manager.getLinkSpeed(), 100);
    EXPECT_EQ(frames(), 1U);
}

TEST_F(StatManager, BeginClearsTheTreeAndEndKeepsIt)
{
    manager.beginAnalyzing(nullptr);
    count(plainFrame(macB, macA, 60));
    manager.endAnalyzing();
    EXPECT_FALSE(manager.analyzing());
    EXPECT_EQ(frames(), 1U);
    manager.endAnalyzing();
    EXPECT_EQ(frames(), 1U);

    EXPECT_TRUE(manager.beginAnalyzing(nullptr));
    EXPECT_EQ(frames(), 0U);
    EXPECT_EQ(data(), 0);
}

TEST_F(StatManager, IdleManagerDropsFrames)
{
    int calls = 0;
    manager.RegisterFrameHandler(
        [](CNetworkFrame const *, void * context) { ++*static_cast<int *>(context); }, &calls);
    count(plainFrame(macB, macA, 60));

    EXPECT_EQ(frames(), 0U);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(manager.getOverhead(), -1);
}

TEST_F(StatManager, HandlerGetsEveryCountedFrameOutsideTheGate)
{
    struct Context
    {
        CKetrinStatManager * manager;
        CNetworkFrame const * frame = nullptr;
        unsigned int framesSeen = 0;
    } context{&manager};
    manager.RegisterFrameHandler(
        [](CNetworkFrame const * frame, void * pointer) {
            auto & seen = *static_cast<Context *>(pointer);
            seen.frame = frame;
            seen.framesSeen = seen.manager->getAgentStatistic().globalStatistics.transmittedFrames;
            seen.manager->reset(); // takes the gate on this thread
        },
        &context);
    manager.beginAnalyzing(nullptr);
    Frame frame = plainFrame(macB, macA, 60);

    count(frame);

    EXPECT_EQ(context.frame, &frame);
    EXPECT_EQ(context.framesSeen, 1U);
    EXPECT_EQ(frames(), 0U);
    manager.RegisterFrameHandler(nullptr, nullptr);
    count(frame);
    EXPECT_EQ(frames(), 1U);
}

// Media whose overhead and class the test decides.
class Media : public CMediaInfo
{
public:
    bool IsBroadcast() const override { return broadcast; }
    bool IsMulticast() const override
    {
        ++multicastAsked;
        return multicast;
    }
    int GetOverhead() const override { return overhead; }

    bool broadcast = false;
    bool multicast = false;
    int overhead = 0;
    mutable int multicastAsked = 0;
};

class MediaFrame : public CNetworkFrame
{
public:
    MediaFrame(Media & media, unsigned int length) : CNetworkFrame(nullptr, 0, length), m_media(media) {}
    CMediaInfo * AnalyzeFrame() override
    {
        if (fails)
            throw std::runtime_error("no analysis");
        return &m_media;
    }

    bool fails = false;

private:
    Media & m_media;
};

TEST_F(StatManager, FirstFrameOfItsLifeTellsTheOverhead)
{
    Media media;
    media.overhead = 5;
    MediaFrame frame(media, 60);
    manager.beginAnalyzing(nullptr);
    manager.analyzeFrame(&frame);
    EXPECT_EQ(manager.getOverhead(), 5);
    EXPECT_EQ(data(), 65);

    media.overhead = 9;
    manager.reset();
    manager.endAnalyzing();
    manager.beginAnalyzing(nullptr);
    manager.analyzeFrame(&frame);
    EXPECT_EQ(manager.getOverhead(), 5);
    EXPECT_EQ(data(), 65);
}

TEST_F(StatManager, ExceptionReleasesTheGateAndSkipsTheHandler)
{
    int calls = 0;
    manager.RegisterFrameHandler(
        [](CNetworkFrame const *, void * context) { ++*static_cast<int *>(context); }, &calls);
    Media media;
    MediaFrame frame(media, 60);
    frame.fails = true;
    manager.beginAnalyzing(nullptr);

    EXPECT_THROW(manager.analyzeFrame(&frame), std::runtime_error);
    EXPECT_EQ(calls, 0);

    frame.fails = false;
    manager.analyzeFrame(&frame);
    EXPECT_EQ(frames(), 1U);
    EXPECT_EQ(calls, 1);
}

TEST_F(StatManager, HookThatThrowsLeavesItIdleWithoutARequester)
{
    struct Failing : CNdisHook
    {
        long GetLinkSpeed() override { throw std::runtime_error("no adapter"); }
        long GetMissedFrames() override
        {
            ++asked;
            return 0;
        }
        int asked = 0;
    } hook;
    Hook working(800);
    manager.beginAnalyzing(&working);
    count(plainFrame(macB, macA, 60));
    manager.endAnalyzing();
    manager.enableStatistic(COid("1.2"));

    EXPECT_THROW(static_cast<void>(manager.beginAnalyzing(&hook)), std::runtime_error);

    EXPECT_FALSE(manager.analyzing());
    EXPECT_EQ(frames(), 0U) << "the tree is clear";
    EXPECT_EQ(manager.getLinkSpeed(), 100);
    CStatSnapshot snapshot;
    manager.initSnapshot(&snapshot);
    EXPECT_EQ(hook.asked, 0) << "the hook may be gone by now";
    EXPECT_TRUE(manager.beginAnalyzing(&working));
}

// A frame that fails when it is asked for its length.
class LengthlessFrame : public Frame
{
public:
    using Frame::Frame;
    int GetLength() const override { throw std::runtime_error("no length"); }
};

TEST_F(StatManager, FrameIsCountedBeforeItsLengthIsAskedFor)
{
    LengthlessFrame frame(test::ethernet(macB, macA, 0x0800));
    manager.beginAnalyzing(nullptr);

    EXPECT_THROW(manager.analyzeFrame(&frame), std::runtime_error);

    EXPECT_EQ(frames(), 1U);
    EXPECT_EQ(data(), 0);
}

TEST_F(StatManager, DestructionEndsARunningAnalysis)
{
    struct Probe : CNdisHook
    {
        long GetLinkSpeed() override { return 8; }
    } hook;
    auto const other = std::make_unique<CKetrinStatManager>();
    other->beginAnalyzing(&hook);
    EXPECT_EQ(other->getLinkSpeed(), 1);
}

class FramePass : public Manager
{
protected:
    FramePass() { manager.beginAnalyzing(nullptr); }

    // Counts a frame of that size on media of that overhead, as the first of a manager's life.
    static std::string sizeRow(unsigned int length, int overhead)
    {
        CKetrinStatManager fresh;
        fresh.enableStatistic(COid("1.4"));
        fresh.beginAnalyzing(nullptr);
        Media media;
        media.overhead = overhead;
        MediaFrame frame(media, length);
        fresh.analyzeFrame(&frame);
        CFrameSizesStat & sizes = fresh.getAgentStatistic().frameTables.frameSizes;
        std::string names;
        for (unsigned int index = 0; index < sizes.getChildrenCount(); ++index) {
            auto & row = static_cast<CFrameTypeOrSizeStat &>(*sizes.getChild(index));
            if (row.frames != 0) {
                EXPECT_EQ(row.frames, 1U);
                EXPECT_EQ(row.data, static_cast<long long>(length & 0xFFFF) + overhead);
                names += row.name.get();
            }
        }
        return names;
    }
};

TEST_F(FramePass, WithAllFlagsOffOnlyTheGlobalCountersMove)
{
    CAgentStatistic untouched;
    tree().resetChanged();
    count(plainFrame(macB, macA, 100));

    EXPECT_EQ(frames(), 1U);
    EXPECT_EQ(data(), 104);
    EXPECT_TRUE(tree().globalStatistics.transmittedFrames.isChanged());
    EXPECT_TRUE(tree().globalStatistics.transmittedData.isChanged());
    EXPECT_FALSE(tree().globalStatistics.sampleNumber.isChanged());
    for (unsigned int index = 1; index < tree().getChildrenCount(); ++index)
        EXPECT_EQ(tree().getChild(index)->collate(*untouched.getChild(index)), 0) << index;
}

TEST_F(FramePass, SizeClassesIncludeTheirLimitsAndTheOverhead)
{
    EXPECT_EQ(sizeRow(60, 4), "<= 64 B");
    EXPECT_EQ(sizeRow(60, 5), "64 - 128 B");
    EXPECT_EQ(sizeRow(128, 0), "64 - 128 B");
    EXPECT_EQ(sizeRow(129, 0), "128 - 256 B");
    EXPECT_EQ(sizeRow(256, 0), "128 - 256 B");
    EXPECT_EQ(sizeRow(257, 0), "256 - 512 B");
    EXPECT_EQ(sizeRow(512, 0), "256 - 512 B");
    EXPECT_EQ(sizeRow(513, 0), "512 - 1024 B");
    EXPECT_EQ(sizeRow(1024, 0), "512 - 1024 B");
    EXPECT_EQ(sizeRow(1025, 0), "> 1024 B");
    EXPECT_EQ(sizeRow(10, -50), "<= 64 B") << "a negative size";
}

TEST_F(FramePass, OnlyTheLow16BitsOfTheLengthCount)
{
    EXPECT_EQ(sizeRow(65536 + 100, 0), "64 - 128 B");
    EXPECT_EQ(sizeRow(65535, 0), "> 1024 B");
    count(plainFrame(macB, macA, 65536));
    EXPECT_EQ(data(), 4);
}

TEST_F(FramePass, CountsFramesByTheirDestination)
{
    manager.enableStatistic(COid("1.4"));
    count(plainFrame(broadcastMac, macA, 60));
    count(plainFrame(multicastMac, macA, 70));
    count(plainFrame(macB, macA, 80));
    count(plainFrame(macB, macA, 90));

    CFrameTypesStat & types = tree().frameTables.frameTypes;
    EXPECT_EQ(types.broadcast.frames, 1U);
    EXPECT_EQ(types.broadcast.data, 64);
    EXPECT_EQ(types.multicast.frames, 1U);
    EXPECT_EQ(types.multicast.data, 74);
    EXPECT_EQ(types.unicast.frames, 2U);
    EXPECT_EQ(types.unicast.data, 84 + 94);
}

TEST_F(FramePass, BroadcastWinsAndMulticastIsNotAskedThen)
{
    manager.enableStatistic(COid("1.4"));
    Media media;
    media.broadcast = true;
    media.multicast = true;
    MediaFrame frame(media, 60);

    manager.analyzeFrame(&frame);

    EXPECT_EQ(tree().frameTables.frameTypes.broadcast.frames, 1U);
    EXPECT_EQ(tree().frameTables.frameTypes.multicast.frames, 0U);
    EXPECT_EQ(media.multicastAsked, 0);
}

TEST_F(FramePass, AllocatesNothing)
{
    for (int group = 1; group <= 9; ++group)
        manager.enableStatistic(COid("1." + std::to_string(group)));
    Frame frame = plainFrame(macB, macA, 60);
    count(frame); // rows and statics are there now

    test::Allocations const allocations;
    for (int i = 0; i < 1000; ++i)
        count(frame);
    EXPECT_EQ(allocations.count(), 0);
}

TEST(Allocations, AreCountedInTheLibraryToo)
{
    CKetrinStatManager manager;
    manager.enableStatistic(COid("1.6"));
    manager.beginAnalyzing(nullptr);
    Frame frame = plainFrame(macB, macA, 60);

    test::Allocations const allocations;
    manager.analyzeFrame(&frame);
    EXPECT_GT(allocations.count(), 0) << "the first row of a table";
}

// Hosts may turn groups on and set ranges and handlers while frames flow.
TEST(StatManagerConcurrency, SettingsChangeWhileFramesFlow)
{
    CKetrinStatManager manager;
    manager.beginAnalyzing(nullptr);
    std::thread capture([&] {
        Frame frame = plainFrame(macB, macA, 60);
        for (int i = 0; i < 2000; ++i)
            manager.analyzeFrame(&frame);
    });
    for (int i = 0; i < 200; ++i) {
        manager.enableStatistic(COid("1.4"));
        manager.setTCPPortRange(i, 2 * i);
        manager.setUDPPortRange(2000, 1000);
        manager.RegisterFrameHandler(i % 2 ? +[](CNetworkFrame const *, void *) {} : nullptr, nullptr);
        manager.disableStatistic(COid("1.4"));
        static_cast<void>(manager.getOverhead());
    }
    capture.join();
    EXPECT_EQ(manager.getAgentStatistic().globalStatistics.transmittedFrames, 2000U);
}

TEST(StatManagerConcurrency, FramesOfManyThreadsAllCount)
{
    CKetrinStatManager manager;
    manager.enableStatistic(COid("1.4"));
    manager.beginAnalyzing(nullptr);
    std::thread threads[4];
    for (std::thread & thread : threads)
        thread = std::thread([&] {
            Frame frame = plainFrame(macB, macA, 60);
            for (int i = 0; i < 1000; ++i)
                manager.analyzeFrame(&frame);
        });
    for (std::thread & thread : threads)
        thread.join();

    EXPECT_EQ(manager.getAgentStatistic().globalStatistics.transmittedFrames, 4000U);
    EXPECT_EQ(manager.getAgentStatistic().frameTables.frameTypes.unicast.frames, 4000U);
}

} // namespace
