#include "tests/snapshot/Clock.h"
#include "tests/snapshot/Snapshots.h"

#include <gtest/gtest.h>

using namespace KetStats;
using test::Bytes;
using test::bytes;
using test::id;
using test::ip;
using test::ipPair;
using test::mac;
using test::macA;
using test::macB;
using test::macPair;
using test::nothingRaised;
using test::packedChanges;
using test::packedFull;
using test::put;
using test::read;
using test::visible;
using test::operator+;

namespace {

Bytes const quiet = bytes("00 00");

// A snapshot with a live tree behind it that starts out empty.
class Transfer : public testing::Test
{
protected:
    explicit Transfer(char const * oid = "1")
    {
        snapshot.addOid(oid);
        snapshot.initSnapshot(*live);
    }

    void sample()
    {
        clock.advance(test::Clock::second);
        snapshot.nextSample(*live);
    }
    Bytes sampledFull()
    {
        sample();
        return packedFull(snapshot);
    }
    Bytes sampledChanges()
    {
        sample();
        return packedChanges(snapshot);
    }

    test::Clock clock;
    test::Live live;
    CStatSnapshot snapshot;
};

// A snapshot of one statistic, filled in what clients read and packed.
class Packed : public testing::Test
{
protected:
    void select(char const * oid)
    {
        snapshot.addOid(oid);
        snapshot.initSnapshot(*live);
    }
    // The full form of the tree as it stands, with an empty base.
    Bytes full()
    {
        snapshot.nextSample(*live);
        return packedFull(snapshot);
    }

