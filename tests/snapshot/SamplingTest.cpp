#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

using namespace KetStats;
using test::Clock;
using test::id;
using test::ipPair;
using test::mac;
using test::macA;
using test::macB;
using test::macC;
using test::macPair;
using test::packedChanges;
using test::packedFull;
using test::put;
using test::visible;

namespace {

class Hook : public CNdisHook
{
public:
    explicit Hook(long bitsPerSecond) : m_linkSpeed(bitsPerSecond) {}
    long GetLinkSpeed() override { return m_linkSpeed; }

private:
    long m_linkSpeed;
};

// A link of 1000 bytes a second, whose live tree the test fills by hand.
class Sampling : public testing::Test
{
protected:
    Sampling()
    {
        manager.beginAnalyzing(&hook);
        snapshot.addOid("1");
        snapshot.initSnapshot(manager);
    }

    void transmit(long long bytes)
    {
        live.globalStatistics.transmittedData.add(bytes);
        live.globalStatistics.transmittedFrames.add(1);
    }
    // A sample that the client sees.
    void sample(long long ticks = Clock::second)
    {
        clock.advance(ticks);
        snapshot.nextSample(manager);
        packedFull(snapshot);
    }
    double current() { return seen.currentUtilisation.get().value; }
    double average() { return seen.averageUtilisation.get().value; }
    double peak() { return seen.peakUtilisation.get().value; }
    double accuracy() { return visible(snapshot).globalErrors.accuracy.get().value; }

