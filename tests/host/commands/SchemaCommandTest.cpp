#include "tests/host/Program.h"

#include "ketstats/ketstats.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

using namespace KetStats;
using namespace test;
using nlohmann::ordered_json;
using testing::ContainsRegex;

namespace {

void collect(ordered_json const & place, std::map<std::string, ordered_json> & places)
{
    places[place["oid"]] = place;
    if (place.contains("below"))
        for (ordered_json const & child : place["below"])
            collect(child, places);
    if (place.contains("extended"))
        collect(place["extended"], places);
}

std::map<std::string, ordered_json> places()
{
    std::map<std::string, ordered_json> places;
    collect(ketmon({"schema", "--json"}).json(), places);
    return places;
}

// How many descriptions there are at and below one.
unsigned int countBelow(CStatDescription const & description)
{
    unsigned int count = 1;
    for (unsigned int i = 0; i < description.getSubStatsCount(); ++i)
        count += countBelow(*description.subStatDescription(i));
    return count;
}

} // namespace

TEST(SchemaCommand, JsonHasEveryDescriptionOnce)
{
    auto const all = places();

    EXPECT_EQ(all.size(), countBelow(CAgentStatistic::groupDescription()) +
                              countBelow(CExtendedStatistic::groupDescription()));
    EXPECT_EQ(all.at("1")["name"], "Agent statistics");
    EXPECT_EQ(all.at("1.5.*.7.*.5")["name"], "Frames received");
}

TEST(SchemaCommand, JsonTellsKindUnitAndFormats)
{
    auto const all = places();

    EXPECT_EQ(all.at("1.1")["kind"], "group");
    EXPECT_EQ(all.at("1.5")["kind"], "table");
    EXPECT_EQ(all.at("1.5.*")["kind"], "row");
    EXPECT_EQ(all.at("1.5.*.1")["kind"], "MAC address");
    EXPECT_EQ(all.at("1.5.*.6")["kind"], "number");
    EXPECT_EQ(all.at("1.5.*.9")["kind"], "text");
    EXPECT_EQ(all.at("1.6.*.1")["kind"], "protocol id");
    EXPECT_EQ(all.at("1.8.*.1")["kind"], "IP address");
    EXPECT_EQ(all.at("2.1.*.1")["kind"], "IPv6 address");
    ordered_json const & data = all.at("1.1.2");
    EXPECT_EQ(data["kind"], "integer");
    EXPECT_EQ(data["unit"], (ordered_json{{"one", "byte"}, {"many", "bytes"}, {"short", "B"}}));
    ASSERT_EQ(data["formats"].size(), 7U);
    EXPECT_EQ(data["formats"][0], (ordered_json{{"name", "Integer value"}}));
    EXPECT_EQ(data["formats"][1]["multiplier"],
              (ordered_json{{"name", "kilo"}, {"symbol", "K"}, {"value", 1024}}));
    EXPECT_EQ(all.at("1.10.*.1")["formats"][1]["name"], "Short IP subprotocol name");
    EXPECT_FALSE(all.at("1.1").contains("unit"));
}

TEST(SchemaCommand, TextHasALineForEach)
{
    Outcome const outcome = ketmon({"schema"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'),
              1 + static_cast<long>(countBelow(CAgentStatistic::groupDescription()) +
                                    countBelow(CExtendedStatistic::groupDescription())));
    EXPECT_THAT(outcome.output, ContainsRegex("\n1.1.2 +Global transmitted data +integer +bytes \\(B\\) +"
                                              "Integer value, K, M, G, T, P, E\n"));
}
