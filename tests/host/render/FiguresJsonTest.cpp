#include "host/render/FiguresJson.h"
#include "host/render/Columns.h"
#include "host/render/TableChoice.h"
#include "host/support/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace ketmon;
using nlohmann::ordered_json;
using testing::ElementsAre;

namespace {

CRowFigures pair(std::string const & source, std::uint64_t frames, std::uint64_t bytes)
{
    CRowFigures row;
    row.oid = "1.8." + std::to_string(frames);
    row.source = source;
    row.destination = "10.0.0.1";
    row.frames = frames;
    row.bytes = bytes;
    return row;
}

// One table of pairs, none of them known to be anything else.
CFigures figures()
{
    CTableFigures table;
    table.key = "ip_traffic";
    table.oid = "1.8";
    table.name = "IP traffic";
    table.counted = true;
    table.limit = 1000;
    table.rows = {pair("10.0.0.9", 2, 900), pair("10.0.0.10", 3, 100), pair("9.0.0.0", 1, 200)};
    CTableFigures arp;
    arp.key = "arp";
    arp.oid = "1.9";
    arp.limit = 200;
    CFigures all;
    all.frames = 6;
    all.bytes = 1200;
    all.tables = {table, arp};
    return all;
}

std::vector<std::string> sources(ordered_json const & document)
{
    std::vector<std::string> all;
    for (ordered_json const & row : document["tables"]["ip_traffic"]["rows"])
        all.push_back(row["source"]);
    return all;
}

TEST(FiguresJson, WhatIsNotKnownIsNull)
{
    ordered_json const document = figuresJson(figures(), {});

    EXPECT_EQ(document["totals"]["frames"], 6);
    for (char const * const key : {"zero", "time", "duration_seconds", "interval_seconds", "sample"})
        EXPECT_EQ(document.at(key), nullptr) << key;
    for (char const * const group : {"averages", "rates", "capture", "filter"})
        for (auto const & [key, value] : document.at(group).items())
            EXPECT_EQ(value, nullptr) << group << ' ' << key;
    EXPECT_EQ(document["totals"]["utilisation"]["peak"], nullptr);
    ordered_json const & table = document["tables"]["ip_traffic"];
    EXPECT_EQ(table["given_up"], nullptr);
    EXPECT_EQ(table["rows"][0]["rate"], nullptr);
    EXPECT_EQ(table["rows"][0]["share"], nullptr);
    EXPECT_FALSE(table["rows"][0].contains("others"));
    EXPECT_EQ(document["tables"]["arp"]["rows"], nullptr) << "it isn't counted";
    EXPECT_EQ(document["tables"]["arp"]["row_count"], nullptr);
}

TEST(FiguresJson, RowsStandOldestFirstUnlessSortedOrCut)
{
    EXPECT_THAT(sources(figuresJson(figures(), {})), ElementsAre("10.0.0.9", "10.0.0.10", "9.0.0.0"));

    CReportOptions options;
    options.top = 2;
    ordered_json const cut = figuresJson(figures(), options);
    EXPECT_THAT(sources(cut), ElementsAre("10.0.0.10", "10.0.0.9")) << "the busiest";
    EXPECT_EQ(cut["tables"]["ip_traffic"]["row_count"], 3);

    options.sort = "bytes";
    EXPECT_THAT(sources(figuresJson(figures(), options)), ElementsAre("10.0.0.9", "9.0.0.0"));
    options.sort = "source";
    options.top = 0;
    EXPECT_THAT(sources(figuresJson(figures(), options)), ElementsAre("9.0.0.0", "10.0.0.9", "10.0.0.10"))
        << "by number, not by letters";
}

TEST(FiguresJson, SelectsTablesByNameAndIdentifier)
{
    CReportOptions options;
    options.select = {"arp"};
    EXPECT_FALSE(figuresJson(figures(), options)["tables"].contains("ip_traffic"));
    options.select = {"1.8", "arp"};
    EXPECT_EQ(figuresJson(figures(), options)["tables"].size(), 2U);
    options.select = {"totals"};
    EXPECT_EQ(figuresJson(figures(), options)["tables"].size(), 0U);
}

TEST(FiguresJson, TextIsAlwaysUtf8)
{
    CFigures all = figures();
    all.source.name = "a\xFF\033";
    all.source.agent = "\xE2\x80";

    std::string const text = lineText(figuresJson(all, {}));

    ordered_json const document = ordered_json::parse(text); // throws for what isn't UTF-8
    EXPECT_EQ(document["source"]["name"], "a\\xff\033");
    EXPECT_EQ(document["source"]["agent"], "\\xe2\\x80");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST(FiguresJson, RatesFollowTheWaysOfTheTable)
{
    CFigures all = figures();
    all.tables[0].rows[0].rate = {1.5, 12.0};
    CTableFigures ports;
    ports.key = "tcp_ports";
    ports.oid = "1.11.1";
    ports.counted = true;
    ports.limit = 9;
    CRowFigures port;
    port.code = 80;
    port.rateSent = {1.0, 8.0};
    port.rateReceived = {0.0, 0.0};
    ports.rows = {port};
    all.tables.push_back(ports);

    ordered_json const document = figuresJson(all, {});

    EXPECT_EQ(document["tables"]["ip_traffic"]["rows"][0]["rate"],
              ordered_json({{"frames_per_second", 1.5}, {"bits_per_second", 12.0}}));
    EXPECT_EQ(document["tables"]["tcp_ports"]["rows"][0]["rate"],
              ordered_json({{"frames_sent_per_second", 1.0},
                            {"bits_sent_per_second", 8.0},
                            {"frames_received_per_second", 0.0},
                            {"bits_received_per_second", 0.0}}));
}

TEST(SortRows, PutsWhatIsNotKnownLastAndKeepsEqualOnesInOrder)
{
    std::vector<CRowFigures> rows = figures().tables[0].rows;
    rows[1].share = 0.1;
    rows[2].share = 0.1;

    sortRows(rows, "ip_traffic", "share");

    EXPECT_EQ(rows[0].source, "10.0.0.10");
    EXPECT_EQ(rows[1].source, "9.0.0.0");
    EXPECT_EQ(rows[2].source, "10.0.0.9");
}

TEST(SortRows, PutsAddressesInTheOrderOfTheirNumbers)
{
    std::vector<CRowFigures> rows;
    for (char const * const address : {"fe80::1", "2001:db8::10", "", "::ffff:10.0.0.1", "2001:db8::9",
                                       "ff02::fb", "2001:db8::", "02:00:00:00:00:0a", "::", "10.0.0.9"})
        rows.push_back(pair(address, 1, 1));

    sortRows(rows, "ipv6_traffic", "source");

    std::vector<std::string> sources;
    for (CRowFigures const & row : rows)
        sources.push_back(row.source);
    EXPECT_THAT(sources, ElementsAre("", "10.0.0.9", "02:00:00:00:00:0a", "::", "::ffff:10.0.0.1",
                                     "2001:db8::", "2001:db8::9", "2001:db8::10", "fe80::1", "ff02::fb"));
}

std::string refusalOf(CReportOptions const & options)
{
    try {
        check(options);
    } catch (CFailure const & failure) {
        EXPECT_EQ(failure.exitCode(), exitBadInput);
        return failure.what();
    }
    return "";
}

TEST(ReportOptions, NameWhatThereIs)
{
    CReportOptions options;
    options.select = {"ip_trafic"};
    EXPECT_THAT(refusalOf(options), testing::StartsWith("--select: 'ip_trafic' is no table; there are "
                                                        "frame_types, frame_sizes, stations, protocols"));
    options.select = {"1.77"};
    EXPECT_EQ(refusalOf(options), "--select: '1.77' leads to no statistic that can be selected");
    options.select = {"a\033[2J"};
    EXPECT_THAT(refusalOf(options), testing::StartsWith("--select: 'a\\x1b[2J'"));

    options.select = {"arp"};
    options.sort = "frames";
    EXPECT_EQ(refusalOf(options),
              "--sort: 'frames' is no column of the tables selected; there are address, mac_address");
    options.select = {"arp", "1.8"};
    EXPECT_EQ(refusalOf(options), "");
    options.select = {};
    options.sort = "frame";
    EXPECT_THAT(refusalOf(options), testing::HasSubstr("'frame' is no column of any table; there are type"));
}

TEST(ReportOptions, JsonOfFiguresHasNoTextsOfNumbers)
{
    CReportOptions options;
    options.json = true;
    options.values.precision = 1;
    EXPECT_NE(refusalOf(options), "");
    options.tree = true;
    EXPECT_EQ(refusalOf(options), "");
}

} // namespace