    test::Clock clock; // stands still: the first group isn't calculated
    test::Live live;
    CStatSnapshot snapshot;
};

// ---- what travels ----

TEST_F(Packed, OneValueIsTwentyBytes)
{
    select("1.1.2");
    live->globalStatistics.transmittedData = 1000LL;
    clock.advance(test::Clock::second);

    EXPECT_EQ(full(), bytes("01 00"                   // the tree
                            "01 00"                   // "Global statistics"
                            "02 00"                   // "Global transmitted data"
                            "E8 03 00 00 00 00 00 00" // 1000, signed 64-bit
                            "00 00"                   // end of "Global statistics"
                            "00 00"                   // end of the tree
                            "00 00"));                // end of the selection
}

TEST(PackedGroup, GlobalStatistics)
{
    class Hook : public CNdisHook
    {
        long GetLinkSpeed() override { return 8000; } // 1000 bytes a second
    } hook;
    test::Clock clock;
    CKetrinStatManager manager;
    manager.beginAnalyzing(&hook);
    CStatSnapshot snapshot;
    snapshot.addOid("1.1");
    snapshot.initSnapshot(manager);
    test::Frame frame = test::plainFrame(macB, macA, 246); // 250 with its check sequence
    manager.analyzeFrame(&frame);
    clock.advance(test::Clock::second);
    snapshot.nextSample(manager);

    EXPECT_EQ(packedFull(snapshot), bytes("01 00  01 00"
                                          "01 00  01 00 00 00"             // first sample
                                          "02 00  FA 00 00 00 00 00 00 00" // 250 bytes
                                          "03 00  01 00 00 00"             // 1 frame
                                          "04 00  00 00 00 00 00 00 D0 3F" // current: 0.25
                                          "05 00  00 00 00 00 00 00 D0 3F" // average
                                          "06 00  00 00 00 00 00 00 D0 3F" // peak
                                          "00 00  00 00  00 00"));
}

TEST_F(Packed, GlobalErrors)
{
    select("1.2");
    CGlobalErrorsStat & errors = live->globalErrors;
    errors.hardwareOverflows = 1U;
    errors.crcErrors = 4U;
    errors.alignmentErrors = 5U;
    errors.singleCollisions = 6U;
    errors.multipleCollisions = 7U;
    errors.deferred = 8U;
    errors.maxCollisions = 9U;
    errors.receiveOverruns = 10U;
    errors.heartbeatFailure = 11U;
    errors.carrierLost = 12U;
    errors.lateCollisions = 0xFFFFFFFFU;
    live->globalStatistics.transmittedFrames = 1U;
    clock.advance(test::Clock::second);

    EXPECT_EQ(full(), bytes("01 00  02 00"
                            "01 00  01 00 00 00"             // hardware overflows
                            "02 00  00 00 00 00"             // software overflows
                            "03 00  00 00 00 00 00 00 49 40" // accuracy: 50.0
                            "04 00  04 00 00 00"             // CRC
                            "05 00  05 00 00 00"             // alignment
                            "06 00  06 00 00 00"             // single collisions
                            "07 00  07 00 00 00"             // multiple collisions
                            "08 00  08 00 00 00"             // deferred
                            "09 00  09 00 00 00"             // max collisions
                            "0A 00  0A 00 00 00"             // receive overruns
                            "0B 00  0B 00 00 00"             // heartbeat failure
                            "0C 00  0C 00 00 00"             // carrier lost
                            "0D 00  FF FF FF FF"             // late collisions
                            "00 00  00 00  00 00"));
}

TEST_F(Packed, GlobalFilter)
{
    select("1.3");
    snapshot.EnableGlobalFiltering(true);
    live->globalStatistics.transmittedFrames = 5U;
    snapshot.FramePassedFilter(nullptr);
    snapshot.FramePassedFilter(nullptr);
    clock.advance(test::Clock::second);

    EXPECT_EQ(full(), bytes("01 00  03 00"
                            "01 00  05 00 00 00" // filtered
                            "02 00  02 00 00 00" // accepted
                            "03 00  03 00 00 00" // rejected
                            "04 00  02 00 00 00" // accepted in last sample
                            "05 00  03 00 00 00" // rejected in last sample
                            "00 00  00 00  00 00"));
}

TEST_F(Packed, FrameTypes)
{
    select("1.4.1");
    snapshot.addOid("1.4"); // only sets the flag
    live->frameTables.frameTypes.unicast.frames = 2U;
    live->frameTables.frameTypes.unicast.data = 0x100LL;
    Bytes const nothing = bytes("02 00  00 00 00 00"             // frames
                                "03 00  00 00 00 00 00 00 00 00" // data
                                "04 00  00 00 00 00 00 00 00 00" // percentage
                                "00 00");                        // end of the row

    EXPECT_EQ(full(), bytes("01 00  04 00  01 00"
                            "01 00"
                            "01 00  09 00  42 72 6F 61 64 63 61 73 74") // "Broadcast", its length before it
                          + nothing +
                          bytes("02 00"
                                "01 00  09 00  4D 75 6C 74 69 63 61 73 74") // "Multicast"
                          + nothing +
                          bytes("03 00"
                                "01 00  07 00  55 6E 69 63 61 73 74" // "Unicast"
                                "02 00  02 00 00 00"
                                "03 00  00 01 00 00 00 00 00 00"
                                "04 00  00 00 00 00 00 00 00 00"
                                "00 00"
                                "00 00  00 00  00 00  00 00")); // types, tables, tree, selection
}

TEST_F(Packed, FrameSizes)
{
    select("1.4.2");
    snapshot.addOid("1.4");
    live->frameTables.frameSizes.sizeOver1024.frames = 1U;
    live->frameTables.frameSizes.sizeOver1024.data = 1518LL;
    auto const row = [](unsigned char rowId, std::string const & name, std::string const & counts) {
        Bytes result{rowId, 0};
        result = result + bytes("01 00") + Bytes{static_cast<unsigned char>(name.size()), 0};
        result.insert(result.end(), name.begin(), name.end());
        return result + bytes(counts) + bytes("04 00  00 00 00 00 00 00 00 00  00 00");
    };
    std::string const nothing = "02 00  00 00 00 00  03 00  00 00 00 00 00 00 00 00";

    EXPECT_EQ(full(), bytes("01 00  04 00  02 00") + row(1, "<= 64 B", nothing) +
                          row(2, "64 - 128 B", nothing) + row(3, "128 - 256 B", nothing) +
                          row(4, "256 - 512 B", nothing) + row(5, "512 - 1024 B", nothing) +
                          row(6, "> 1024 B", "02 00  01 00 00 00  03 00  EE 05 00 00 00 00 00 00") +
                          bytes("00 00  00 00  00 00  00 00"));
}

TEST_F(Packed, FrameTablesAreBothOfThem)
{
    select("1.4");
    snapshot.nextSample(*live);
    CStatSnapshot parts;
    parts.addOid("1.4.1");
    parts.addOid("1.4.2");
    EXPECT_EQ(packedFull(snapshot), packedFull(parts));
}

TEST_F(Packed, Stations)
{
    select("1.5");
    CStationStat & station = put(live->stations, mac(macA), 1, 64);
    station.framesReceived = 2U;
    station.dataReceived = 128LL;
    station.vlanId = std::string("7");
    put(station.tcpPorts, id(80), 1, 64);

    EXPECT_EQ(full(), bytes("01 00  05 00"
                            "01 00  02 00 00 00 00 0A"       // row 1: its key
                            "01 00  02 00 00 00 00 0A"       // address
                            "02 00  40 00 00 00 00 00 00 00" // data transmitted
                            "03 00  01 00 00 00"             // frames transmitted
                            "04 00  80 00 00 00 00 00 00 00" // data received
                            "05 00  02 00 00 00"             // frames received
                            "06 00  00 00 00 00 00 00 00 00" // percentage
                            "07 00"                          // TCP ports:
                            "01 00  00 00 00 00 00 50"       //   row 1, port 80
                            "01 00  00 00 00 00 00 50"
                            "02 00  40 00 00 00 00 00 00 00"
                            "03 00  01 00 00 00"
                            "04 00  00 00 00 00 00 00 00 00"
                            "05 00  00 00 00 00"
                            "00 00"            //   end of the row
                            "00 00"            // end of TCP ports
                            "08 00  00 00"     // UDP ports: none
                            "09 00  01 00  37" // VLAN ID: "7"
                            "00 00"            // end of the row
                            "00 00"            // end of the table
                            "00 00  00 00"));  // tree, selection
}

TEST_F(Packed, Protocols)
{
    select("1.6");
    put(live->protocols, id(0x0800), 3, 300);

    EXPECT_EQ(full(), bytes("01 00  06 00"
                            "01 00  00 00 00 00 08 00"       // row 1, IP
                            "01 00  00 00 00 00 08 00"       // protocol id
                            "02 00  2C 01 00 00 00 00 00 00" // data transmitted
                            "03 00  03 00 00 00"             // frames transmitted
                            "04 00  00 00 00 00"             // average frame size: not derived here
                            "05 00  00 00 00 00 00 00 00 00" // percentage: likewise
                            "00 00  00 00  00 00  00 00"));
}

TEST_F(Packed, MACTraffic)
{
    select("1.7");
    put(live->macConnections, macPair(macA, macB), 3, 300);

    EXPECT_EQ(full(), bytes("01 00  07 00"
                            "01 00  02 00 00 00 00 0A  02 00 00 00 00 0B" // row 1: source, destination
                            "01 00  02 00 00 00 00 0A"
                            "02 00  02 00 00 00 00 0B"
                            "03 00  2C 01 00 00 00 00 00 00"
                            "04 00  03 00 00 00"
                            "05 00  00 00 00 00"
                            "06 00  00 00 00 00 00 00 00 00"
                            "00 00  00 00  00 00  00 00"));
}

TEST_F(Packed, IPTraffic)
{
    select("1.8");
    put(live->ipConnections, ipPair("10.0.0.10", "192.168.1.2"), 3, 300);

    EXPECT_EQ(full(), bytes("01 00  08 00"
                            "01 00  0A 00 00 0A  C0 A8 01 02" // row 1: network order
                            "01 00  0A 00 00 0A"
                            "02 00  C0 A8 01 02"
                            "03 00  2C 01 00 00 00 00 00 00"
                            "04 00  03 00 00 00"
                            "05 00  00 00 00 00"
                            "06 00  00 00 00 00 00 00 00 00"
                            "00 00  00 00  00 00  00 00"));
}

TEST_F(Packed, ARPConnections)
{
    select("1.9");
    live->arpTable.createIfNew(ip("10.0.0.10"), mac(macA));

    EXPECT_EQ(full(), bytes("01 00  09 00"
                            "01 00  0A 00 00 0A"       // row 1: the address is the key
                            "01 00  02 00 00 00 00 0A" // MAC address
                            "02 00  0A 00 00 0A"       // IP address
                            "00 00  00 00  00 00  00 00"));
}

TEST_F(Packed, IPSubprotocols)
{
    select("1.10");
    put(live->ipSubprotocols, id(6), 3, 300);
    put(live->ipSubprotocols, id(17), 1, 100);

    EXPECT_EQ(full(), bytes("01 00  0A 00"
                            "01 00  00 00 00 00 00 06"
                            "01 00  00 00 00 00 00 06"
                            "02 00  2C 01 00 00 00 00 00 00"
                            "03 00  03 00 00 00  00 00"
                            "02 00  00 00 00 00 00 11"
                            "01 00  00 00 00 00 00 11"
                            "02 00  64 00 00 00 00 00 00 00"
                            "03 00  01 00 00 00  00 00"
                            "00 00  00 00  00 00"));
}

TEST_F(Packed, IPPorts)
{
    select("1.11");
    put(live->ipPorts.udpPorts, id(53), 3, 300);

    EXPECT_EQ(full(), bytes("01 00  0B 00"
                            "01 00  00 00" // TCP ports: none
                            "02 00"        // UDP ports:
                            "01 00  00 00 00 00 00 35"
                            "01 00  00 00 00 00 00 35"
                            "02 00  2C 01 00 00 00 00 00 00"
                            "03 00  03 00 00 00"
                            "04 00  00 00 00 00 00 00 00 00"
                            "05 00  00 00 00 00"
                            "00 00  00 00" // row, UDP ports
                            "00 00  00 00  00 00"));
}

TEST_F(Packed, SelectionsStandInTheOrderOfTheirIdentifiers)
{
    select("1.9");
    snapshot.addOid("1.1.3");
    snapshot.addOid("1.10");
    snapshot.addOid("1.1.1");

    EXPECT_EQ(full(), bytes("01 00"
                            "01 00  01 00  01 00 00 00  03 00  00 00 00 00  00 00"
                            "09 00  00 00"
                            "0A 00  00 00"
                            "00 00  00 00"));
}

// ---- changes only ----

class ProtocolChanges : public Transfer
{
protected:
    ProtocolChanges() : Transfer("1.6")
    {
        put(live->protocols, id(0x0800), 3, 300);
        put(live->protocols, id(0x0806), 1, 60);
        EXPECT_EQ(read(receiver, sampledChanges()), nothingRaised);
    }

