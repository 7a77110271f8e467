#include "host/render/ReportText.h"

#include "tests/host/render/ReportFigures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test;
using ketmon::CFigures;
using testing::HasSubstr;
using testing::Not;

namespace {

std::string notable(CFigures const & all)
{
    ketmon::CReportStyle style;
    style.width = 160;
    return part(reportText(all, style, ketmon::CNames()), "Notable");
}

CFigures arpStorm()
{
    ketmon::CRowFigures broadcasts = protocol(0, 900, 57600);
    broadcasts.code = {};
    broadcasts.type = "broadcast";
    return figures(1000, 64000,
                   {table("frame_types", {broadcasts}), table("protocols", {protocol(0x0806, 950, 60800)}),
                    table("stations", {station("00:00:00:00:00:0a", bothWays(910, 58240, 0, 0)),
                                       station("00:00:00:00:00:0b", bothWays(90, 5760, 100, 6400))}),
                    table("mac_traffic", {pair("00:00:00:00:00:0a", "00:00:00:00:00:0b", 60, 3840)})});
}

TEST(Notable, AnArpStormIsToldWithItsSender)
{
    std::string const told = notable(arpStorm());

    EXPECT_THAT(told, HasSubstr("95.0 % of the frames are ARP: 950."));
    EXPECT_THAT(told,
                HasSubstr("90.0 % of the frames are broadcasts and 0 % multicasts; 00:00:00:00:00:0a alone "
                          "sent 850 of these 900."));
}

TEST(Notable, TheSenderIsNotToldOfWhereRowsThatTellItWereGivenUp)
{
    CFigures all = arpStorm();
    all.tables[3].givenUp = ketmon::CGivenUp{1, 1, 64, {}, {}, {}, {}};

    EXPECT_THAT(notable(all), HasSubstr("90.0 % of the frames are broadcasts and 0 % multicasts."));
}

TEST(Notable, AStationOfManyAddressesIsTold)
{
    ketmon::CTableFigures bindings = table("arp", {});
    for (int i = 1; i <= 4; ++i)
        bindings.rows.push_back(binding("10.0.0." + std::to_string(i), "00:00:00:00:00:0a"));
    EXPECT_THAT(notable(figures(10, 640, {bindings})), Not(HasSubstr("ARP")));

    bindings.rows.push_back(binding("10.0.0.5", "00:00:00:00:00:0a"));
    EXPECT_THAT(notable(figures(10, 640, {bindings})),
                HasSubstr("00:00:00:00:00:0a used 5 IPv4 addresses in ARP."));
}

ketmon::CTableFigures scan(int targets)
{
    ketmon::CTableFigures pairs =
        table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 10, 1000), pair("10.0.0.2", "10.0.0.1", 10, 1000)});
    for (int i = 1; i <= targets; ++i)
        pairs.rows.push_back(pair("10.9.9.9", "10.1.0." + std::to_string(i), 1, 58));
    return pairs;
}

TEST(Notable, AScanIsToldByWhoNeverAnswered)
{
    std::string const told = notable(figures(80, 5480, {scan(60)}));

    EXPECT_THAT(told, HasSubstr("10.9.9.9 sent to 60 addresses, and 60 of them never answered."));
    EXPECT_THAT(told, HasSubstr("60 of 61 pairs of addresses exchanged a single frame."));
    EXPECT_THAT(notable(figures(39, 3102, {scan(19)})), Not(HasSubstr("never answered"))) << "too few";
}

TEST(Notable, AnAnswerThatMayHaveBeenGivenUpIsNotMissed)
{
    ketmon::CTableFigures gaveUp = scan(60);
    gaveUp.givenUp = ketmon::CGivenUp{1, 1, 58, {}, {}, {}, {}};
    ketmon::CTableFigures folded = scan(60);
    folded.rows.push_back(others(5, 500));

    EXPECT_THAT(notable(figures(80, 5480, {gaveUp})), Not(HasSubstr("never answered")));
    EXPECT_THAT(notable(figures(80, 5480, {folded})), Not(HasSubstr("never answered")));
}

TEST(Notable, ACaptureOfOneDirectionIsNoScan)
{
    ketmon::CTableFigures pairs = scan(60);
    pairs.rows.erase(pairs.rows.begin() + 1);

    std::string const told = notable(figures(70, 4480, {pairs}));

    EXPECT_THAT(told, HasSubstr("No pair of addresses was seen in both directions"));
    EXPECT_THAT(told, Not(HasSubstr("never answered")));
}

TEST(Notable, FramesThatStandOutAreTold)
{
    CFigures all = figures(1000, 1000000);
    all.odd = {691, 200, 238, 37, 5862};

    std::string const told = notable(all);

    EXPECT_THAT(
        told, HasSubstr("238 frames (23.8 %) are longer than Ethernet's usual 1,518 bytes, the longest with "
                        "5,862."));
    EXPECT_THAT(told, HasSubstr("691 frames (69.1 %) are captured in part"));
    EXPECT_THAT(told, HasSubstr("200 frames (20.0 %) are fragments of IPv4 packets"));
    EXPECT_THAT(told, HasSubstr("37 frames (3.7 %) are shorter than an Ethernet header"));
    EXPECT_THAT(told, Not(HasSubstr("low 16 bits")));

    all.odd = {0, 0, 0, 0, 1518};
    EXPECT_EQ(notable(all), "");
}

