#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

#include <set>

using namespace KetStats;
using test::bytes;
using test::Bytes;
using test::nothingRaised;
using test::packedChanges;
using test::packedFull;
using test::raisedBySelection;
using test::visible;
using test::operator+;

namespace {

using Groups = std::set<int>;

Groups const everyGroup{2, 3, 4, 5, 6, 7, 8, 9, 10, 11};

// The groups that samples of this snapshot calculate, leaving out the first one, which they always do.
Groups sampledGroups(CStatSnapshot & snapshot)
{
    test::Live live;
    snapshot.initSnapshot(*live);
    test::fillEveryGroup(*live);
    snapshot.EnableGlobalFiltering(true);
    snapshot.FramePassedFilter(nullptr);
    snapshot.nextSample(*live);
    packedFull(snapshot);

    CAgentStatistic & seen = visible(snapshot);
    Groups groups;
    auto const note = [&](int group, bool sampled) {
        if (sampled)
            groups.insert(group);
    };
    note(2, seen.globalErrors.crcErrors != 0);
    note(3, seen.globalFilter.acceptedFrames != 0);
    note(4, seen.frameTables.frameTypes.unicast.frames != 0);
    note(5, seen.stations.size() != 0);
    note(6, seen.protocols.size() != 0);
    note(7, seen.macConnections.size() != 0);
    note(8, seen.ipConnections.size() != 0);
    note(9, seen.arpTable.size() != 0);
    note(10, seen.ipSubprotocols.size() != 0);
    note(11, seen.ipPorts.tcpPorts.size() != 0);
    return groups;
}

Bytes packedTree(CBaseStat & stat)
{
    ktools::CMemoryBuffer buffer;
    stat.packValue(buffer, false);
    return test::contents(buffer);
}

// The packed form of a selection of one statistic: its path, itself, the end marks of what is above it.
Bytes alone(CStatSnapshot & snapshot, char const * oid)
{
    COid const path(oid);
    Bytes whole;
    Bytes ends;
    for (unsigned int i = 0; i < path.length(); ++i) {
        whole.push_back(static_cast<unsigned char>(path[i]));
        whole.push_back(0);
        ends = ends + bytes("00 00");
    }
    return whole + packedTree(*snapshot.getStat(path)) + ends;
}

// ---- which flags an identifier sets ----

TEST(Selection, WholeTreeSelectsEveryGroup)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1");

    EXPECT_EQ(sampledGroups(snapshot), everyGroup);
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1"));
}

TEST(Selection, GroupSetsItsOwnFlag)
{
    for (int const group : everyGroup) {
        CStatSnapshot snapshot;
        snapshot.addOid("1." + std::to_string(group));
        EXPECT_EQ(sampledGroups(snapshot), Groups{group});
    }
}

TEST(Selection, NothingSelectedSamplesNoGroup)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.1.1"); // so that a pack shows what was sampled
    EXPECT_EQ(sampledGroups(snapshot), Groups{});
}

TEST(Selection, ThreeComponentsSetNoFlag)
{
    for (char const * const oid : {"1.2.4", "1.3.2", "1.4.1", "1.4.1.3", "1.11.1"}) {
        CStatSnapshot snapshot;
        snapshot.addOid(oid);
        EXPECT_EQ(sampledGroups(snapshot), Groups{}) << oid;
        EXPECT_EQ(packedFull(snapshot), alone(snapshot, oid));
    }
}

TEST(Selection, RemovingAGroupClearsItsFlag)
{
    for (int const group : everyGroup) {
        CStatSnapshot snapshot;
        for (int const other : everyGroup)
            snapshot.addOid("1." + std::to_string(other));
        snapshot.removeOid("1." + std::to_string(group));

        Groups rest = everyGroup;
        rest.erase(group);
        EXPECT_EQ(sampledGroups(snapshot), rest);
    }
}

TEST(Selection, RemovingClearsTheFlagOfTheSecondComponentWhateverTheFirst)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4");
    snapshot.addOid("1.5");

    snapshot.removeOid("7.4");

    EXPECT_EQ(sampledGroups(snapshot), Groups{5});
    Bytes const stream = packedFull(snapshot);
    EXPECT_EQ(Bytes(stream.begin(), stream.begin() + 4), bytes("01 00 04 00")) << "it is still selected";
}

TEST(Selection, RemovingThreeComponentsClearsNoFlag)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4");
    snapshot.removeOid("1.4.1");
    EXPECT_EQ(sampledGroups(snapshot), Groups{4});
}

TEST(Selection, RemovingAnotherRootClearsNothing)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1");
    snapshot.removeOid("2");
    EXPECT_EQ(sampledGroups(snapshot), everyGroup);
}

TEST(Selection, FlagsOfGroupsBeyondTheTreeDisturbNothing)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1");
    for (char const * const oid : {"1.0", "1.12", "1.49", "1.50", "1.65535"})
        snapshot.removeOid(oid);
    EXPECT_EQ(sampledGroups(snapshot), everyGroup);
}

