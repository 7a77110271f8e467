#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace KetStats;
using test::packedFull;
using test::visible;

namespace {

// An adapter that notes what it is asked and answers by the test's rule.
class Adapter : public CNdisHook
{
public:
    static constexpr long missed = -1;
    static constexpr long softMissed = -2;

    long GetMissedFrames() override { return answer(missed); }
    long GetSoftMissedFrames() override { return answer(softMissed); }
    long GetLong(long oid) override { return answer(oid); }

    std::vector<long> asked;
    long next = 100; // grows with every answer
    bool fixed = false;

private:
    long answer(long request)
    {
        asked.push_back(request);
        return fixed ? next : next++;
    }
};

using Counts = std::vector<unsigned int>;

// The twelve counters of the group, in the order of their ids.
Counts countsOf(CGlobalErrorsStat & errors)
{
    Counts counts;
    for (unsigned int index = 0; index < errors.getChildrenCount(); ++index)
        if (auto * const counter = dynamic_cast<CValueStat<unsigned int> *>(errors.getChild(index)))
            counts.push_back(counter->get());
    return counts;
}

class HardwareCounters : public testing::Test
{
protected:
    HardwareCounters() { snapshot.addOid("1"); }
    void start()
    {
        manager.enableStatistic("1.2");
        manager.beginAnalyzing(&adapter);
    }
    void sample()
    {
        clock.advance(test::Clock::second);
        snapshot.nextSample(manager);
        packedFull(snapshot);
    }

    test::Clock clock;
    Adapter adapter;
    CKetrinStatManager manager;
    CGlobalErrorsStat & live = manager.getAgentStatistic().globalErrors;
    CStatSnapshot snapshot;
};

TEST_F(HardwareCounters, AreAskedForInTheirOrder)
{
    start();
    snapshot.initSnapshot(manager);

    EXPECT_EQ(adapter.asked, (std::vector<long>{Adapter::missed, Adapter::softMissed, 0x0002020D, 0x01020101,
                                                0x01020102, 0x01020103, 0x01020201, 0x01020202, 0x01020203,
                                                0x01020205, 0x01020206, 0x01020207}));
    EXPECT_EQ(live.hardwareOverflows, 100U);
    EXPECT_EQ(live.softwareOverflows, 101U);
    EXPECT_EQ(live.crcErrors, 102U);
    EXPECT_EQ(live.alignmentErrors, 103U);
    EXPECT_EQ(live.singleCollisions, 104U);
    EXPECT_EQ(live.multipleCollisions, 105U);
    EXPECT_EQ(live.deferred, 106U);
    EXPECT_EQ(live.maxCollisions, 107U);
    EXPECT_EQ(live.receiveOverruns, 108U);
    EXPECT_EQ(live.heartbeatFailure, 109U);
    EXPECT_EQ(live.carrierLost, 110U);
    EXPECT_EQ(live.lateCollisions, 111U);
    EXPECT_EQ(live.accuracy.get().value, 0.0);
}

TEST_F(HardwareCounters, LeaveTheirFlagsDown)
{
    start();
    manager.getAgentStatistic().resetChanged();
    snapshot.initSnapshot(manager);
    for (unsigned int index = 0; index < live.getChildrenCount(); ++index)
        EXPECT_FALSE(live.getChild(index)->isChanged()) << index;
}

TEST_F(HardwareCounters, AreNotAskedForWhenTheGroupIsOff)
{
    manager.beginAnalyzing(&adapter);
    snapshot.initSnapshot(manager);
    EXPECT_TRUE(adapter.asked.empty());
    EXPECT_EQ(live.crcErrors, 0U);
}

TEST_F(HardwareCounters, AreNotAskedForWithoutAnAnalysis)
{
    manager.enableStatistic("1.2");
    snapshot.initSnapshot(manager);
    EXPECT_TRUE(adapter.asked.empty());

    start();
    snapshot.initSnapshot(manager);
    manager.endAnalyzing();
    adapter.asked.clear();
    snapshot.initSnapshot(manager);
    EXPECT_TRUE(adapter.asked.empty());
    EXPECT_EQ(live.crcErrors, 102U) << "the last ones stay";

    manager.beginAnalyzing(&adapter);
    EXPECT_EQ(live.crcErrors, 0U) << "until the next analysis";
    EXPECT_TRUE(adapter.asked.empty());
}

TEST_F(HardwareCounters, SamplesDoNotAskAndShowNoDifferenceAlone)
{
    start();
    snapshot.initSnapshot(manager);
    adapter.asked.clear();
    sample();
    EXPECT_TRUE(adapter.asked.empty());
    EXPECT_EQ(countsOf(visible(snapshot).globalErrors), Counts(12, 0));
}

TEST_F(HardwareCounters, AnotherClientsZeroPointBringsNewFigures)
{
    start();
    snapshot.initSnapshot(manager);
    CStatSnapshot other;
    other.initSnapshot(manager);
    EXPECT_EQ(live.hardwareOverflows, 112U) << "absolute, as the adapter tells them";
    sample();
    EXPECT_EQ(countsOf(visible(snapshot).globalErrors), Counts(12, 12));
}

TEST_F(HardwareCounters, AreStoredBitForBit)
{
    start();
    adapter.fixed = true;
    for (auto const & [told, stored] : std::vector<std::pair<long, unsigned int>>{
             {-1, 0xFFFFFFFFU}, {-2147483647L - 1, 0x80000000U}, {2147483647L, 0x7FFFFFFFU}, {0, 0}}) {
        adapter.next = told;
        snapshot.initSnapshot(manager);
        EXPECT_EQ(countsOf(live), Counts(12, stored));
    }
}

TEST_F(HardwareCounters, FigureAbove32BitsSaturates)
{
    start();
    adapter.fixed = true;
    for (auto const & [told, stored] : std::vector<std::pair<long long, unsigned int>>{
             {0x7FFF'FFFFLL, 0x7FFFFFFFU}, {0xFFFF'FFFELL, 0xFFFFFFFEU}, {0x1'0000'0000LL, 0xFFFFFFFFU}}) {
        if (!std::in_range<long>(told)) // the interface can't tell it on this system
            continue;
        adapter.next = static_cast<long>(told);
        snapshot.initSnapshot(manager);
        EXPECT_EQ(live.crcErrors, stored);
    }
}

TEST_F(HardwareCounters, AdapterMayBeAbsent)
{
    manager.enableStatistic("1.2");
    manager.beginAnalyzing(nullptr);
    snapshot.initSnapshot(manager);
    EXPECT_EQ(live.crcErrors, 0U);
}

TEST_F(HardwareCounters, ExceptionOfTheAdapterReleasesTheGate)
{
    class Failing : public CNdisHook
    {
        long GetSoftMissedFrames() override { throw 7; }
    } failing;
    manager.enableStatistic("1.2");
    manager.beginAnalyzing(&failing);
    EXPECT_THROW(snapshot.initSnapshot(manager), int);
    manager.reset(); // takes the writer side
}

} // namespace