    // What the receiver holds, as a full pack of it has it.
    Bytes received()
    {
        ktools::CMemoryBuffer buffer;
        visible(receiver).protocols.packValue(buffer, false);
        return test::contents(buffer);
    }
    Bytes seen()
    {
        ktools::CMemoryBuffer buffer;
        visible(snapshot).protocols.packValue(buffer, false);
        return test::contents(buffer);
    }

    CStatSnapshot receiver;
};

TEST_F(ProtocolChanges, NothingChangedIsTwoBytes)
{
    EXPECT_EQ(sampledChanges(), quiet);
    EXPECT_EQ(packedChanges(snapshot), quiet) << "and again, without a sample";
}

TEST_F(ProtocolChanges, NewRowBringsItsKeyAndWhatIsNotZero)
{
    put(live->protocols, id(0x86DD), 2, 160);

    Bytes const stream = sampledChanges();

    EXPECT_EQ(stream, bytes("01 00  06 00"
                            "03 00  00 00 00 00 86 DD"       // the next id, and the key
                            "02 00  A0 00 00 00 00 00 00 00" // data
                            "03 00  02 00 00 00"             // frames
                            "00 00"                          // end of the row
                            "00 00  00 00  00 00"));         // table, tree, selection
    EXPECT_EQ(read(receiver, stream), nothingRaised);
    EXPECT_EQ(received(), seen());
}

TEST_F(ProtocolChanges, ChangedRowBringsOnlyItsChangedChildren)
{
    put(live->protocols, id(0x0806), 1, 61);

    Bytes const stream = sampledChanges();

    EXPECT_EQ(stream, bytes("01 00  06 00"
                            "02 00  00 00 00 00 08 06"
                            "02 00  3D 00 00 00 00 00 00 00"
                            "00 00  00 00  00 00  00 00"));
    EXPECT_EQ(read(receiver, stream), nothingRaised);
    EXPECT_EQ(received(), seen());
}

TEST_F(ProtocolChanges, RowsBehindAChangedOneFollowInFull)
{
    put(live->protocols, id(0x86DD), 0, 0);
    EXPECT_EQ(read(receiver, sampledChanges()), nothingRaised);
    live->protocols[id(0x0806)]->framesTransmitted = 2U; // the second of three

    Bytes const stream = sampledChanges();

    EXPECT_EQ(stream, bytes("01 00  06 00"
                            "02 00  00 00 00 00 08 06"
                            "03 00  02 00 00 00  00 00"
                            "03 00  00 00 00 00 86 DD"
                            "01 00  00 00 00 00 86 DD"
                            "02 00  00 00 00 00 00 00 00 00"
                            "03 00  00 00 00 00"
                            "04 00  00 00 00 00"
                            "05 00  00 00 00 00 00 00 00 00  00 00"
                            "00 00  00 00  00 00"));
    EXPECT_EQ(read(receiver, stream), nothingRaised);
    EXPECT_EQ(received(), seen());
}

TEST_F(ProtocolChanges, NewRowWithoutCountsIsSentInFull)
{
    put(live->protocols, id(0x86DD), 0, 0);

    EXPECT_EQ(sampledChanges(), bytes("01 00  06 00"
                                      "03 00  00 00 00 00 86 DD"
                                      "01 00  00 00 00 00 86 DD"
                                      "02 00  00 00 00 00 00 00 00 00"
                                      "03 00  00 00 00 00"
                                      "04 00  00 00 00 00"
                                      "05 00  00 00 00 00 00 00 00 00  00 00"
                                      "00 00  00 00  00 00"));
}

TEST_F(ProtocolChanges, OrderAloneIsNoChange)
{
    live->protocols.renewed(id(0x0800));
    EXPECT_EQ(sampledChanges(), quiet);
}

TEST_F(ProtocolChanges, ReplacedRowGoesAtTheReceiverToo)
{
    // As when 0800, the oldest of a full table, makes room for 88CC.
    live->protocols.deleteOldest();
    put(live->protocols, id(0x88CC), 4, 400);

    Bytes const stream = sampledChanges();

    EXPECT_EQ(stream, bytes("01 00  06 00"
                            "01 00  00 00 00 00 88 CC" // the id of the row that went
                            "02 00  90 01 00 00 00 00 00 00"
                            "03 00  04 00 00 00  00 00"
                            "00 00  00 00  00 00"));
    EXPECT_EQ(read(receiver, stream), nothingRaised);
    EXPECT_EQ(received(), seen());
    EXPECT_EQ(visible(receiver).protocols.find(id(0x0800)), nullptr);
    EXPECT_EQ(visible(receiver).protocols.size(), 2U);
}

TEST_F(ProtocolChanges, MovedRowTakesItsNewIdWithItsValues)
{
    live->reset();
    put(live->protocols, id(0x0806), 1, 60); // as before, but under the id 1

    Bytes const stream = sampledChanges();

    EXPECT_EQ(stream, bytes("01 00  06 00"
                            "01 00  00 00 00 00 08 06"
                            "01 00  00 00 00 00 08 06"
                            "02 00  3C 00 00 00 00 00 00 00"
                            "03 00  01 00 00 00"
                            "04 00  00 00 00 00"
                            "05 00  00 00 00 00 00 00 00 00  00 00"
                            "00 00  00 00  00 00"));
    EXPECT_EQ(read(receiver, stream), nothingRaised);
    EXPECT_EQ(received(), seen());
    EXPECT_EQ(visible(receiver).protocols.size(), 1U);
}

TEST_F(ProtocolChanges, MovedRowThatDiffersBringsTheDifference)
{
    live->reset();
    put(live->protocols, id(0x0806), 1, 70);

    Bytes const stream = sampledChanges();

    EXPECT_EQ(stream, bytes("01 00  06 00"
                            "01 00  00 00 00 00 08 06"
                            "02 00  46 00 00 00 00 00 00 00  00 00"
                            "00 00  00 00  00 00"));
    EXPECT_EQ(read(receiver, stream), nothingRaised);
    EXPECT_EQ(visible(receiver).protocols.find(id(0x0806))->framesTransmitted.get(), 1U) << "it kept it";
    EXPECT_EQ(received(), seen());
}

TEST_F(Transfer, ChangesOfAGroupAreItsChangedChildrenOnly)
{
    CStatSnapshot tables;
    tables.addOid("1.4");
    tables.initSnapshot(*live);
    tables.nextSample(*live);
    packedFull(tables);
    live->frameTables.frameTypes.unicast.frames = 1U;
    live->frameTables.frameTypes.unicast.data = 64LL;
    tables.nextSample(*live);

    EXPECT_EQ(packedChanges(tables), bytes("01 00  04 00"
                                           "01 00"                          // types
                                           "03 00"                          // unicast
                                           "02 00  01 00 00 00"             // frames
                                           "03 00  40 00 00 00 00 00 00 00" // data
                                           "00 00"                          // end of the row
                                           "00 00  00 00  00 00  00 00"));  // types, tables, tree, selection
    EXPECT_EQ(packedChanges(tables), quiet);
}

TEST_F(Transfer, BranchesWithoutAChangeLeaveNoTrace)
{
    CStatSnapshot some;
    for (char const * const oid : {"1.1.2", "1.1.3", "1.4.1.1.2", "1.4.2.6.3", "1.4.2.6.2"})
        some.addOid(oid);
    some.addOid("1.4"); // only for its flag
    some.initSnapshot(*live);
    some.nextSample(*live);
    packedFull(some);
    live->frameTables.frameSizes.sizeOver1024.data = 1LL;
    some.nextSample(*live);

    EXPECT_EQ(packedChanges(some), bytes("01 00  04 00  02 00  06 00"
                                         "03 00  01 00 00 00 00 00 00 00"
                                         "00 00  00 00  00 00  00 00  00 00"));
    EXPECT_EQ(packedChanges(some), quiet);
}

TEST_F(Transfer, EveryIdOnTheWayIsWrittenOnce)
{
    CStatSnapshot some;
    for (char const * const oid : {"1.4.1.1.2", "1.4.1.1.3", "1.4.1.3.2", "1.4.2.6.3"})
        some.addOid(oid);
    some.addOid("1.4");
    some.initSnapshot(*live);
    packedChanges(some);
    live->frameTables.frameTypes.broadcast.frames = 1U;
    live->frameTables.frameTypes.broadcast.data = 2LL;
    live->frameTables.frameTypes.unicast.frames = 3U;
    live->frameTables.frameSizes.sizeOver1024.data = 4LL;
    some.nextSample(*live);

    EXPECT_EQ(packedChanges(some), bytes("01 00  04 00"
                                         "01 00"
                                         "01 00  02 00  01 00 00 00  03 00  02 00 00 00 00 00 00 00  00 00"
                                         "03 00  02 00  03 00 00 00  00 00"
                                         "00 00"
                                         "02 00  06 00  03 00  04 00 00 00 00 00 00 00  00 00  00 00"
                                         "00 00  00 00  00 00"));
}

TEST_F(Transfer, FullPackRaisesTheFlagsOfTablesUntilChangesAreNextPacked)
{
    CStatSnapshot protocols;
    protocols.addOid("1.6");
    protocols.initSnapshot(*live);
    put(live->protocols, id(0x0800), 3, 300);
    protocols.nextSample(*live);
    packedFull(protocols);

    EXPECT_EQ(packedChanges(protocols), bytes("01 00  06 00  00 00  00 00  00 00")) << "no row in it";
    EXPECT_EQ(packedChanges(protocols), quiet);
}

TEST_F(Transfer, FullPackTwiceIsTheSame)
{
    test::fillEveryGroup(*live);
    Bytes const first = sampledFull();
    EXPECT_EQ(packedFull(snapshot), first);
}

TEST_F(Transfer, PackAppends)
{
    sample();
    ktools::CMemoryBuffer buffer;
    buffer.Write("ab", 2);
    snapshot.pack(buffer, false);
    EXPECT_EQ(test::contents(buffer), bytes("61 62") + packedFull(snapshot));
    EXPECT_EQ(buffer.readPosition, 0);
}

TEST_F(Transfer, WithoutASelectionPackDoesNothing)
{
    CStatSnapshot unselected;
    unselected.initSnapshot(*live);
    live->globalStatistics.transmittedFrames = 5U;
    clock.advance(test::Clock::second);
    unselected.nextSample(*live);

    EXPECT_EQ(packedFull(unselected), Bytes());
    EXPECT_EQ(packedChanges(unselected), Bytes());
    EXPECT_EQ(visible(unselected).globalStatistics.transmittedFrames, 0U);
}

TEST_F(Transfer, FullPackUpdatesWhatIsNotSelectedToo)
{
    CStatSnapshot some;
    some.addOid("1.4");
    some.addOid("1.6");
    some.removeOid("1.6"); // calculated once, no longer selected
    some.addOid("1.9");
    some.initSnapshot(*live);
    test::fillEveryGroup(*live);
    clock.advance(test::Clock::second);
    some.nextSample(*live);

    packedChanges(some);
    EXPECT_EQ(visible(some).frameTables.frameTypes.unicast.frames, 3U);
    EXPECT_EQ(visible(some).globalStatistics.transmittedFrames, 0U) << "not selected";
    packedFull(some);
    EXPECT_EQ(visible(some).globalStatistics.transmittedFrames, 3U);
}

TEST_F(Transfer, FullPackAfterTheLastRemovalStillUpdates)
{
    snapshot.removeOid("1");
    live->globalStatistics.transmittedFrames = 5U;
    sample();

    EXPECT_EQ(packedFull(snapshot), Bytes());
    EXPECT_EQ(visible(snapshot).globalStatistics.transmittedFrames, 5U);
}

TEST_F(Transfer, ChangesAfterTheLastRemovalAreRefused)
{
    snapshot.removeOid("1");
    live->globalStatistics.transmittedFrames = 5U;
    sample();

    ktools::CMemoryBuffer buffer;
    EXPECT_EQ(test::raisedBySelection([&] { snapshot.pack(buffer, true); }), test::noPosition);
    EXPECT_EQ(buffer.size, 0);
    EXPECT_EQ(visible(snapshot).globalStatistics.transmittedFrames, 0U);
}

TEST_F(Transfer, ComparisonLowersFlagsThatNobodyRead)
{
    packedFull(snapshot);
    CAgentStatistic & seen = visible(snapshot);
    seen.globalStatistics.transmittedFrames.markChanged();
    packedChanges(snapshot);
    EXPECT_FALSE(seen.globalStatistics.transmittedFrames.isChanged());
}

// ---- reading ----

TEST_F(Transfer, ReceiverNeedsNoSelection)
{
    test::fillEveryGroup(*live);
    Bytes const stream = sampledFull();
    CStatSnapshot receiver;

    EXPECT_EQ(read(receiver, stream), nothingRaised);

    receiver.addOid("1");
    ktools::CMemoryBuffer sent;
    ktools::CMemoryBuffer received;
    visible(snapshot).packValue(sent, false);
    visible(receiver).packValue(received, false);
    EXPECT_EQ(test::contents(received), test::contents(sent));
}

TEST_F(Transfer, LastTwoBytesStayUnread)
{
    Bytes const stream = sampledFull();
    ktools::CMemoryBuffer buffer(stream.data(), static_cast<int>(stream.size()));
    CStatSnapshot receiver;

    receiver.unpack(buffer);
    EXPECT_EQ(buffer.size - buffer.readPosition, 2);
    receiver.unpack(buffer);
    EXPECT_EQ(buffer.size - buffer.readPosition, 0) << "read as a snapshot with nothing to tell";
    receiver.unpack(buffer);
}

TEST_F(Transfer, TwoSnapshotsInOneBufferAreRefusedAtTheSecond)
{
    Bytes const stream = sampledFull();
    Bytes const both = stream + stream;
    ktools::CMemoryBuffer buffer(both.data(), static_cast<int>(both.size()));
    CStatSnapshot receiver;

    receiver.unpack(buffer);
    EXPECT_EQ(test::raisedBy<ktools::CMemoryBuffer::CException>([&] { receiver.unpack(buffer); }),
              test::noSnapshot);
}

TEST(Unpack, NothingAndQuietBytesChangeNothing)
{
    CStatSnapshot receiver;
    test::fillEveryGroup(visible(receiver));
    receiver.resetChanged();
    ktools::CMemoryBuffer before;
    visible(receiver).packValue(before, false);

    EXPECT_EQ(read(receiver, {}), nothingRaised);
    EXPECT_EQ(read(receiver, quiet), nothingRaised);

    ktools::CMemoryBuffer after;
    visible(receiver).packValue(after, false);
    EXPECT_EQ(test::contents(after), test::contents(before));
    EXPECT_FALSE(visible(receiver).isChanged());
}

TEST(Unpack, RefusesWhatIsNoSnapshot)
{
    CStatSnapshot receiver;
    EXPECT_EQ(read(receiver, bytes("00 00 00")), test::noSnapshot);
    EXPECT_EQ(read(receiver, bytes("00 00 00 00")), test::noSnapshot);
    EXPECT_EQ(read(receiver, bytes("03 00")), test::noSnapshot);
    EXPECT_EQ(read(receiver, bytes("00 01 00 00")), test::noSnapshot);
    EXPECT_EQ(read(receiver, bytes("01")), test::bytesEnded);
    EXPECT_EQ(read(receiver, bytes("01 00")), test::bytesEnded);
    EXPECT_EQ(read(receiver, bytes("02 00")), test::bytesEnded);
}

TEST(Unpack, RefusesIdsOutOfOrderAndKeepsWhatCameBefore)
{
    CStatSnapshot receiver;
    EXPECT_EQ(read(receiver, bytes("01 00  01 00"
                                   "03 00  07 00 00 00"
                                   "02 00  01 00 00 00 00 00 00 00"
                                   "00 00  00 00  00 00")),
              test::noSuchChild);
    EXPECT_EQ(visible(receiver).globalStatistics.transmittedFrames, 7U);
    EXPECT_EQ(visible(receiver).globalStatistics.transmittedData, 0);
    EXPECT_EQ(read(receiver, bytes("01 00  04 00  00 00  01 00  00 00  00 00  00 00")), test::noSuchChild);
    EXPECT_EQ(read(receiver, bytes("01 00  0C 00  00 00")), test::noSuchChild) << "the tree has eleven";
    EXPECT_EQ(read(receiver, bytes("01 00  01 00  01 00  05 00 00 00  01 00")), test::noSuchChild)
        << "a child twice";
}

TEST(Unpack, RefusesRowIdsThatNoRowCanHave)
{
    CStatSnapshot receiver;
    Bytes const path = bytes("01 00  09 00");
    Bytes const row = bytes("0A 00 00 0A  01 00  02 00 00 00 00 0A  00 00  00 00  00 00  00 00");

    auto const refusal = read(receiver, path + bytes("C9 00") + row); // 201 of 200
    EXPECT_EQ(refusal.code, 2);
    EXPECT_EQ(refusal.source, "StatTypes");
    EXPECT_EQ(read(receiver, path + bytes("FF FF") + row).source, "StatTypes");
    EXPECT_EQ(visible(receiver).arpTable.size(), 0U) << "nothing was written for it";
    EXPECT_EQ(read(receiver, path + bytes("C8 00") + row), nothingRaised) << "the highest id there is";
    EXPECT_EQ(visible(receiver).arpTable.getOldestId(), 200U);
}

TEST(Unpack, RaisesFlagsAndLowersNone)
{
    CStatSnapshot receiver;
    receiver.resetChanged();
    CAgentStatistic & seen = visible(receiver);
    seen.globalStatistics.transmittedFrames.markChanged();

    read(receiver, bytes("01 00  01 00  02 00  00 00 00 00 00 00 00 00  00 00  00 00  00 00"));

    EXPECT_TRUE(seen.globalStatistics.transmittedData.isChanged()) << "also of an equal value";
    EXPECT_TRUE(seen.globalStatistics.transmittedFrames.isChanged());
    EXPECT_TRUE(seen.globalStatistics.isChanged());
    EXPECT_TRUE(seen.isChanged());
    EXPECT_FALSE(seen.globalStatistics.sampleNumber.isChanged());
    EXPECT_FALSE(seen.frameTables.isChanged());
}

TEST_F(Transfer, RowThatTheSenderLostStaysThroughAFullPack)
{
    put(live->protocols, id(0x0800), 3, 300);
    put(live->protocols, id(0x0806), 1, 60);
    CStatSnapshot receiver;
    read(receiver, sampledFull());

    CStatSnapshot later;
    later.addOid("1");
    live->reset();
    put(live->protocols, id(0x0800), 4, 400);
    later.initSnapshot(*test::Live());
    later.nextSample(*live);
    EXPECT_EQ(read(receiver, packedFull(later)), nothingRaised);

    auto & protocols = visible(receiver).protocols;
    ASSERT_EQ(protocols.size(), 2U);
    EXPECT_EQ(protocols.getOldest()->rowKey(), id(0x0806));
    EXPECT_EQ(protocols.find(id(0x0800))->framesTransmitted.get(), 4U);
}

// ---- traffic that the sender dropped ----

class DroppedTraffic : public Transfer
{
protected:
    DroppedTraffic() : Transfer("1.8")
    {
        put(live->ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 3, 300);
        put(live->ipConnections, ipPair("10.0.0.2", "10.0.0.1"), 5, 500);
        read(receiver, sampledChanges());
        table = &visible(receiver).ipConnections;
    }

