#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

using namespace KetStats;
using test::id;
using test::ipPair;
using test::mac;
using test::macA;
using test::macB;
using test::macPair;
using test::put;
using test::visible;

namespace {

class DerivedValues : public testing::Test
{
protected:
    void derive(unsigned int frames)
    {
        seen.globalStatistics.transmittedFrames = frames;
        snapshot.calculatePercentStats();
    }
    static double value(CValueStat<percentVal> const & stat) { return stat.get().value; }

    CStatSnapshot snapshot;
    CAgentStatistic & seen = visible(snapshot);
};

TEST_F(DerivedValues, PercentagesAreSharesOfAllFrames)
{
    seen.frameTables.frameTypes.multicast.frames = 1U;
    seen.frameTables.frameSizes.size512.frames = 2U;
    put(seen.stations, mac(macA), 1, 100).framesReceived = 2U;
    put(seen.protocols, id(0x0800), 1, 100);
    put(seen.macConnections, macPair(macA, macB), 2, 100);
    put(seen.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 3, 100);
    put(seen.ipSubprotocols, id(6), 3, 100);
    derive(8);

    EXPECT_EQ(value(seen.frameTables.frameTypes.multicast.percentage), 12.5);
    EXPECT_EQ(value(seen.frameTables.frameTypes.unicast.percentage), 0.0);
    EXPECT_EQ(value(seen.frameTables.frameSizes.size512.percentage), 25.0);
    EXPECT_EQ(value(seen.stations.getOldest()->percentage), 37.5) << "both directions";
    EXPECT_EQ(value(seen.protocols.getOldest()->percentage), 12.5);
    EXPECT_EQ(value(seen.macConnections.getOldest()->percentage), 25.0);
    EXPECT_EQ(value(seen.ipConnections.getOldest()->percentage), 37.5);
    EXPECT_EQ(seen.protocols.getOldest()->averageFrameSize, 100U);
    EXPECT_EQ(seen.macConnections.getOldest()->averageFrameSize, 50U);
    EXPECT_EQ(seen.ipConnections.getOldest()->averageFrameSize, 33U) << "cut off";
}

TEST_F(DerivedValues, StationsCountsAddIn32Bits)
{
    put(seen.stations, mac(macA), 0xFFFFFFFF, 0).framesReceived = 2U;
    derive(1);
    EXPECT_EQ(value(seen.stations.getOldest()->percentage), 100.0);
}

TEST_F(DerivedValues, OneFrameIsAHundredAndToItselfTwoHundred)
{
    put(seen.stations, mac(macA), 1, 60).framesReceived = 1U;
    put(seen.protocols, id(0x0800), 1, 60);
    derive(1);
    EXPECT_EQ(value(seen.stations.getOldest()->percentage), 200.0);
    EXPECT_EQ(value(seen.protocols.getOldest()->percentage), 100.0);
}

TEST_F(DerivedValues, ProtocolsDivideBeforeTheyMultiply)
{
    // Where the order of the two shows in the last bit.
    unsigned int frames = 1;
    while (frames < 1000 && frames / 1001.0 * 100.0 == frames * 100.0 / 1001.0)
        ++frames;
    ASSERT_LT(frames, 1000U);
    put(seen.protocols, id(0x0800), frames, 0);
    put(seen.macConnections, macPair(macA, macB), frames, 0);
    put(seen.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), frames, 0);
    derive(1001);
    EXPECT_EQ(value(seen.protocols.getOldest()->percentage), frames / 1001.0 * 100.0);
    EXPECT_EQ(value(seen.macConnections.getOldest()->percentage), frames * 100.0 / 1001.0);
    EXPECT_EQ(value(seen.ipConnections.getOldest()->percentage), frames * 100.0 / 1001.0);
}

TEST_F(DerivedValues, WithoutFramesAllIsZeroWithoutAFlag)
{
    CProtocolStat & protocol = put(seen.protocols, id(0x0800), 1, 60);
    CStationStat & station = put(seen.stations, mac(macA), 1, 60);
    CIPConnectionStat & connection = put(seen.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 1, 60);
    for (auto * const percentage : {&protocol.percentage, &station.percentage, &connection.percentage,
                                    &seen.frameTables.frameTypes.unicast.percentage})
        *percentage = 50.0;
    protocol.averageFrameSize = 60U;
    connection.averageFrameSize = 60U;
    snapshot.resetChanged();
    derive(0);

    EXPECT_EQ(value(protocol.percentage), 0.0);
    EXPECT_EQ(value(station.percentage), 0.0);
    EXPECT_EQ(value(connection.percentage), 0.0);
    EXPECT_EQ(value(seen.frameTables.frameTypes.unicast.percentage), 0.0);
    EXPECT_EQ(protocol.averageFrameSize, 0U);
    EXPECT_EQ(connection.averageFrameSize, 0U);
    EXPECT_FALSE(protocol.percentage.isChanged() || protocol.averageFrameSize.isChanged());
    EXPECT_FALSE(protocol.isChanged() || station.isChanged() || connection.isChanged());
    EXPECT_FALSE(seen.protocols.isChanged() || seen.stations.isChanged() || seen.frameTables.isChanged());
}