TEST(Notable, LongFramesAreKnownByTheirAverageWhereNobodyCountedThem)
{
    CFigures const all = figures(10, 20000, {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 10, 20000)})});

    EXPECT_THAT(notable(all),
                HasSubstr("Frames are longer than Ethernet's usual 1,518 bytes: those from 10.0.0.1 to "
                          "10.0.0.2 have 2,000 on average."));
}

TEST(Notable, LengthsThatWereNotCountedInFullAreTold)
{
    CFigures all = figures(10, 20000);
    all.odd.longest = 65540;

    EXPECT_THAT(notable(all), HasSubstr("Of lengths above 65,535 bytes only the low 16 bits are counted"));
}

TEST(Notable, TheBusiestPairIsToldIfItMatters)
{
    auto const of = [](std::uint64_t bytes) {
        return figures(100, bytes,
                       {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 10, 1000),
                                             pair("10.0.0.2", "10.0.0.1", 10, 500)})});
    };

    EXPECT_THAT(notable(of(10000)), HasSubstr("The busiest pair of IPv4 addresses is 10.0.0.1 and 10.0.0.2: "
                                              "1,500 bytes in 20 frames, 15.0 % of all bytes."));
    EXPECT_EQ(notable(of(100000)), "");
}

TEST(Notable, TrafficThatHasNoTableIsTold)
{
    EXPECT_THAT(notable(figures(100, 10000, {table("protocols", {protocol(0x86DD, 40, 4000)})})),
                HasSubstr("40.0 % of the frames are IPv6: IP conversations and ports are of IPv4 alone."));
    auto const with = [](ketmon::CTableFigures const & counted) {
        return figures(100, 10000, {table("protocols", {protocol(0x86DD, 40, 4000)}), counted});
    };
    EXPECT_THAT(notable(with(table("ipv6_traffic", {}))), HasSubstr("are IPv6: ports are of IPv4 alone."));
    EXPECT_THAT(notable(with(table("ipv6_tcp_ports", {}))),
                HasSubstr("are IPv6: IP conversations are of IPv4 alone."));
    EXPECT_EQ(notable(figures(100, 10000, {table("protocols", {protocol(0x86DD, 4, 400)})})), "");
}

TEST(Notable, ThePairWithTheLongestFramesMayBeOfIPv6)
{
    EXPECT_THAT(notable(figures(100, 400000,
                                {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 10, 20000)}),
                                 table("ipv6_traffic", {pair("fe80::1", "fe80::2", 10, 30000)})})),
                HasSubstr("those from fe80::1 to fe80::2 have 3,000 on average"));
}

TEST(Notable, APortCountsOverBothFamilies)
{
    CFigures const all = figures(
        100, 10000,
        {table("tcp_ports", {port(80, bothWays(10, 1000, 10, 500)), port(22, bothWays(10, 1200, 9, 900))}),
         table("ipv6_tcp_ports", {port(80, bothWays(10, 2000, 10, 300))})});

    EXPECT_THAT(
        notable(all),
        HasSubstr("The busiest of the ports counted is TCP 80: 3,000 bytes from it, 800 bytes to it."));
}

TEST(Notable, AScanOverIPv6IsToldToo)
{
    ketmon::CTableFigures pairs = table("ipv6_traffic", {});
    for (int i = 1; i <= 30; ++i)
        pairs.rows.push_back(pair("2001:db8::9", "2001:db8::1:" + std::to_string(i), 1, 58));
    pairs.rows.push_back(pair("2001:db8::1", "2001:db8::2", 10, 1000));
    pairs.rows.push_back(pair("2001:db8::2", "2001:db8::1", 10, 1000));

    EXPECT_THAT(notable(figures(100, 10000, {pairs})),
                HasSubstr("2001:db8::9 sent to 30 addresses, and 30 of them never answered."));
}

CFigures withSignals(std::vector<ketmon::CSignalFigure> signals)
{
    CFigures all = figures(1000, 64000, {});
    all.signals = std::move(signals);
    return all;
}

TEST(Notable, ConnectionsThatNobodyAcceptsAreTold)
{
    EXPECT_THAT(notable(withSignals({{"connections_requested", "", 60}, {"connections_accepted", "", 29}})),
                HasSubstr("TCP connections were asked for 60 times and accepted 29 times."));
    EXPECT_THAT(notable(withSignals({{"connections_requested", "", 60}, {"connections_accepted", "", 30}})),
                Not(HasSubstr("asked for")));
    EXPECT_THAT(notable(withSignals({{"connections_requested", "", 49}, {"connections_accepted", "", 0}})),
                Not(HasSubstr("asked for")));
}

TEST(Notable, BindingsThatChangeAreTold)
{
    EXPECT_THAT(
        notable(withSignals({{"changed_bindings", "", 1}})),
        HasSubstr("IP addresses that were bound to one MAC address were announced with another: once."));
    EXPECT_THAT(notable(withSignals({{"changed_bindings", "", 3}})), HasSubstr("another: 3 times."));
    EXPECT_THAT(notable(withSignals({{"changed_bindings", "", 0}})), Not(HasSubstr("another")));
}

} // namespace
