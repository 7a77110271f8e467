#include "ketstats/schema/AgentStatistic.h"
#include "tests/support/Bytes.h"
#include "tests/support/Rows.h"

#include <gtest/gtest.h>

#include <string>

using namespace KetStats;

namespace {

// Tables of which one makes its oldest row the new one, and the other, whose handler would notice, gives it up and
// builds another.
struct Stations
{
    explicit Stations(bool isWatched)
    {
        if (isWatched)
            tree.stations.registerDeleteHandler([](CStationStat::Container *, unsigned int) {});
    }

    CAgentStatistic tree{limits()};

    static CTableLimits limits()
    {
        CTableLimits limits;
        limits.stations = 7;
        limits.stationTcpPorts = 30;
        limits.stationUdpPorts = 5;
        return limits;
    }
};

// Takes no row into its hands.
test::Bytes packed(CBaseStat const & node, bool onlyChanged)
{
    ktools::CMemoryBuffer buffer;
    const_cast<CBaseStat &>(node).packValue(buffer, onlyChanged);
    return test::contents(buffer);
}

void expectSame(CStationStat::Container const & one, CStationStat::Container const & other)
{
    ASSERT_EQ(packed(one, true), packed(other, true));
    ASSERT_EQ(packed(one, false), packed(other, false));
    ASSERT_EQ(one.ledger().rows, other.ledger().rows);
    ASSERT_EQ(one.ledger().bytesReceived, other.ledger().bytesReceived);
    ASSERT_EQ(one.givenUpTables().tcpPorts.rows, other.givenUpTables().tcpPorts.rows);
    ASSERT_EQ(one.givenUpTables().udpPorts.framesReceived, other.givenUpTables().udpPorts.framesReceived);
    for (CStationStat const & row : one) {
        CStationStat const * const same = other.getChildById(row.getId());
        ASSERT_TRUE(same);
        ASSERT_EQ(one.birthOf(row.getId()), other.birthOf(row.getId()));
        ASSERT_EQ(row.tcpPorts.ledger().rows, same->tcpPorts.ledger().rows);
        for (auto const & port : row.tcpPorts)
            ASSERT_EQ(row.tcpPorts.birthOf(port.getId()), same->tcpPorts.birthOf(port.getId()));
    }
}

TEST(ReusedRows, AreAsNewOnes)
{
    for (unsigned int seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE(seed);
        test::Random random(seed);
        Stations reused(false);
        Stations built(true);
        unsigned int givenUp = 0;
        for (unsigned int step = 0; step < 1500; ++step) {
            auto const address = test::keyNumber<CMACAddrPacked>(random.below(14));
            auto const port = test::keyNumber<CProtocolIdPacked>(random.below(40));
            unsigned int const what = random.below(8);
            for (Stations * const stations : {&reused, &built}) {
                CStationStat & row =
                    *stations->tree.stations.countedRenewed(CKeyBits<CMACAddrPacked>(address));
                row.framesReceived.add(1);
                row.dataReceived.add(60 + what);
                if (what < 5)
                    row.tcpPorts.counted(CKeyBits<CProtocolIdPacked>(port))->framesTransmitted.add(1);
                else
                    row.udpPorts.counted(CKeyBits<CProtocolIdPacked>(port))->framesReceived.add(1);
                if (what == 7)
                    row.vlanId = std::to_string(step % 256);
                if (what == 6)
                    row.percentage = percentVal(step);
            }
            if (random.oneIn(9)) {
                ASSERT_NO_FATAL_FAILURE(expectSame(reused.tree.stations, built.tree.stations));
            }
            givenUp = static_cast<unsigned int>(reused.tree.stations.ledger().rows);
        }
        EXPECT_GT(givenUp, 100U);
    }
}

// Its tables are those of another station, and whoever watched them didn't ask for that one.
TEST(ReusedRows, HaveNoHandlersOfTheRowsThatTheyWere)
{
    static unsigned int deleted;
    deleted = 0;
    Stations stations(false);
    auto const seen = [&](unsigned int number) -> CStationStat & {
        return *stations.tree.stations.countedRenewed(test::keyNumber<CMACAddrPacked>(number));
    };
    seen(1).udpPorts.registerDeleteHandler([](CUdpPortStat::Container *, unsigned int) { ++deleted; });
    for (unsigned int number = 2; number < 9; ++number)
        seen(number);
    ASSERT_EQ(stations.tree.stations.ledger().rows, 2U);

    for (unsigned int port = 0; port < 9; ++port)
        for (unsigned int const number : {7U, 8U})
            seen(number).udpPorts.counted(test::keyNumber<CProtocolIdPacked>(port));

    EXPECT_GT(seen(7).udpPorts.ledger().rows, 0U);
    EXPECT_EQ(deleted, 0U);
}

} // namespace