TEST(Selection, RemovingBeforeAnySelectionDoesNothing)
{
    CStatSnapshot snapshot;
    snapshot.removeOid("1");
    snapshot.removeOid("1.4");
    ktools::CMemoryBuffer buffer;
    EXPECT_EQ(raisedBySelection([&] { snapshot.pack(buffer, true); }), nothingRaised) << "no root was made";
    EXPECT_EQ(buffer.size, 0);

    snapshot.addOid("1.4");
    EXPECT_EQ(sampledGroups(snapshot), Groups{4});
}

// ---- the order of selecting ----

TEST(Selection, NarrowerBelowABroaderOneIsDropped)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4");
    snapshot.addOid("1.4.1");
    snapshot.addOid("1.4.2.3");
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.4"));
}

TEST(Selection, BelowABroaderOneEvenAnIdentifierThatLeadsNowhereIsDropped)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4");
    EXPECT_EQ(raisedBySelection([&] { snapshot.addOid("1.4.99"); }), nothingRaised);
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.4"));
}

TEST(Selection, BroaderAboveANarrowerOneLeavesItAndSetsTheFlag)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4.1");
    snapshot.addOid("1.4");

    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.4.1"));
    EXPECT_EQ(sampledGroups(snapshot), Groups{4});
}

TEST(Selection, WholeTreeAfterAnythingElseOnlySetsTheFlags)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.1.2");
    snapshot.addOid("1");

    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.1.2"));
    EXPECT_EQ(sampledGroups(snapshot), everyGroup);
}

TEST(Selection, TwiceIsOnce)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.1");
    snapshot.addOid("1.4");
    snapshot.addOid("1.4");
    snapshot.removeOid("1.4");

    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.1"));
    EXPECT_EQ(sampledGroups(snapshot), Groups{});
}

// ---- taking a selection back ----

TEST(Selection, ParentThatLosesItsLastChildIsSelectedWhole)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4.1");
    snapshot.addOid("1.4.2");

    snapshot.removeOid("1.4.2");
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.4.1"));
    snapshot.removeOid("1.4.1");
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.4"));
    snapshot.removeOid("1.4");
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1"));
    EXPECT_EQ(sampledGroups(snapshot), Groups{});
}

TEST(Selection, RemovingAGroupTakesWhatIsSelectedBelowIt)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.1.2");
    snapshot.addOid("1.4.1.1");
    snapshot.addOid("1.4.2");

    snapshot.removeOid("1.4");

    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.1.2"));
}

TEST(Selection, RemovingWhatIsNotSelectedLeavesTheSelection)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4.1");
    for (char const * const oid : {"1.4.2", "1.4.1.1", "1.5.1", "2.4.1"})
        snapshot.removeOid(oid);
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.4.1"));
}

TEST(Selection, RemovingTheTreeLeavesNothingToPack)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.4.1");
    snapshot.addOid("1.6");
    snapshot.removeOid("1");

    EXPECT_EQ(packedFull(snapshot), Bytes());
    ktools::CMemoryBuffer buffer;
    EXPECT_EQ(raisedBySelection([&] { snapshot.pack(buffer, true); }), test::noPosition);
    EXPECT_EQ(buffer.size, 0);
    EXPECT_EQ(sampledGroups(snapshot), Groups{});
}

// ---- identifiers that lead nowhere ----

TEST(Selection, RefusesIdentifiersThatLeadNowhere)
{
    for (char const * const oid : {"3", "0", "1.0", "1.12", "1.49", "1.4.3", "1.4.1.5", "1.1.2.1", "3.4"}) {
        CStatSnapshot snapshot;
        EXPECT_EQ(raisedBySelection([&] { snapshot.addOid(oid); }), test::noSuchStatistic) << oid;
    }
}

TEST(Selection, RefusedIdentifierSetsNoFlag)
{
    CStatSnapshot snapshot;
    EXPECT_EQ(raisedBySelection([&] { snapshot.addOid("3.4"); }), test::noSuchStatistic);
    snapshot.removeOid("3");
    snapshot.addOid("1.1.1");
    EXPECT_EQ(sampledGroups(snapshot), Groups{});
}

TEST(Selection, RefusedIdentifierStaysInTheWay)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.1.2");
    EXPECT_EQ(raisedBySelection([&] { snapshot.addOid("1.4.9"); }), test::noSuchStatistic);

    ktools::CMemoryBuffer full;
    EXPECT_EQ(raisedBySelection([&] { snapshot.pack(full, false); }), test::noPosition);
    EXPECT_EQ(test::contents(full), bytes("01 00  01 00  02 00  00 00 00 00 00 00 00 00  00 00"))
        << "what was written before stays";
    ktools::CMemoryBuffer changes;
    EXPECT_EQ(raisedBySelection([&] { snapshot.pack(changes, true); }), test::noPosition);
    EXPECT_EQ(changes.size, 0) << "the comparison comes before any byte";

    snapshot.removeOid("1.4.9");
    EXPECT_NE(packedFull(snapshot), Bytes());
    snapshot.removeOid("1.4");
    EXPECT_EQ(packedFull(snapshot), alone(snapshot, "1.1.2"));
}

