#include "host/render/ReportText.h"

#include "tests/host/render/ReportFigures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace test;
using ketmon::CFigures;
using ketmon::CNames;
using ketmon::CReportStyle;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

std::string drawn(CFigures const & all, CReportStyle style = {}, CNames const & names = FixedNames())
{
    style.ascii = true;
    return reportText(all, style, names);
}

TEST(ReportText, SaysWhatFromWhenToWhenAndHowMuch)
{
    EXPECT_EQ(drawn(figures(50000, 12500000)), "some.pcap\n"
                                               "  From      2020-01-01 00:00:00.000000 UTC\n"
                                               "  To        2020-01-01 00:00:10.000000 UTC, 10 s later\n"
                                               "  Frames    50.0 k      5.00 k frames/s on average\n"
                                               "  Bytes     12.5 M      10.0 Mbit/s on average\n");
}

TEST(ReportText, SaysWhatTheLinkTheCaptureAndTheFilterTell)
{
    CFigures all = figures(900, 90000);
    all.source.linkBitsPerSecond = 100000000;
    all.utilisationAverage = 0.00072;
    all.utilisationPeak = 0.012;
    all.received = 1000;
    all.droppedByKernel = 100;
    all.filterGiven = true;
    all.filtered = 900;
    all.accepted = 300;
    all.rejected = 600;

    std::string const report = drawn(all);

    EXPECT_THAT(report, HasSubstr("  Link      100 Mbit/s, used to <0.1 % on average, 1.2 % at most\n"));
    EXPECT_THAT(report,
                HasSubstr("  Captured  1,000 received, 100 dropped by the kernel, - by the interface\n"))
        << "what isn't known isn't zero";
    EXPECT_THAT(report, HasSubstr("  Filter    300 accepted, 600 rejected, of 900\n"));
    EXPECT_THAT(report, HasSubstr("  - 100 frames never reached the count; all figures are of the rest.\n"));
}

TEST(ReportText, OfNothingSaysSo)
{
    CFigures nothing = figures(0, 0, {table("ip_traffic", {}), notCounted("stations")});
    nothing.zero = nothing.time = {};

    EXPECT_EQ(drawn(nothing), "some.pcap\n"
                              "  Frames    0\n"
                              "  Bytes     0\n"
                              "\n"
                              "No frame was counted.\n"
                              "\n"
                              "Not counted: stations (1.99)\n");
}

TEST(ReportText, TellsWhatWasSeenNothingOfFromWhatWasNotCounted)
{
    std::string const report =
        drawn(figures(7, 700, {table("ip_traffic", {}), table("tcp_ports", {}), notCounted("stations")}));

    EXPECT_THAT(report, HasSubstr("\nNothing was seen of: IP conversations, TCP ports within --tcp-ports\n"
                                  "Not counted: stations (1.99)\n"));
    EXPECT_EQ(part(report, "Stations"), "");
}

TEST(ReportText, HasBothDirectionsOfAPairOnOneLineTheBusierEndFirst)
{
    CFigures const all =
        figures(100, 10000,
                {table("ip_traffic",
                       {pair("10.0.0.1", "10.0.0.2", 10, 1000), pair("10.0.0.3", "10.0.0.1", 1, 100),
                        pair("10.0.0.2", "10.0.0.1", 30, 6000), pair("10.0.0.4", "10.0.0.4", 2, 200)})});

    EXPECT_EQ(part(drawn(all), "IP conv"),
              "IP conversations (3), by bytes\n"
              "  A         B         A to B  B to A  Bytes  Frames  Size   Share\n"
              "  10.0.0.2  10.0.0.1   6,000   1,000  7,000      40   175  70.0 %  #########\n"
              "  10.0.0.4  10.0.0.4     200       -    200       2   100   2.0 %  #\n"
              "  10.0.0.3  10.0.0.1     100       0    100       1   100   1.0 %  #\n");
}

