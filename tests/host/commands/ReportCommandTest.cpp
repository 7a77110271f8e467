#include "host/support/Utf8.h"

#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace test;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

// The report in a given environment, such as "COLUMNS=80".
std::string report(std::vector<std::string> const & environment,
                   std::vector<std::string> const & options = {},
                   std::string const & file = "internet-mixed.pcap")
{
    std::vector<std::string> command{"env", "-u", "COLUMNS"};
    command.insert(command.end(), environment.begin(), environment.end());
    command.insert(command.end(), {KETMON_PROGRAM, "read", "-q", capture(file)});
    command.insert(command.end(), options.begin(), options.end());
    Outcome const outcome = run(command);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    return outcome.output;
}

std::size_t widest(std::string const & text)
{
    std::size_t width = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        width = std::max(width, ketmon::columnsOf(line));
    return width;
}

TEST(ReportCommand, ReadPrintsAReportByDefault)
{
    std::string const text = report({"LC_ALL=C"});

    EXPECT_THAT(
        text, StartsWith(capture("internet-mixed.pcap") + "\n  From      2010-06-29 19:41:35.135052 UTC\n"));
    EXPECT_THAT(text, ContainsRegex("\n  Frames    4,709 .*\n  Bytes     2.87 M "));
    EXPECT_THAT(text,
                ContainsRegex("\nIP conversations, 10 of 61 by bytes\n  A .*\n  54.192.94.30 +10.0.0.1 "));
    EXPECT_THAT(text, ContainsRegex("\n    TCP +6 +4,321 "));
}

TEST(ReportCommand, IsAsWideAsItIsTold)
{
    EXPECT_EQ(widest(report({"LC_ALL=C", "COLUMNS=80"})), 80U);
    EXPECT_EQ(widest(report({"LC_ALL=C", "COLUMNS=1"})), 80U) << "no less";
    EXPECT_EQ(widest(report({"LC_ALL=C"})), 100U) << "without a terminal";
    EXPECT_EQ(widest(report({"LC_ALL=C", "COLUMNS=wide"})), 100U);
    std::size_t const most = widest(report({"LC_ALL=C", "COLUMNS=100000"}));
    EXPECT_GT(most, 120U);
    EXPECT_LE(most, 160U);
}

TEST(ReportCommand, HasMoreThanAsciiOnlyWhereTheLocaleHas)
{
    auto const isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    std::string const plain = report({"LC_ALL=C"});

    EXPECT_TRUE(std::all_of(plain.begin(), plain.end(), isAscii));
    EXPECT_THAT(report({"LC_ALL=C.UTF-8"}), HasSubstr("\u2588"));
}

TEST(ReportCommand, TopSortSelectAndExactHold)
{
    EXPECT_THAT(report({}, {"--top", "2"}), HasSubstr("\n  and 59 pairs more: "));
    EXPECT_THAT(report({}, {"--top", "0"}), HasSubstr("\nIP conversations (61), by bytes\n"));
    EXPECT_THAT(report({}, {"--sort", "frames"}), HasSubstr("\nIP conversations, 10 of 61 by frames\n"));
    EXPECT_THAT(report({}, {"--exact"}), HasSubstr("\n  Bytes     2,874,845 "));
    std::string const selected = report({}, {"--select", "stations"});
    EXPECT_THAT(selected, HasSubstr("\nStations (8), by bytes\n"));
    EXPECT_THAT(selected, Not(ContainsRegex("conversations|Protocols|Notable|Frame sizes")));
}

TEST(ReportCommand, NumericLeavesNamesOut)
{
    EXPECT_THAT(report({}), ContainsRegex("\n  IPv4 +0x0800 "));
    std::string const numeric = report({}, {"-n"});
    EXPECT_THAT(numeric, ContainsRegex("\n  0x0800 "));
    EXPECT_THAT(numeric, Not(ContainsRegex("TCP +6 |http|Service|Vendor|CDP")));
}

TEST(ReportCommand, WithEverythingOffHasTheTotalsAndSaysWhatIsOff)
{
    std::string const text = report({}, {"--enable", "none"});

    EXPECT_THAT(text, HasSubstr("\n  Frames    4,709 "));
    EXPECT_THAT(text, HasSubstr("\nNot counted: frame types (1.4.1), "));
    EXPECT_THAT(text, Not(ContainsRegex("\n(Protocols|Stations|Ports|IP conversations|Nothing)")));
}

TEST(ReportCommand, TellsWhatTablesGaveUp)
{
    std::string const text = report({}, {"--rows", "ip_traffic=50"});

    EXPECT_THAT(text, ContainsRegex("\n  gave up [0-9]+ rows: .*; --rows ip_traffic=N keeps more\n"));
    EXPECT_THAT(report({}), Not(HasSubstr("gave up")));
}

TEST(ReportCommand, RefusesWhatAReportHasNot)
{
    std::string const file = capture("empty.pcap");

    expectRefused(test::ketmon({"read", file, "--precision", "3"}), "--exact");
    expectRefused(test::ketmon({"read", file, "--multiplier", "none"}), "--tree");
    expectRefused(test::ketmon({"read", file, "--dns", "-n"}), "--numeric");
    expectRefused(test::ketmon({"read", file, "--dns", "--json"}), "--dns");
}

} // namespace
