#include "host/live/Groups.h"
#include "host/render/SampleFacts.h"

#include "tests/support/Frames.h"

#include <gtest/gtest.h>

using namespace ketmon;
using namespace test;

namespace {

constexpr long long zero = 130000000000000000;
constexpr long long aSecond = 10000000;

// A tree that counted some frames, and what is known beside it.
class Sample
{
public:
    explicit Sample(std::vector<std::string> const & groups = {})
    {
        enableGroups(m_manager, groups);
        m_manager.beginAnalyzing(nullptr);
        facts.zero = zero;
        facts.time = zero + 2 * aSecond;
        facts.counted = countedGroups(m_manager);
    }

    Sample & count(Bytes const & bytes)
    {
        Frame frame(bytes);
        m_manager.analyzeFrame(&frame);
        return *this;
    }

    KetStats::CAgentStatistic & tree() { return m_manager.getAgentStatistic(); }
    CFigures figures(CFigures const * before = nullptr) { return figuresOf(tree(), facts, before); }
    CTableFigures table(std::string const & key) { return *figures().table(key); }

    CSampleFacts facts;

private:
    KetStats::CKetrinStatManager m_manager;
};

TEST(SampleFigures, TablesStandInTheOrderOfTheTreeWithItsNames)
{
    Sample sample;
    std::string keys;
    for (CTableFigures const & table : sample.figures().tables)
        keys += table.key + ' ' + table.oid + ' ' + table.name + '\n';

    EXPECT_EQ(keys, "frame_types 1.4.1 Frame types\n"
                    "frame_sizes 1.4.2 Frame sizes\n"
                    "stations 1.5 Network stations\n"
                    "protocols 1.6 Network protocols\n"
                    "mac_traffic 1.7 MAC traffic\n"
                    "ip_traffic 1.8 IP traffic\n"
                    "arp 1.9 ARP connections\n"
                    "ip_protocols 1.10 IP subprotocols\n"
                    "tcp_ports 1.11.1 TCP ports\n"
                    "udp_ports 1.11.2 UDP ports\n"
                    "ipv6_traffic 2.1 IPv6 traffic\n"
                    "ipv6_protocols 2.2 IPv6 protocols\n"
                    "ipv6_tcp_ports 2.3.1 TCP ports\n"
                    "ipv6_udp_ports 2.3.2 UDP ports\n"
                    "vlans 2.4.1 Outer VLANs\n"
                    "inner_vlans 2.4.2 Inner VLANs\n"
                    "neighbours 2.5 IPv6 neighbours\n"
                    "tunnels 2.7 Tunnels\n");
}

TEST(SampleFigures, RowsHaveTheirKeysAndCounts)
{
    Sample sample;
    sample.count(tcpFrame(hostA, hostB, 1025, 80)).count(arpReply(hostB, hostA));

    CRowFigures const pair = sample.table("ip_traffic").rows.at(0);
    EXPECT_EQ(pair.oid, "1.8.1");
    EXPECT_EQ(pair.source, "10.0.0.10");
    EXPECT_EQ(pair.destination, "10.0.0.11");
    EXPECT_EQ(pair.frames, 1U);
    EXPECT_EQ(pair.share, 0.5);
    EXPECT_FALSE(pair.others);

    CTableFigures const stations = sample.table("stations");
    ASSERT_EQ(stations.rows.size(), 2U);
    CRowFigures const & station =
        stations.rows.at(0).address == "02:00:00:00:00:0b" ? stations.rows.at(0) : stations.rows.at(1);
    EXPECT_EQ(station.framesSent, 1U);
    EXPECT_EQ(station.framesReceived, 1U);
    EXPECT_EQ(station.frames, std::nullopt) << "it counts both ways";
    EXPECT_EQ(station.share, 1.0);
    EXPECT_EQ(station.vlan, std::nullopt);
    ASSERT_EQ(station.tcpPorts.size(), 1U);
    EXPECT_EQ(station.tcpPorts.at(0).code, 80U);
    EXPECT_EQ(station.tcpPorts.at(0).framesReceived, 1U);

    EXPECT_EQ(sample.table("arp").rows.at(0).address, "10.0.0.11");
    EXPECT_EQ(sample.table("arp").rows.at(0).macAddress, "02:00:00:00:00:0b");
    EXPECT_EQ(sample.table("protocols").rows.at(1).code, 0x806U);
    EXPECT_EQ(sample.table("ip_protocols").rows.at(0).code, 6U);
    EXPECT_EQ(sample.table("frame_types").rows.at(2).type, "unicast");
    EXPECT_EQ(sample.table("frame_types").rows.at(2).frames, 2U);
    EXPECT_EQ(sample.table("frame_sizes").rows.at(5).leastBytes, 1025U);
    EXPECT_EQ(sample.table("frame_sizes").rows.at(5).mostBytes, std::nullopt);
}

TEST(SampleFigures, AGroupThatIsOffIsNotZero)
{
    Sample sample({"1.5"});
    sample.count(tcpFrame(hostA, hostB, 1025, 80));

    for (char const * const off : {"frame_types", "frame_sizes", "protocols", "ip_traffic", "ip_protocols",
                                   "tcp_ports", "udp_ports"}) {
        EXPECT_FALSE(sample.table(off).counted) << off;
        EXPECT_TRUE(sample.table(off).rows.empty()) << off;
        EXPECT_EQ(sample.table(off).givenUp, std::nullopt) << off;
    }
    for (char const * const on : {"stations", "mac_traffic", "arp"})
        EXPECT_TRUE(sample.table(on).counted) << on;
    EXPECT_FALSE(sample.table("stations").portsCounted) << "that takes the IP traffic";
    EXPECT_EQ(sample.figures().frames, 1U) << "these are always counted";
}

TEST(SampleFigures, ErrorsAreKnownWhereTheAdapterTellsThem)
{
    Sample sample;
    sample.count(arpRequest(hostA, hostB));
    for (CErrorFigure const & error : sample.figures().errors)
        EXPECT_EQ(error.count, std::nullopt) << error.key;
    EXPECT_EQ(sample.figures().accuracy, std::nullopt);

    sample.facts.told[sample.tree().globalErrors.crcErrors.getId()] = true;
    sample.tree().globalErrors.softwareOverflows = 3U;
    for (CErrorFigure const & error : sample.figures().errors)
        EXPECT_EQ(error.count, error.key == "crc_errors" ? CCount(0) : CCount()) << error.key;
    EXPECT_EQ(sample.figures().accuracy, std::nullopt) << "nobody told of losses";

    sample.facts.told.set();
    EXPECT_EQ(sample.figures().accuracy, 0.25);
    sample.facts.counted[2] = false;
    EXPECT_EQ(sample.figures().errors.at(0).count, std::nullopt);
    EXPECT_EQ(sample.figures().accuracy, std::nullopt);
}

TEST(SampleFigures, UtilisationNeedsTheSpeedOfTheLink)
{
    Sample sample;
    sample.count(arpRequest(hostA, hostB));
    sample.tree().globalStatistics.currentUtilisation = 0.5;
    sample.tree().globalStatistics.peakUtilisation = 0.75;
    sample.tree().globalStatistics.sampleNumber = 2U;
    sample.facts.intervalSeconds = 1.0;
    EXPECT_EQ(sample.figures().utilisationCurrent, std::nullopt);
    EXPECT_EQ(sample.figures().utilisationAverage, std::nullopt);
    EXPECT_EQ(sample.figures().utilisationPeak, std::nullopt);

    sample.facts.source.linkBitsPerSecond = 1000;
    EXPECT_EQ(sample.figures().utilisationCurrent, 0.5);
    EXPECT_EQ(sample.figures().utilisationPeak, 0.75);
    double const bits = static_cast<double>(*sample.figures().bytes) * 8.0;
    EXPECT_DOUBLE_EQ(*sample.figures().utilisationAverage, bits / 2.0 / 1000.0);

    sample.tree().globalStatistics.sampleNumber = 1U;
    sample.facts.intervalSeconds = {};
    EXPECT_EQ(sample.figures().utilisationCurrent, std::nullopt) << "there was no sample before";
    EXPECT_EQ(sample.figures().utilisationPeak, std::nullopt);
    sample.facts.source.linkBitsPerSecond = 0;
    EXPECT_EQ(sample.figures().source.linkBitsPerSecond, std::nullopt);
}

TEST(SampleFigures, APartOfNothingIsNotKnown)
{
    Sample sample;
    CFigures const figures = sample.figures();

    EXPECT_EQ(figures.table("frame_types")->rows.at(0).frames, 0U) << "counted, and there was none";
    EXPECT_EQ(figures.table("frame_types")->rows.at(0).share, std::nullopt);
    EXPECT_EQ(figures.table("frame_types")->rows.at(0).averageFrameBytes, std::nullopt);
    sample.facts.told.set();
    EXPECT_EQ(sample.figures().accuracy, std::nullopt);
}

TEST(SampleFigures, TheFilterIsKnownWhereThereIsOne)
{
    Sample sample;
    EXPECT_EQ(sample.figures().filtered, std::nullopt);

    sample.facts.filterGiven = true;
    EXPECT_EQ(sample.figures().filtered, 0U);
    EXPECT_EQ(sample.figures().rejected, 0U);
    sample.facts.counted[3] = false;
    EXPECT_EQ(sample.figures().accepted, std::nullopt);
}

TEST(SampleFigures, AveragesNeedTime)
{
    Sample sample;
    sample.count(arpRequest(hostA, hostB));
    EXPECT_EQ(sample.figures().durationSeconds(), 2.0);
    EXPECT_EQ(sample.figures().averages().framesPerSecond, 0.5);

    sample.facts.time = zero;
    EXPECT_EQ(sample.figures().durationSeconds(), std::nullopt);
    EXPECT_EQ(sample.figures().averages().bitsPerSecond, std::nullopt);
    sample.facts.time = {};
    EXPECT_EQ(sample.figures().durationSeconds(), std::nullopt);
}

TEST(SampleFigures, RatesNeedASampleBefore)
{
    Sample sample;
    sample.count(tcpFrame(hostA, hostB, 1025, 80));
    sample.facts.intervalSeconds = 0.5;
    CFigures const first = sample.figures();
    EXPECT_EQ(first.rates.framesPerSecond, std::nullopt);
    EXPECT_EQ(first.table("ip_traffic")->rows.at(0).rate.framesPerSecond, std::nullopt);

    sample.count(tcpFrame(hostA, hostB, 1025, 80)).count(tcpFrame(hostB, hostA, 80, 1025));
    CFigures const second = sample.figures(&first);
    EXPECT_EQ(second.rates.framesPerSecond, 4.0);
    EXPECT_EQ(second.table("ip_traffic")->rows.at(0).rate.framesPerSecond, 2.0);
    EXPECT_EQ(second.table("ip_traffic")->rows.at(1).rate.framesPerSecond, 2.0) << "a new row";
    CRowFigures const & port = second.table("tcp_ports")->rows.at(0);
    EXPECT_EQ(port.rateReceived.framesPerSecond, 2.0);
    EXPECT_EQ(port.rateSent.framesPerSecond, 2.0);
    EXPECT_EQ(second.table("stations")->rows.at(0).tcpPorts.at(0).rateSent.framesPerSecond.has_value(), true);

    sample.facts.intervalSeconds = 0.0;
    EXPECT_EQ(sample.figures(&second).rates.framesPerSecond, std::nullopt);
    sample.facts.intervalSeconds = {};
    EXPECT_EQ(sample.figures(&second).rates.framesPerSecond, std::nullopt);
}

TEST(SampleFigures, ACountThatWentBackGivesNoRate)
{
    Sample sample;
    sample.count(tcpFrame(hostA, hostB, 1025, 80)).count(tcpFrame(hostA, hostB, 1025, 80));
    CFigures const before = sample.figures();
    sample.tree().ipConnections.reset();
    sample.count(tcpFrame(hostA, hostB, 1025, 80));
    sample.facts.intervalSeconds = 1.0;

    EXPECT_EQ(sample.figures(&before).table("ip_traffic")->rows.at(0).rate.framesPerSecond, std::nullopt);
}

TEST(SampleFigures, AFrameToItselfIsOneFrameOfTheWhole)
{
    Sample sample;
    sample.count(tcpFrame(hostA, hostA, 1, 2)).count(arpRequest(hostB, hostA));

    CRowFigures const station = sample.table("stations").rows.at(0);
    EXPECT_EQ(station.framesSent, 1U);
    EXPECT_EQ(station.framesReceived, 1U);
    EXPECT_EQ(station.share, 0.5);
}

TEST(SampleFigures, TheRowOfTheOthersIsMarkedAndAPairOfThoseAddressesIsNot)
{
    Sample sample;
    KetStats::CIPConnectionStat::CKey const nobody(ip("0.0.0.0"), ip("0.0.0.0"));
    sample.count(ipFrame({macA, "0.0.0.0"}, {macB, "0.0.0.0"}, 6));
    EXPECT_FALSE(sample.table("ip_traffic").rows.at(0).others);

    Sample folded;
    folded.tree().ipConnections.createSummaryStat(nobody)->framesTransmitted = 5U;
    EXPECT_TRUE(folded.table("ip_traffic").rows.at(0).others);
    EXPECT_EQ(folded.table("ip_traffic").rows.at(0).source, "0.0.0.0");
}

TEST(SampleFigures, TellsWhatTablesGaveUp)
{
    Sample sample;
    EXPECT_EQ(sample.table("ip_traffic").givenUp, std::nullopt) << "nobody told";

    KetStats::CLedgers gone;
    gone.ipConnections = {3, 7, 700, 0, 0};
    gone.stations = {2, 5, 500, 6, 600};
    gone.arpTable = {1, 0, 0, 0, 0};
    gone.stationUdpPorts = {4, 1, 10, 2, 20};
    sample.facts.givenUp = gone;

    CGivenUp const pairs = *sample.table("ip_traffic").givenUp;
    EXPECT_EQ(pairs.rows, 3U);
    EXPECT_EQ(pairs.frames, 7U);
    EXPECT_EQ(pairs.bytes, 700U);
    EXPECT_EQ(pairs.framesSent, std::nullopt);
    CGivenUp const stations = *sample.table("stations").givenUp;
    EXPECT_EQ(stations.frames, 11U);
    EXPECT_EQ(stations.bytesReceived, 600U);
    EXPECT_EQ(sample.table("arp").givenUp->rows, 1U);
    EXPECT_EQ(sample.table("arp").givenUp->frames, std::nullopt);
    EXPECT_EQ(sample.table("stations").udpPortsGivenUp->bytes, 30U);
    EXPECT_EQ(sample.table("stations").tcpPortsGivenUp->rows, 0U);
    EXPECT_EQ(sample.table("frame_types").givenUp, std::nullopt) << "its rows are fixed";
}

TEST(SampleFigures, WhatHasNoZeroPointOfItsOwnSaysSinceWhenItCounts)
{
    Sample sample;
    sample.count(tcpFrame(hostA, hostB, 1, 2));
    EXPECT_EQ(sample.table("tcp_ports").zero, zero);
    EXPECT_EQ(sample.table("ip_protocols").rows.at(0).share, 1.0);

    sample.facts.epoch = zero - aSecond;
    for (char const * const kept : {"arp", "ip_protocols", "tcp_ports", "udp_ports"})
        EXPECT_EQ(sample.table(kept).zero, zero - aSecond) << kept;
    for (char const * const own : {"frame_types", "stations", "protocols", "ip_traffic"})
        EXPECT_EQ(sample.table(own).zero, zero) << own;
    EXPECT_EQ(sample.table("stations").portsZero, zero - aSecond);
    EXPECT_EQ(sample.table("ip_protocols").rows.at(0).share, std::nullopt) << "of another whole";
}

TEST(SampleFigures, AVlanThatAPeerMadeUpIsNone)
{
    Sample sample;
    sample.count(arpRequest(hostA, hostB));
    KetStats::CStationStat & row = *sample.tree().stations[mac(macA)];
    for (char const * const text : {"x", "", "-1", "4096", "99999999999999999999", "1 "}) {
        row.vlanId = std::string(text);
        EXPECT_EQ(sample.table("stations").rows.at(0).vlan, std::nullopt) << text;
    }
    row.vlanId = std::string("42");
    EXPECT_EQ(sample.table("stations").rows.at(0).vlan, 42U);
}

TEST(GroupsThatCounted, AreThoseThatShowAnything)
{
    Sample nothing;
    EXPECT_EQ(groupsThatCounted(nothing.tree()).to_string(), "000000000000001000000010") << "1.1 and 1.9";

    Sample some;
    some.count(tcpFrame(hostA, hostB, 1, 2));
    EXPECT_EQ(groupsThatCounted(some.tree()).to_string(), "000000000000111111110010");
}

} // namespace