TEST(ReportText, SortsByFramesWhereAskedAndSharesGoWithThat)
{
    CFigures const all = figures(100, 10000,
                                 {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 1, 9000),
                                                       pair("10.0.0.3", "10.0.0.4", 99, 1000)})});
    CReportStyle style;
    style.sort = "frames";

    std::string const report = part(drawn(all, style), "IP conv");

    EXPECT_THAT(report, StartsWith("IP conversations (2), by frames\n"));
    EXPECT_THAT(report, ContainsRegex("10.0.0.3 .* 99.0 % .*\n.*10.0.0.1 .* 1.0 %"));
}

TEST(ReportText, SaysWhatIsLeftOutAndWhatWasGivenUp)
{
    ketmon::CTableFigures pairs = table("ip_traffic", {});
    for (int i = 1; i <= 12; ++i)
        pairs.rows.push_back(pair("10.0.0." + std::to_string(i), "10.0.1.1", 1, 100));
    pairs.rows.push_back(others(40, 4000));
    pairs.givenUp = ketmon::CGivenUp{201, 5223, 7100000, {}, {}, {}, {}};

    std::string const report = part(drawn(figures(10000, 8000000, {pairs})), "IP conv");

    EXPECT_THAT(report, StartsWith("IP conversations, 10 of 13 by bytes\n"));
    EXPECT_THAT(report, ContainsRegex("\n  \\(others\\) +\\(others\\) +4,000 +- +4,000"));
    EXPECT_THAT(report, HasSubstr("\n  and 3 pairs more: 3 frames, 300 bytes (--top 0 shows all)\n"));
    EXPECT_THAT(report,
                HasSubstr("\n  gave up 201 rows: 5,223 frames, 7.10 MB; --rows ip_traffic=N keeps more\n"));
}

TEST(ReportText, ATableThatGaveAllItsRowsUpIsNotOneWithoutAny)
{
    ketmon::CTableFigures pairs = table("ip_traffic", {});
    pairs.givenUp = ketmon::CGivenUp{1, 2, 300, {}, {}, {}, {}};

    EXPECT_THAT(drawn(figures(2, 300, {pairs})), HasSubstr("gave up 1 row: 2 frames, 300 bytes"));
}

TEST(ReportText, HasProtocolsAsAHierarchy)
{
    CFigures const all = figures(
        100, 10000,
        {table("protocols", {protocol(0x0806, 10, 500), protocol(0x0800, 80, 9000), protocol(0x42, 10, 500)}),
         table("ip_protocols", {protocol(17, 10, 1000), protocol(6, 60, 7500), protocol(200, 1, 100)}),
         table("tcp_ports", {port(22, bothWays(5, 500, 5, 500)), port(443, bothWays(20, 5000, 20, 1500))}),
         table("udp_ports", {port(999, bothWays(10, 1000, 10, 1000))})});

    EXPECT_EQ(part(drawn(all), "Protocols"),
              "Protocols, by bytes\n"
              "                            Number  Frames   Share  Bytes   Share\n"
              "  IPv4                      0x0800      80  80.0 %  9,000  90.0 %  ############\n"
              "    TCP                          6      60  60.0 %  7,500  75.0 %  ##########\n"
              "      https                    443      40  40.0 %  6,500  65.0 %  ########\n"
              "      ssh                       22      10  10.0 %  1,000  10.0 %  #\n"
              "    UDP                         17      10  10.0 %  1,000  10.0 %  #\n"
              "      999                               20  20.0 %  2,000  20.0 %  ###\n"
              "    200                                  1   1.0 %    100   1.0 %  #\n"
              "    (broadcast, multicast)               9   9.0 %    400   4.0 %  #\n"
              "  ARP                       0x0806      10  10.0 %    500   5.0 %  #\n"
              "  Spanning Tree               0x42      10  10.0 %    500   5.0 %  #\n"
              "  A frame between two ports that both have rows is counted at both of them, so\n"
              "  that ports may come to more than their protocol.\n");
}

TEST(ReportText, HasNoRestOfAProtocolWhereRowsWereGivenUp)
{
    CFigures all = figures(
        100, 10000,
        {table("protocols", {protocol(0x0800, 80, 9000)}), table("ip_protocols", {protocol(6, 60, 7500)})});
    all.tables[1].givenUp = ketmon::CGivenUp{1, 5, 500, {}, {}, {}, {}};

    EXPECT_THAT(drawn(all), Not(HasSubstr("(broadcast, multicast)")));
}