TEST(Selection, RefusesRowsOfTables)
{
    CStatSnapshot snapshot;
    test::fillEveryGroup(visible(snapshot));
    ASSERT_NE(snapshot.getStat("1.5.1"), nullptr);
    EXPECT_EQ(raisedBySelection([&] { snapshot.addOid("1.5.1"); }), test::noSuchStatistic);
}

// ---- what clients read ----

TEST(SnapshotAccess, FindsStatisticsByIdentifier)
{
    CStatSnapshot snapshot;
    CAgentStatistic & seen = visible(snapshot);
    test::fillEveryGroup(seen);

    EXPECT_EQ(snapshot.getStat("1.1.2"), &seen.globalStatistics.transmittedData);
    EXPECT_EQ(snapshot.getStat("1.5.1"), seen.stations.getChildById(1U));
    CStatSnapshot const & constant = snapshot;
    EXPECT_EQ(constant.getStat("1.5.1.3"), &seen.stations.getChildById(1U)->framesTransmitted);
    for (char const * const oid : {"1.0", "1.12", "1.1.7", "1.1.2.1", "1.5.2", "1.5.0"})
        EXPECT_EQ(snapshot.getStat(oid), nullptr) << oid;
}

TEST(SnapshotAccess, TellsTheFlagOfTheStatisticItself)
{
    CStatSnapshot snapshot;
    snapshot.resetChanged();
    visible(snapshot).globalStatistics.sampleNumber.add(1);

    bool changed = false;
    EXPECT_NE(snapshot.getStat("1.1.1", changed), nullptr);
    EXPECT_TRUE(changed);
    snapshot.checkChanged();
    EXPECT_NE(snapshot.getStat("1.1", changed), nullptr);
    EXPECT_FALSE(changed) << "the group's own flag is down";
    changed = true;
    EXPECT_EQ(snapshot.getStat("1.1.9", changed), nullptr);
    EXPECT_TRUE(changed) << "left alone";
}

TEST(SnapshotAccess, ResetZeroesOnlyWhatClientsRead)
{
    test::Clock clock;
    test::Live live;
    CStatSnapshot snapshot;
    snapshot.addOid("1");
    snapshot.initSnapshot(*live);
    test::fillEveryGroup(*live);
    clock.advance(test::Clock::second);
    snapshot.nextSample(*live);
    Bytes const before = packedFull(snapshot);

    snapshot.reset();
    EXPECT_EQ(visible(snapshot).globalStatistics.transmittedFrames, 0U);
    EXPECT_EQ(visible(snapshot).stations.size(), 0U);
    EXPECT_EQ(packedFull(snapshot), before) << "the sample is still there";

    snapshot.reset();
    live->globalStatistics.transmittedFrames = 10U;
    clock.advance(test::Clock::second);
    snapshot.nextSample(*live);
    packedFull(snapshot);
    EXPECT_EQ(visible(snapshot).globalStatistics.transmittedFrames, 10U) << "and so is the base";
}

TEST(SnapshotAccess, NewZeroPointKeepsSelectionAndValues)
{
    test::Clock clock;
    test::Live live;
    CStatSnapshot snapshot;
    snapshot.addOid("1");
    snapshot.initSnapshot(*live);
    test::fillEveryGroup(*live);
    clock.advance(test::Clock::second);
    snapshot.nextSample(*live);
    packedFull(snapshot);

    snapshot.initSnapshot(*live);

    CAgentStatistic & seen = visible(snapshot);
    EXPECT_EQ(seen.globalStatistics.sampleNumber, 1U) << "what clients read stays until a pack";
    packedFull(snapshot);
    EXPECT_EQ(seen.globalStatistics.sampleNumber, 0U);
    EXPECT_EQ(seen.globalStatistics.transmittedFrames, 3U);
    EXPECT_EQ(seen.stations.getChildById(1U)->framesTransmitted, 3U);
    clock.advance(test::Clock::second);
    snapshot.nextSample(*live);
    packedFull(snapshot);
    EXPECT_EQ(seen.globalStatistics.transmittedFrames, 0U);
    EXPECT_EQ(seen.stations.getChildById(1U)->framesTransmitted, 0U) << "it is still selected";
}

TEST(SnapshotAccess, SelectingAndCountingAreTwoDecisions)
{
    CKetrinStatManager manager;
    manager.beginAnalyzing(nullptr);
    CStatSnapshot snapshot;
    snapshot.addOid("1.6");
    snapshot.initSnapshot(manager);
    EXPECT_FALSE(manager.statisticEnabled("1.6")) << "the selection doesn't turn it on";

    test::Frame frame(test::ethernet(test::macB, test::macA, 0x88B5));
    manager.analyzeFrame(&frame);
    snapshot.nextSample(manager);
    EXPECT_EQ(packedFull(snapshot), bytes("01 00  06 00  00 00  00 00  00 00"));

    manager.enableStatistic("1.6");
    manager.analyzeFrame(&frame);
    snapshot.nextSample(manager);
    packedFull(snapshot);
    EXPECT_EQ(visible(snapshot).protocols.size(), 1U);
}

} // namespace
