#include "tests/snapshot/Snapshots.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <new>

using namespace KetStats;
using test::keyNumber;

// A sample leaves out what is the same as it was. What is the same, and what only looks like it?

namespace {

void seePort(CAgentStatistic & tree, unsigned int port)
{
    auto & station = *tree.stations.countedRenewed(keyNumber<CMACAddrPacked>(1));
    station.framesTransmitted.add(2);
    station.tcpPorts.counted(keyNumber<CProtocolIdPacked>(port))->framesTransmitted.add(2);
}

// The ports of all stations that a snapshot shows, as bytes.
test::Bytes shown(CStatSnapshot & snapshot)
{
    test::packedFull(snapshot);
    ktools::CMemoryBuffer buffer;
    for (CStationStat & station : test::visible(snapshot).stations)
        station.tcpPorts.packValue(buffer, false);
    return test::contents(buffer);
}

test::Bytes freshlyShown(CAgentStatistic const & tree)
{
    CStatSnapshot snapshot;
    snapshot.addOid("1.5");
    snapshot.initSnapshot(CAgentStatistic());
    snapshot.nextSample(tree);
    return shown(snapshot);
}

TEST(SampledVersion, IsNeverThatOfAnotherTreeInItsPlace)
{
    alignas(CAgentStatistic) unsigned char place[sizeof(CAgentStatistic)];
    CStatSnapshot snapshot;
    snapshot.addOid("1.5");
    snapshot.initSnapshot(CAgentStatistic());
    for (unsigned int const port : {80U, 23U, 443U}) {
        auto * const tree = new (place) CAgentStatistic;
        seePort(*tree, port);
        snapshot.nextSample(*tree);

        EXPECT_EQ(shown(snapshot), freshlyShown(*tree));
        tree->~CAgentStatistic();
    }
}

TEST(SampledVersion, IsNeverThatOfWhatATreeWasBeforeItTookAnother)
{
    CAgentStatistic copy;
    CStatSnapshot snapshot;
    snapshot.addOid("1.5");
    snapshot.initSnapshot(copy);
    for (unsigned int const port : {80U, 23U, 443U}) {
        CAgentStatistic tree;
        seePort(tree, port);
        copy.assign(tree);
        snapshot.nextSample(copy);

        EXPECT_EQ(shown(snapshot), freshlyShown(tree));
    }
}

TEST(SampledVersion, IsNotReliedOnWhereSomebodyHoldsARow)
{
    test::Live live;
    CStatSnapshot snapshot;
    snapshot.addOid("1.6");
    snapshot.addOid("1.9");
    snapshot.initSnapshot(*live);
    CProtocolStat * const protocol = live->protocols.renewed(keyNumber<CProtocolIdPacked>(8));
    CARPStat * const binding =
        live->arpTable.createIfNew(keyNumber<CIPAddress>(1), keyNumber<CMACAddrPacked>(1));
    for (unsigned int count = 1; count < 4; ++count) {
        protocol->framesTransmitted.add(1);
        binding->macAddress = keyNumber<CMACAddrPacked>(count);
        snapshot.nextSample(*live);
        test::packedFull(snapshot);

        EXPECT_EQ(test::visible(snapshot).protocols.getOldest()->framesTransmitted, count);
        EXPECT_EQ(test::visible(snapshot).arpTable.getOldest()->macAddress.get(),
                  keyNumber<CMACAddrPacked>(count));
    }
}

} // namespace