TEST(ReportText, ShowsStationsWithVendorAddressesAndVlan)
{
    ketmon::CRowFigures tagged = station("00:00:00:00:00:0a", bothWays(50, 5000, 10, 1000));
    tagged.vlan = 5;
    tagged.tcpPorts = {port(22, bothWays(1, 100, 1, 100)), port(4711, bothWays(9, 900, 9, 900))};
    CReportStyle wide;
    wide.width = 160;
    CFigures const all = figures(
        100, 10000,
        {table("stations", {station("02:00:00:00:00:0b", bothWays(1, 100, 0, 0)), tagged}),
         table("arp", {binding("10.0.0.1", "00:00:00:00:00:0a"), binding("10.0.0.2", "00:00:00:00:00:0a")})});

    EXPECT_EQ(part(drawn(all), "Stations"),
              "Stations (2), by bytes\n"
              "  Address            Vendor     IPv4         VLAN   Sent  Received   Share\n"
              "  00:00:00:00:00:0a  Vendor o~  10.0.0.1 +1     5  5,000     1,000  60.0 %  ##\n"
              "  02:00:00:00:00:0b                                  100         0   1.0 %  #\n"
              "  VLAN has the low 8 bits of the identifier.\n");
    EXPECT_THAT(drawn(all, wide), HasSubstr("  4711/tcp ssh  "));
}

TEST(ReportText, ShowsErrorsOnlyWhereThereAreSome)
{
    CFigures all = figures(1, 100);
    all.errors = {
        {"crc_errors", "CRC errors", 3}, {"deferred", "Deferred", 0}, {"carrier_lost", "Carrier lost", {}}};

    EXPECT_EQ(part(drawn(all), "Errors"), "Errors\n  CRC errors                    3\n");
    all.errors[0].count = 0;
    EXPECT_EQ(part(drawn(all), "Errors"), "");
}

TEST(ReportText, CallsTablesOfIPv4SoBesideThoseOfIPv6)
{
    std::string const report = drawn(figures(10, 1000,
                                             {table("ip_traffic", {}), notCounted("udp_ports"),
                                              table("ipv6_traffic", {pair("fe80::1", "fe80::2", 10, 1000)}),
                                              table("ipv6_udp_ports", {port(53, bothWays(1, 9, 1, 9))})}));

    EXPECT_THAT(report, HasSubstr("\nNothing was seen of: IPv4 conversations\n"
                                  "Not counted: UDP ports of IPv4 (1.99)\n"));
}

TEST(ReportText, SaysOfSignalsThatTheyAreNotCountedOrThatThereWereNone)
{
    CFigures all = figures(10, 1000);
    all.signals = {{"fragments", "Fragments", {}}, {"redirects", "Redirects", {}}};
    CReportStyle selected;
    selected.selected = true;
    CReportStyle others = selected;
    others.signalsChosen = false;

    EXPECT_THAT(drawn(all), HasSubstr("\nNot counted: signals (2.6)\n"));
    EXPECT_THAT(drawn(all, selected), HasSubstr("\nNot counted: signals (2.6)\n"));
    EXPECT_THAT(drawn(all, others), Not(HasSubstr("signals")));
    all.signals[0].count = all.signals[1].count = 0;
    EXPECT_THAT(drawn(all), Not(HasSubstr("signals"))) << "most captures have none";
    EXPECT_THAT(drawn(all, selected), HasSubstr("\nNothing was seen of: signals\n"));
    all.signals[1].count = 2;
    EXPECT_THAT(drawn(all, selected), Not(HasSubstr("signals")));
}

TEST(ReportText, SaysOfFixedRowsThatNoneOfThemCountedAnything)
{
    ketmon::CRowFigures none;
    none.type = none.name = "GRE";
    none.frames = none.bytes = 0;
    CReportStyle selected;
    selected.selected = true;

    EXPECT_THAT(drawn(figures(10, 1000, {table("tunnels", {none})}), selected),
                HasSubstr("\nNothing was seen of: tunnels\n"));
}