    void replaceOldestBy(std::string const & from, unsigned int frames)
    {
        live->ipConnections.deleteOldest();
        put(live->ipConnections, ipPair(from, "10.0.0.1"), frames, frames * 100);
    }

    CStatSnapshot receiver;
    CIPConnectionStat::Container * table = nullptr;
};

TEST_F(DroppedTraffic, LeavesItsCountsWithANewSummaryRow)
{
    replaceOldestBy("10.0.0.3", 7);

    EXPECT_EQ(read(receiver, sampledChanges()), nothingRaised);

    CIPConnectionStat const * const summary = table->getSummaryStat();
    ASSERT_NE(summary, nullptr);
    EXPECT_EQ(summary->getId(), 1000);
    EXPECT_EQ(summary->rowKey(), CIPConnectionStat::CKey());
    EXPECT_EQ(summary->framesTransmitted.get(), 3U);
    EXPECT_EQ(summary->dataTransmitted.get(), 300);
    EXPECT_EQ(table->find(ipPair("10.0.0.1", "10.0.0.2")), nullptr);
    EXPECT_EQ(table->getChildById(1U)->rowKey(), ipPair("10.0.0.3", "10.0.0.1"));
    EXPECT_EQ(table->getChildById(1U)->framesTransmitted, 7U) << "nothing of the old row";
    EXPECT_EQ(table->size(), 3U);
    EXPECT_EQ(table->getOldestId(), 2U);
    EXPECT_EQ(table->getNextNewerId(2), 1000U) << "made before the new row was";
    EXPECT_EQ(table->getNewestId(), 1U);
}

TEST_F(DroppedTraffic, AddsUpInTheSummaryRowAndRaisesItsFlags)
{
    replaceOldestBy("10.0.0.3", 7);
    read(receiver, sampledChanges());
    receiver.resetChanged();
    replaceOldestBy("10.0.0.4", 9);

    EXPECT_EQ(read(receiver, sampledChanges()), nothingRaised);

    CIPConnectionStat const * const summary = table->getSummaryStat();
    ASSERT_NE(summary, nullptr);
    EXPECT_EQ(summary->framesTransmitted.get(), 3U + 5U);
    EXPECT_EQ(summary->dataTransmitted.get(), 300 + 500);
    EXPECT_TRUE(summary->isChanged());
    EXPECT_TRUE(summary->framesTransmitted.isChanged());
    EXPECT_TRUE(summary->dataTransmitted.isChanged());
    EXPECT_FALSE(summary->percentage.isChanged());
    EXPECT_FALSE(summary->source.isChanged());
    EXPECT_EQ(table->size(), 3U);
}

TEST_F(DroppedTraffic, ComingBackUnderAnotherIdFirstIsAMoveAndItsCountsGo)
{
    // The first pair is dropped for a third one, comes back in the place of the second, and the third sends
    // last: so the first one's new id is read before its old one.
    replaceOldestBy("10.0.0.3", 7);
    live->ipConnections.deleteOldest();
    put(live->ipConnections, ipPair("10.0.0.1", "10.0.0.2"), 1, 100);
    put(live->ipConnections, ipPair("10.0.0.3", "10.0.0.1"), 8, 800);

    EXPECT_EQ(read(receiver, sampledChanges()), nothingRaised);

    EXPECT_EQ(table->find(ipPair("10.0.0.1", "10.0.0.2"))->framesTransmitted.get(), 1U);
    EXPECT_EQ(table->find(ipPair("10.0.0.3", "10.0.0.1"))->framesTransmitted.get(), 8U);
    ASSERT_NE(table->getSummaryStat(), nullptr);
    EXPECT_EQ(table->getSummaryStat()->framesTransmitted.get(), 5U) << "of the second pair alone";
    EXPECT_EQ(table->size(), 3U);
}

TEST_F(DroppedTraffic, QuietBytesInstallNoHook)
{
    // A snapshot that samples by itself and was only ever sent quiet bytes keeps no summary.
    EXPECT_EQ(read(snapshot, bytes("00 00")), nothingRaised);
    replaceOldestBy("10.0.0.3", 7);
    sampledChanges();
    EXPECT_EQ(visible(snapshot).ipConnections.getSummaryStat(), nullptr);

    EXPECT_EQ(read(snapshot, bytes("01 00  00 00  00 00")), nothingRaised);
    replaceOldestBy("10.0.0.4", 7);
    sampledChanges();
    EXPECT_NE(visible(snapshot).ipConnections.getSummaryStat(), nullptr);
}

TEST_F(DroppedTraffic, OtherTablesKeepNoSummary)
{
    CStatSnapshot macs;
    macs.addOid("1.7");
    macs.initSnapshot(*live);
    put(live->macConnections, macPair(macA, macB), 3, 300);
    macs.nextSample(*live);
    read(receiver, packedChanges(macs));
    live->macConnections.deleteOldest();
    put(live->macConnections, macPair(macB, macA), 1, 100);
    macs.nextSample(*live);
    read(receiver, packedChanges(macs));

    EXPECT_EQ(visible(receiver).macConnections.getSummaryStat(), nullptr);
    EXPECT_EQ(visible(receiver).macConnections.size(), 1U);
}

TEST_F(DroppedTraffic, SummaryRowOfAFullTableStaysBesideAllOthers)
{
    for (unsigned int i = 0; i < 997; ++i)
        put(live->ipConnections, ipPair(test::host(i).ip, "10.9.9.9"), 1, 100);
    read(receiver, sampledChanges());
    ASSERT_EQ(table->size(), 999U);
    for (unsigned int i = 0; i < 500; ++i)
        put(live->ipConnections, ipPair(test::host(i).ip, "10.8.8.8"), 1, 100);

    EXPECT_EQ(read(receiver, sampledChanges()), nothingRaised);

    EXPECT_EQ(table->size(), 1000U);
    EXPECT_EQ(table->getSummaryStat()->framesTransmitted.get(), 3U + 5U + 498U);
}

} // namespace