    Clock clock;
    Hook hook{8000};
    CKetrinStatManager manager;
    CAgentStatistic & live = manager.getAgentStatistic();
    CStatSnapshot snapshot;
    CGlobalStatisticsStat & seen = visible(snapshot).globalStatistics;
};

TEST_F(Sampling, UtilisationIsAFractionOfTheLink)
{
    transmit(500);
    sample();
    EXPECT_DOUBLE_EQ(current(), 0.5);
    EXPECT_DOUBLE_EQ(average(), 0.5);
    EXPECT_DOUBLE_EQ(peak(), 0.5);

    transmit(250);
    sample(2 * Clock::second);
    EXPECT_DOUBLE_EQ(current(), 0.125) << "250 bytes in two seconds";
    EXPECT_DOUBLE_EQ(average(), 0.25) << "750 bytes in three";
    EXPECT_DOUBLE_EQ(peak(), 0.5) << "it stays at its height";
    EXPECT_EQ(seen.sampleNumber, 2U);
    EXPECT_EQ(seen.transmittedData, 750);
    EXPECT_EQ(seen.transmittedFrames, 2U);
}

TEST_F(Sampling, NothingTransmittedIsNoUtilisationAndNoAccuracy)
{
    sample();
    EXPECT_EQ(current(), 0.0);
    EXPECT_EQ(average(), 0.0);
    EXPECT_EQ(peak(), 0.0);
    EXPECT_EQ(accuracy(), 0.0);
}

TEST_F(Sampling, PeakSurvivesANewZeroPoint)
{
    transmit(900);
    sample();
    snapshot.initSnapshot(manager);
    sample();
    EXPECT_DOUBLE_EQ(peak(), 0.9);
    EXPECT_EQ(seen.sampleNumber, 1U);
    EXPECT_EQ(seen.transmittedData, 0);
    EXPECT_DOUBLE_EQ(average(), 0.0);
}

TEST_F(Sampling, TwoSamplesBetweenPacksShowTheBytesOfBothOverTheTimeOfOne)
{
    transmit(300);
    clock.advance(Clock::second);
    snapshot.nextSample(manager);
    transmit(200);
    sample();
    EXPECT_DOUBLE_EQ(current(), 0.5);
    EXPECT_DOUBLE_EQ(average(), 0.25);
    EXPECT_DOUBLE_EQ(peak(), 0.5);
}

TEST_F(Sampling, ClientThatNeverPacksSeesAllBytesInEverySample)
{
    CStatSnapshot other;
    other.addOid("1.4");
    other.initSnapshot(manager);
    for (int i = 0; i < 3; ++i) {
        transmit(100);
        clock.advance(Clock::second);
        other.nextSample(manager);
        packedChanges(other); // of another group
    }
    packedFull(other);
    EXPECT_DOUBLE_EQ(visible(other).globalStatistics.currentUtilisation.get().value, 0.3);
}

TEST_F(Sampling, SampleWithinAMillisecondLeavesTheGroup)
{
    transmit(500);
    sample();
    transmit(500);
    sample(Clock::millisecond);
    EXPECT_EQ(seen.sampleNumber, 2U);
    EXPECT_EQ(seen.transmittedData, 500);
    EXPECT_EQ(seen.transmittedFrames, 1U);
    EXPECT_DOUBLE_EQ(current(), 0.5);

    sample(2 * Clock::millisecond);
    EXPECT_EQ(seen.transmittedData, 1000);
    EXPECT_DOUBLE_EQ(current(), 250.0) << "over two milliseconds: the short sample moved the start";
}

TEST_F(Sampling, ShortSampleStillSamplesTheOtherGroups)
{
    put(live.protocols, id(0x0800), 3, 300);
    sample(0);
    EXPECT_EQ(visible(snapshot).protocols.size(), 1U);
    EXPECT_EQ(seen.sampleNumber, 1U);
}

TEST_F(Sampling, ClockSetBackLeavesTheGroupAndCountsOnFromThere)
{
    transmit(500);
    sample(3 * Clock::second);
    transmit(500);
    sample(-Clock::second);
    EXPECT_EQ(seen.sampleNumber, 2U);
    EXPECT_EQ(seen.transmittedData, 500);

    sample();
    EXPECT_EQ(seen.transmittedData, 1000);
    EXPECT_DOUBLE_EQ(current(), 0.5);
    EXPECT_DOUBLE_EQ(average(), 1.0 / 3.0);
}

TEST_F(Sampling, SampleStartIsTheZeroPointThenTheLastSample)
{
    _SYSTEMTIME const start = snapshot.getSampleStart();
    clock.advance(1500 * Clock::millisecond);
    EXPECT_EQ(snapshot.getSampleStart().wSecond, start.wSecond);
    snapshot.nextSample(manager);
    EXPECT_EQ(snapshot.getSampleStart().wSecond, start.wSecond + 1);
    EXPECT_EQ(snapshot.getSampleStart().wMilliseconds, 500);
    clock.advance(Clock::second);
    snapshot.initSnapshot(manager);
    EXPECT_EQ(snapshot.getSampleStart().wSecond, start.wSecond + 2);
}

TEST_F(Sampling, CanStartWithASampleOfTheZeroPointItself)
{
    transmit(500);
    put(live.stations, mac(macA), 3, 300);
    put(live.ipPorts.tcpPorts, id(80), 3, 300);
    CStatSnapshot client;
    client.addOid("1");

    client.startSampling(manager);
    packedFull(client);

    CAgentStatistic const & shown = visible(client);
    EXPECT_EQ(shown.globalStatistics.sampleNumber, 1U);
    EXPECT_EQ(shown.globalStatistics.transmittedData, 0);
    EXPECT_EQ(shown.stations.getOldest()->framesTransmitted, 0U);
    EXPECT_EQ(shown.ipPorts.tcpPorts.getOldest()->framesTransmitted, 3U) << "it has no zero point";
    clock.advance(Clock::second);
    transmit(250);
    client.nextSample(manager);
    packedFull(client);
    EXPECT_DOUBLE_EQ(shown.globalStatistics.currentUtilisation.get().value, 0.25);
}

TEST_F(Sampling, WithoutALinkSpeedUtilisationIsInfiniteOrNoNumber)
{
    CStatSnapshot alone;
    alone.addOid("1.1");
    alone.initSnapshot(live);
    clock.advance(Clock::second);
    alone.nextSample(live);
    packedFull(alone);
    CGlobalStatisticsStat const & statistics = visible(alone).globalStatistics;
    EXPECT_TRUE(std::isnan(statistics.currentUtilisation.get().value));
    EXPECT_TRUE(std::isnan(statistics.averageUtilisation.get().value));
    EXPECT_TRUE(std::isnan(statistics.peakUtilisation.get().value)) << "an unordered one is stored too";

    transmit(1);
    clock.advance(Clock::second);
    alone.nextSample(live);
    packedFull(alone);
    EXPECT_TRUE(std::isinf(statistics.currentUtilisation.get().value));
    EXPECT_TRUE(std::isinf(statistics.averageUtilisation.get().value));
    EXPECT_TRUE(std::isinf(statistics.peakUtilisation.get().value));
}

TEST_F(Sampling, LinkSpeedIsThatOfTheLastZeroPoint)
{
    manager.endAnalyzing();
    Hook faster(80000);
    manager.beginAnalyzing(&faster);
    transmit(500);
    sample();
    EXPECT_DOUBLE_EQ(current(), 0.5) << "as it was when the snapshot started";

    snapshot.initSnapshot(manager);
    transmit(500);
    sample();
    EXPECT_DOUBLE_EQ(average(), 0.05);
}

TEST_F(Sampling, IdleManagerIsSampledAsItStands)
{
    transmit(500);
    manager.endAnalyzing();
    sample();
    EXPECT_EQ(seen.transmittedData, 500);
}

TEST_F(Sampling, AccuracyIsTheShareOfFramesThatWereNotLost)
{
    live.globalStatistics.transmittedFrames = 6U;
    live.globalErrors.hardwareOverflows = 1U;
    live.globalErrors.softwareOverflows = 1U;
    sample();
    EXPECT_DOUBLE_EQ(accuracy(), 75.0);

    snapshot.initSnapshot(manager);
    sample();
    EXPECT_EQ(accuracy(), 0.0) << "nothing seen since";
    live.globalErrors.hardwareOverflows = 5U;
    sample();
    EXPECT_EQ(accuracy(), 0.0) << "lost some, saw none";
    live.globalStatistics.transmittedFrames = 7U;
    live.globalErrors.hardwareOverflows = 1U;
    sample();
    EXPECT_EQ(accuracy(), 100.0) << "lost none";
}

TEST_F(Sampling, LossesAddUpIn32Bits)
{
    live.globalStatistics.transmittedFrames = 4U;
    live.globalErrors.hardwareOverflows = 0xFFFFFFFFU;
    live.globalErrors.softwareOverflows = 5U;
    sample();
    EXPECT_DOUBLE_EQ(accuracy(), 50.0) << "4 of 8";
}

TEST_F(Sampling, ErrorsAreWhatHappenedSinceTheZeroPoint)
{
    live.globalErrors.crcErrors = 0xFFFFFFFFU;
    live.globalErrors.lateCollisions = 10U;
    snapshot.initSnapshot(manager);
    live.globalErrors.crcErrors = 4U;
    live.globalErrors.lateCollisions = 12U;
    sample();
    EXPECT_EQ(visible(snapshot).globalErrors.crcErrors, 5U) << "it wrapped";
    EXPECT_EQ(visible(snapshot).globalErrors.lateCollisions, 2U);
}

TEST_F(Sampling, FrameTablesAreReducedAndTheirPercentagesLeft)
{
    CFrameTypesStat & types = live.frameTables.frameTypes;
    CFrameSizesStat & sizes = live.frameTables.frameSizes;
    types.broadcast.frames = 10U;
    types.broadcast.data = 1000LL;
    sizes.sizeOver1024.frames = 0xFFFFFFFFU;
    snapshot.initSnapshot(manager);
    types.broadcast.frames = 12U;
    types.broadcast.data = 1100LL;
    types.broadcast.percentage = 5.0;
    sizes.sizeOver1024.frames = 1U;
    sample();

    CFrameTablesStat & tables = visible(snapshot).frameTables;
    EXPECT_EQ(tables.frameTypes.broadcast.frames, 2U);
    EXPECT_EQ(tables.frameTypes.broadcast.data, 100);
    EXPECT_EQ(tables.frameTypes.broadcast.percentage.get().value, 0.0);
    EXPECT_EQ(tables.frameSizes.sizeOver1024.frames, 2U);
}

// ---- tables with a base ----

TEST_F(Sampling, RowsAreReducedByWhatTheyWereAtTheZeroPoint)
{
    CStationStat & station = put(live.stations, mac(macA), 10, 1000);
    station.framesReceived = 20U;
    station.dataReceived = 2000LL;
    put(station.tcpPorts, id(80), 10, 1000);
    put(live.protocols, id(0x0800), 10, 1000);
    put(live.macConnections, macPair(macA, macB), 10, 1000);
    put(live.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 10, 1000);
    snapshot.initSnapshot(manager);
    put(live.stations, mac(macA), 11, 1100);
    station.framesReceived = 22U;
    station.dataReceived = 2200LL;
    put(live.protocols, id(0x0800), 13, 1300);
    put(live.macConnections, macPair(macA, macB), 14, 1400);
    put(live.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 15, 1500);
    put(live.ipConnections, ipPair("10.0.0.2", "10.0.0.1"), 5, 500);
    sample();

    CAgentStatistic & tree = visible(snapshot);
    CStationStat & row = *tree.stations.getOldest();
    EXPECT_EQ(row.framesTransmitted, 1U);
    EXPECT_EQ(row.dataTransmitted, 100);
    EXPECT_EQ(row.framesReceived, 2U);
    EXPECT_EQ(row.dataReceived, 200);
    EXPECT_EQ(row.tcpPorts.getOldest()->framesTransmitted, 10U) << "nothing below a row is reduced";
    EXPECT_EQ(tree.protocols.getOldest()->framesTransmitted, 3U);
    EXPECT_EQ(tree.protocols.getOldest()->dataTransmitted, 300);
    EXPECT_EQ(tree.macConnections.getOldest()->framesTransmitted, 4U);
    EXPECT_EQ(tree.macConnections.getOldest()->dataTransmitted, 400);
    EXPECT_EQ(tree.ipConnections.getOldest()->framesTransmitted, 5U);
    EXPECT_EQ(tree.ipConnections.getOldest()->dataTransmitted, 500);
    EXPECT_EQ(tree.ipConnections.getNewest()->framesTransmitted, 5U) << "not there at the zero point";
}

TEST_F(Sampling, BaseRowWithoutFramesTakesNothingOff)
{
    put(live.protocols, id(0x0800), 0, 1000);
    CStationStat & received = put(live.stations, mac(macA), 0, 1000);
    received.framesReceived = 1U;
    snapshot.initSnapshot(manager);
    put(live.protocols, id(0x0800), 2, 1500);
    put(live.stations, mac(macA), 2, 1500);
    sample();

    EXPECT_EQ(visible(snapshot).protocols.getOldest()->dataTransmitted, 1500);
    EXPECT_EQ(visible(snapshot).stations.getOldest()->dataTransmitted, 500) << "either count will do";
}

TEST_F(Sampling, IndexThatChangedHandsIsNeverReducedAgain)
{
    put(live.protocols, id(0x0800), 10, 1000);
    snapshot.initSnapshot(manager);
    live.protocols.deleteOldest();
    put(live.protocols, id(0x0806), 3, 300);
    sample();
    EXPECT_EQ(visible(snapshot).protocols.getOldest()->framesTransmitted, 3U);

    // The first key has its index back, and the base has forgotten it.
    live.protocols.deleteOldest();
    put(live.protocols, id(0x0800), 12, 1200);
    sample();
    EXPECT_EQ(visible(snapshot).protocols.getOldest()->framesTransmitted, 12U);
    EXPECT_EQ(visible(snapshot).protocols.getOldest()->dataTransmitted, 1200);
}

TEST_F(Sampling, IndexOfAStationThatChangedHandsForgetsBothDirections)
{
    put(live.stations, mac(macA), 10, 1000).framesReceived = 5U;
    snapshot.initSnapshot(manager);
    live.stations.deleteOldest();
    put(live.stations, mac(macB), 3, 300);
    sample();
    live.stations.deleteOldest();
    put(live.stations, mac(macA), 12, 1200).framesReceived = 7U;
    sample();
    EXPECT_EQ(visible(snapshot).stations.getOldest()->framesTransmitted, 12U);
    EXPECT_EQ(visible(snapshot).stations.getOldest()->framesReceived, 7U);
}

TEST_F(Sampling, ConnectionsAreToldApartByBothAddresses)
{
    put(live.macConnections, macPair(macA, macB), 10, 1000);
    put(live.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 10, 1000);
    snapshot.initSnapshot(manager);
    live.macConnections.deleteOldest();
    live.ipConnections.deleteOldest();
    put(live.macConnections, macPair(macA, macC), 12, 1200);
    put(live.ipConnections, ipPair("10.0.0.1", "10.0.0.3"), 12, 1200);
    sample();
    EXPECT_EQ(visible(snapshot).macConnections.getOldest()->framesTransmitted, 12U);
    EXPECT_EQ(visible(snapshot).ipConnections.getOldest()->framesTransmitted, 12U);
}

// ---- tables without a base ----

TEST_F(Sampling, PortsSubprotocolsAndBindingsShowWhatTheLiveTreeHolds)
{
    test::fillEveryGroup(live);
    snapshot.initSnapshot(manager);
    sample();
    CAgentStatistic & tree = visible(snapshot);
    EXPECT_EQ(tree.ipSubprotocols.getOldest()->framesTransmitted, 3U);
    EXPECT_EQ(tree.ipPorts.tcpPorts.getOldest()->framesTransmitted, 3U);
    EXPECT_EQ(tree.arpTable.size(), 1U);
    EXPECT_EQ(tree.protocols.getOldest()->framesTransmitted, 0U);
}

TEST_F(Sampling, BindingsThatWentAreGoneFromTheNextSample)
{
    test::fillEveryGroup(live);
    sample();
    live.arpTable.deleteOldest();
    sample();
    EXPECT_EQ(visible(snapshot).arpTable.size(), 0U);
}

TEST_F(Sampling, EachClientHasItsOwnZeroPoint)
{
    put(live.protocols, id(0x0800), 10, 1000);
    CStatSnapshot later;
    later.addOid("1");
    later.initSnapshot(manager);
    put(live.protocols, id(0x0800), 13, 1300);
    sample();
    later.nextSample(manager);
    packedFull(later);
    EXPECT_EQ(visible(snapshot).protocols.getOldest()->framesTransmitted, 13U);
    EXPECT_EQ(visible(later).protocols.getOldest()->framesTransmitted, 3U);
}

// ---- filter ----

class Filtering : public Sampling
{
protected:
    void sampleFrames(unsigned int frames, unsigned int passed)
    {
        live.globalStatistics.transmittedFrames.add(frames);
        for (unsigned int i = 0; i < passed; ++i)
            snapshot.FramePassedFilter(nullptr);
        sample();
    }
    using Counts = std::array<unsigned int, 5>;
    Counts counts()
    {
        CGlobalFilterStat & filter = visible(snapshot).globalFilter;
        return {filter.filteredFrames, filter.acceptedFrames, filter.rejectedFrames,
                filter.acceptedInLastSample, filter.rejectedInLastSample};
    }
};

TEST_F(Filtering, CountsAcceptedAndRejected)
{
    sampleFrames(3, 0);
    snapshot.EnableGlobalFiltering(true);
    sampleFrames(10, 4);
    EXPECT_EQ(counts(), (Counts{10, 4, 6, 4, 6}));
    sampleFrames(5, 1);
    EXPECT_EQ(counts(), (Counts{15, 5, 10, 1, 4}));
    snapshot.EnableGlobalFiltering(true);
    sampleFrames(1, 1);
    EXPECT_EQ(counts(), (Counts{16, 6, 10, 1, 0})) << "on again is nothing";
}

TEST_F(Filtering, NothingPassedIsAllRejected)
{
    snapshot.EnableGlobalFiltering(true);
    sampleFrames(10, 0);
    EXPECT_EQ(counts(), (Counts{10, 0, 10, 0, 10}));
}

TEST_F(Filtering, OffItStaysAsItWas)
{
    sampleFrames(10, 4);
    EXPECT_EQ(counts(), Counts{});
    snapshot.EnableGlobalFiltering(true);
    sampleFrames(2, 0);
    EXPECT_EQ(counts(), (Counts{2, 4, 0xFFFFFFFE, 4, 0xFFFFFFFE}))
        << "what passed before is counted at the first sample";
    snapshot.EnableGlobalFiltering(false);
    sampleFrames(2, 1);
    EXPECT_EQ(counts(), Counts{}) << "switched off it starts over";
}

TEST_F(Filtering, GroupThatIsNotSelectedStays)
{
    snapshot.removeOid("1.3"); // its flag alone: the whole tree is selected
    snapshot.EnableGlobalFiltering(true);
    sampleFrames(10, 4);
    EXPECT_EQ(counts(), Counts{});
}

TEST_F(Filtering, NewZeroPointStartsOver)
{
    snapshot.EnableGlobalFiltering(true);
    sampleFrames(10, 4);
    snapshot.FramePassedFilter(nullptr);
    snapshot.initSnapshot(manager);
    sampleFrames(3, 1);
    EXPECT_EQ(counts(), (Counts{3, 1, 2, 1, 2}));
}

// ---- limits ----

TEST_F(Sampling, TreesOfOtherLimitsAreRefused)
{
    CTableLimits limits;
    limits.ipConnections = 5000;
    CAgentStatistic larger(limits);
    CKetrinStatManager largerManager(limits);
    CStatSnapshot standard;
    CStatSnapshot fitting(limits);
    auto const refusal = [](auto const & operation) {
        return test::raisedBy<CAgentStatistic::CException>(operation);
    };

    EXPECT_EQ(largerManager.limits(), limits);
    EXPECT_EQ(standard.limits(), CTableLimits());
    EXPECT_EQ(refusal([&] { standard.initSnapshot(larger); }).source, "TableLimits");
    EXPECT_EQ(refusal([&] { standard.nextSample(larger); }).source, "TableLimits");
    EXPECT_EQ(refusal([&] { standard.initSnapshot(largerManager); }).source, "TableLimits");
    EXPECT_EQ(refusal([&] { standard.nextSample(largerManager); }).source, "TableLimits");
    EXPECT_EQ(refusal([&] { fitting.initSnapshot(largerManager); }), test::nothingRaised);
    EXPECT_EQ(refusal([&] { fitting.nextSample(larger); }), test::nothingRaised);
    EXPECT_TRUE(largerManager.beginAnalyzing(nullptr)) << "the gate was left";
}

} // namespace