TEST(ReportText, TellsHostsOfOneNetworkApart)
{
    std::string const network = "2001:db8:aaaa:bbbb:cccc:dddd:";
    CFigures const all =
        figures(100, 10000,
                {table("ipv6_traffic", {pair(network + "eeee:f001", network + "eeee:f002", 10, 1000),
                                        pair(network + "eeee:f001", network + "eeee:f003", 9, 900)})});

    std::string const rows = part(drawn(all), "IP conv");

    for (char const * const host : {":eeee:f001", ":eeee:f002", ":eeee:f003"})
        EXPECT_THAT(rows, HasSubstr(host));
    EXPECT_THAT(rows, HasSubstr("2001:db8:aaaa~"));
}

TEST(ReportText, NamesWhatHasNoProtocolByItsMedium)
{
    CFigures all = figures(100, 10000, {table("protocols", {protocol(0, 100, 10000)})});
    EXPECT_THAT(drawn(all), HasSubstr("\n  LLC null"));
    all.source.linkType = "ppp";
    EXPECT_THAT(drawn(all), HasSubstr("\n  (none) "));
}

TEST(ReportText, HasOnlyNumbersWithoutNames)
{
    CFigures const all = figures(
        100, 10000,
        {table("protocols", {protocol(0x0800, 80, 9000)}), table("ip_protocols", {protocol(6, 60, 7500)}),
         table("tcp_ports", {port(22, bothWays(5, 500, 5, 500))}),
         table("stations", {station("00:00:00:00:00:0a", bothWays(50, 5000, 10, 1000))})});

    std::string const report = drawn(all, {}, CNames());

    for (char const * const name : {"IPv4 ", "TCP  ", "ssh", "Vendor", "Service", "Number"})
        EXPECT_THAT(part(report, "Protocols") + part(report, "Stations"), Not(HasSubstr(name)));
    EXPECT_THAT(report, ContainsRegex("\n  0x0800 .*\n    6 .*\n      22 "));
}

TEST(ReportText, NamesOfHostsTakeThePlaceOfAddressesThatStandBesideThemWhereThereIsRoom)
{
    FixedNames names;
    names.hosts["10.0.0.1"] = "router.example";
    CReportStyle wide;
    wide.width = 160;
    CFigures const all = figures(100, 10000, {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 10, 1000)})});

    EXPECT_THAT(part(drawn(all, {}, names), "IP conv"), HasSubstr("\n  router.example  10.0.0.2  "));
    EXPECT_THAT(part(drawn(all, wide, names), "IP conv"),
                HasSubstr("\n  router.example  10.0.0.1     10.0.0.2  "));
}

TEST(ReportText, EscapesWhatCameFromOutside)
{
    FixedNames names;
    names.hosts["10.0.0.1"] = "evil\x1b[2J.example";
    CFigures all = figures(100, 10000, {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2\n", 10, 1000)})});
    all.source.name = "a\nb\xff\u202e.pcap";
    all.errors = {{"x", "bad\x07", 1}};

    std::string const report = drawn(all, {}, names);

    EXPECT_THAT(report, StartsWith("a\\x0ab\\xff\\u202e.pcap\n"));
    EXPECT_THAT(report, HasSubstr("evil\\x1b[2J"));
    EXPECT_THAT(report, HasSubstr("10.0.0.2\\x0a"));
    EXPECT_THAT(report, HasSubstr("bad\\x07"));
    EXPECT_THAT(report, Not(ContainsRegex("[\x01-\x09\x0b-\x1f\x7f]")));
}

TEST(ReportText, MarksATableThatBeganAtAnotherMoment)
{
    CFigures all = figures(100, 10000, {table("tcp_ports", {port(22, bothWays(5, 500, 5, 500))})});
    all.tables[0].zero = *all.zero - 600000000;

    EXPECT_THAT(drawn(all), HasSubstr("Ports (1), by bytes, counted since 2019-12-31 23:59:00.000000 UTC\n"));
}

TEST(ReportText, TellsNothingNotableOfATableThatWasSelected)
{
    CReportStyle style;
    style.selected = true;
    CFigures const all =
        figures(100, 10000, {table("ip_traffic", {pair("10.0.0.1", "10.0.0.2", 100, 10000)})});

    EXPECT_NE(part(drawn(all), "Notable"), "");
    EXPECT_EQ(part(drawn(all, style), "Notable"), "");
}

} // namespace