TEST_F(DerivedValues, FlagsRiseFromAChangedValueToItsGroup)
{
    CProtocolStat & moved = put(seen.protocols, id(0x0800), 1, 60);
    CProtocolStat & still = put(seen.protocols, id(0x0806), 0, 0);
    seen.frameTables.frameSizes.size64.frames = 1U;
    snapshot.resetChanged();
    derive(2);

    EXPECT_TRUE(moved.percentage.isChanged());
    EXPECT_TRUE(moved.averageFrameSize.isChanged());
    EXPECT_TRUE(moved.isChanged());
    EXPECT_FALSE(moved.framesTransmitted.isChanged());
    EXPECT_FALSE(still.isChanged());
    EXPECT_TRUE(seen.protocols.isChanged());
    EXPECT_TRUE(seen.frameTables.frameSizes.size64.isChanged());
    EXPECT_FALSE(seen.frameTables.frameSizes.size128.isChanged());
    EXPECT_TRUE(seen.frameTables.frameSizes.isChanged());
    EXPECT_FALSE(seen.frameTables.frameTypes.isChanged());
    EXPECT_TRUE(seen.frameTables.isChanged());
    EXPECT_FALSE(seen.stations.isChanged()) << "empty";

    snapshot.resetChanged();
    derive(2);
    EXPECT_FALSE(seen.protocols.isChanged() || seen.frameTables.isChanged()) << "nothing moved";
}

TEST_F(DerivedValues, GroupOfFrameTablesFollowsAFlagThatWasUpBefore)
{
    snapshot.resetChanged();
    seen.frameTables.frameTypes.markChanged();
    derive(0);
    EXPECT_TRUE(seen.frameTables.isChanged());
}

TEST_F(DerivedValues, AverageAloneFlagsTheRow)
{
    CMACConnectionStat & mac1 = put(seen.macConnections, macPair(macA, macB), 2, 100);
    CIPConnectionStat & ip1 = put(seen.ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 2, 100);
    derive(2);
    snapshot.resetChanged();
    mac1.dataTransmitted = 120LL;
    ip1.dataTransmitted = 120LL;
    derive(2);
    EXPECT_EQ(mac1.averageFrameSize, 60U);
    EXPECT_TRUE(mac1.isChanged() && mac1.averageFrameSize.isChanged() && seen.macConnections.isChanged());
    EXPECT_TRUE(ip1.isChanged() && ip1.averageFrameSize.isChanged() && seen.ipConnections.isChanged());
    EXPECT_FALSE(mac1.percentage.isChanged());
}

TEST_F(DerivedValues, PercentageMovesOnlyAcrossAHundredth)
{
    CProtocolStat & row = put(seen.protocols, id(0x0800), 12341, 0);
    derive(100000);
    EXPECT_DOUBLE_EQ(value(row.percentage), 12.341);
    snapshot.resetChanged();

    row.framesTransmitted = 12349U;
    derive(100000);
    EXPECT_DOUBLE_EQ(value(row.percentage), 12.341) << "cut off, it is the same";
    EXPECT_FALSE(row.percentage.isChanged() || row.isChanged() || seen.protocols.isChanged());

    row.framesTransmitted = 12351U;
    derive(100000);
    EXPECT_DOUBLE_EQ(value(row.percentage), 12.351);
    EXPECT_TRUE(row.percentage.isChanged() && row.isChanged() && seen.protocols.isChanged());
}

TEST_F(DerivedValues, LessThanAHundredthIsZero)
{
    CProtocolStat & row = put(seen.protocols, id(0x0800), 4, 0);
    snapshot.resetChanged();
    derive(100000);
    EXPECT_EQ(value(row.percentage), 0.0);
    EXPECT_FALSE(row.percentage.isChanged());
}

TEST_F(DerivedValues, AverageIsSignedAndKeepsItsLow32Bits)
{
    CProtocolStat & negative = put(seen.protocols, id(0x0800), 2, -5);
    CProtocolStat & large = put(seen.protocols, id(0x0806), 1, 0x1'0000'0007LL);
    derive(3);
    EXPECT_EQ(negative.averageFrameSize, 0xFFFFFFFEU) << "-2: towards zero";
    EXPECT_EQ(large.averageFrameSize, 7U);
}

TEST_F(DerivedValues, RowWithoutFramesHasNoAverage)
{
    CProtocolStat & row = put(seen.protocols, id(0x0800), 0, 100);
    derive(1);
    EXPECT_EQ(row.averageFrameSize, 0U);
}

TEST_F(DerivedValues, GroupsWithoutPercentagesStay)
{
    test::fillEveryGroup(seen);
    snapshot.resetChanged();
    derive(3);
    EXPECT_FALSE(seen.arpTable.isChanged());
    EXPECT_FALSE(seen.ipSubprotocols.isChanged());
    EXPECT_FALSE(seen.ipPorts.isChanged());
    EXPECT_FALSE(seen.globalStatistics.isChanged());
}

} // namespace
