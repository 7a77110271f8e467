#include "tests/host/CaptureBuilder.h"
#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using nlohmann::ordered_json;
using test::capture;
using test::expectRefused;
using test::fileContents;
using test::ketmon;
using test::Outcome;
using test::TemporaryFile;
using testing::HasSubstr;
using testing::Not;

namespace {

ordered_json read(std::string const & name, std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments = {"read", "--tree", "--json", "--quiet", capture(name)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Outcome const outcome = ketmon(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "");
    return outcome.json();
}

class BundledCapture : public testing::TestWithParam<std::string>
{};

// The expected numbers were obtained with another capture tool; see tests/captures/expected/README.md.
TEST_P(BundledCapture, CountsAsAnotherToolCountsIt)
{
    std::string const stem = std::filesystem::path(GetParam()).stem().string();
    auto const expected = ordered_json::parse(fileContents(capture("expected/" + stem + ".json")));

    ordered_json const document = read(GetParam());

    auto const & statistics = document["statistics"];
    EXPECT_EQ(document["frames"], expected["frames"]);
    EXPECT_EQ(statistics["Global statistics"]["Global transmitted frames"], expected["frames"]);
    EXPECT_EQ(statistics["Global statistics"]["Global transmitted data"], expected["bytes"]);
    for (auto const & [table, key] : {std::pair("Frame types", "types"), std::pair("Frame sizes", "sizes")}) {
        auto const & rows = statistics["Frame tables"][table];
        ASSERT_EQ(rows.size(), expected[key].size());
        for (auto const & [name, counts] : expected[key].items()) {
            EXPECT_EQ(rows[name]["Name"], name);
            EXPECT_EQ(rows[name]["Frames"], counts[0]) << name;
            EXPECT_EQ(rows[name]["Data"], counts[1]) << name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, BundledCapture, testing::ValuesIn(test::captures()), [](auto const & about) {
    std::string name = about.param;
    for (char & c : name)
        c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
});

TEST(BundledCaptures, AreAllThere)
{
    EXPECT_EQ(test::captures().size(), 14U);
}

TEST(ReadCommand, EmptyFileGivesZeros)
{
    ordered_json const document = read("empty.pcap");

    EXPECT_EQ(document["frames"], 0);
    EXPECT_EQ(document["statistics"]["Global statistics"]["Global transmitted data"], 0);
    EXPECT_EQ(document["statistics"]["Frame tables"]["Frame types"]["Unicast"]["Frames"], 0);
}

TEST(ReadCommand, GroupsStandInTheOrderOfTheTree)
{
    ordered_json const document = read("empty.pcap");
    std::vector<std::string> names;
    for (auto const & [name, group] : document["statistics"].items())
        names.push_back(name);

    ASSERT_GE(names.size(), 4U);
    EXPECT_EQ(
        std::vector<std::string>(names.begin(), names.begin() + 4),
        (std::vector<std::string>{"Global statistics", "Global errors", "Global filter", "Frame tables"}));
    EXPECT_EQ(document["statistics"]["Global errors"].size(), 13U);
    EXPECT_EQ(document["statistics"]["Global filter"].size(), 5U);
}

TEST(ReadCommand, CountsOnlyTheGroupsThatAreEnabled)
{
    auto const unicast = [](ordered_json const & document) {
        return document["statistics"]["Frame tables"]["Frame types"]["Unicast"]["Frames"].get<int>();
    };
    auto const frames = [](ordered_json const & document) {
        return document["statistics"]["Global statistics"]["Global transmitted frames"].get<int>();
    };

    ordered_json const none = read("file-service-fragments.pcap", {"--enable", "none"});
    EXPECT_EQ(unicast(none), 0);
    EXPECT_EQ(frames(none), 601) << "these are always counted";
    EXPECT_EQ(unicast(read("file-service-fragments.pcap", {"--enable", "1.5"})), 0);
    EXPECT_EQ(unicast(read("file-service-fragments.pcap", {"--enable", "1.5", "--enable", "1.4"})), 601);
}

TEST(ReadCommand, TextNamesValuesAndUnits)
{
    Outcome const outcome = ketmon({"read", "--tree", capture("file-service-fragments.pcap")});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, HasSubstr("601 frames\n"));
    EXPECT_THAT(outcome.output, HasSubstr("\n1.1 Global statistics\n"));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("Global transmitted frames +601    frames\n"));
    EXPECT_THAT(outcome.output,
                testing::ContainsRegex("\n  Id  Name +Frames \\[frames\\] +Data \\[bytes\\]"));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("\n   3  Unicast +601 "));
    EXPECT_THAT(outcome.output, Not(HasSubstr(" \n"))) << "no blanks at the end of a line";
}

TEST(ReadCommand, TextHasTheMultiplierAndThePlacesAskedFor)
{
    auto const line = [](std::vector<std::string> const & options) {
        std::vector<std::string> arguments{"read", "--tree", capture("internet-mixed.pcap"), "--enable",
                                           "none"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        std::string const output = ketmon(arguments).output;
        std::size_t const start = output.find("Global transmitted data");
        std::string const text = output.substr(start, output.find('\n', start) - start);
        return text.substr(text.find_first_not_of(' ', std::string("Global transmitted data").size()));
    };

    EXPECT_EQ(line({}), "2.74 M  bytes");
    EXPECT_EQ(line({"--multiplier", "binary", "--precision", "0"}), "3 M  bytes");
    EXPECT_EQ(line({"--multiplier", "decimal"}), "2.87 M  bytes");
    EXPECT_EQ(line({"--multiplier", "decimal", "--precision", "6"}), "2.874845 M  bytes");
    EXPECT_EQ(line({"--multiplier", "none"}), "2874845  bytes");
    EXPECT_EQ(line({"--multiplier", "none", "--precision", "3"}), "2874845  bytes");
}

TEST(ReadCommand, MultiplierAndPlacesMakeTextsOfJsonNumbers)
{
    auto const unicast = [](std::vector<std::string> const & options) {
        return read("internet-mixed.pcap", options)["statistics"]["Frame tables"]["Frame types"]["Unicast"];
    };

    EXPECT_EQ(unicast({})["Data"], 2869211);
    EXPECT_EQ(unicast({"--multiplier", "binary"})["Data"], "2.74 M");
    EXPECT_EQ(unicast({"--multiplier", "binary"})["Name"], "Unicast");
    EXPECT_EQ(unicast({"--precision", "1"})["Data"], "2869211");
    EXPECT_EQ(unicast({"--precision", "1"})["Percentage"], "99.5");

    ordered_json const global =
        read("internet-mixed.pcap", {"--precision", "1"})["statistics"]["Global statistics"];
    EXPECT_EQ(global["Average network utilisation"], nullptr) << "no speed of a link is known";
}

TEST(ReadCommand, TextNamesSubProtocolsAndCountsPortsInDecimal)
{
    Outcome const outcome = ketmon({"read", "--tree", capture("internet-mixed.pcap")});

    EXPECT_THAT(outcome.output, testing::ContainsRegex("\n   2  TCP  "));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("\n   2  443  "));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("\n   1  0x800  "));
}

TEST(ReadCommand, WrongMultiplierAndPlacesAreBadUsage)
{
    std::string const file = capture("internet-mixed.pcap");

    EXPECT_EQ(ketmon({"read", file, "--multiplier", "lots"}).exitCode, 2);
    EXPECT_EQ(ketmon({"read", file, "--precision", "21"}).exitCode, 2);
    EXPECT_EQ(ketmon({"read", file, "--precision", "-1"}).exitCode, 2);
}

TEST(ReadCommand, TablesAreArraysOfRowsOldestFirst)
{
    auto const statistics = read("internet-mixed.pcap")["statistics"];

    auto const & protocols = statistics["Network protocols"];
    ASSERT_EQ(protocols.size(), 4U);
    EXPECT_EQ(protocols[0].begin().key(), "id");
    EXPECT_EQ(protocols[0]["Protocol ID"], "0x2000") << "the one idle longest";
    EXPECT_EQ(protocols[3]["Protocol ID"], "0x800");
    EXPECT_EQ(protocols[3]["Frames transmitted"], 4683);

    auto const & stations = statistics["Network stations"];
    auto const router = std::find_if(stations.begin(), stations.end(),
                                     [](auto const & row) { return row["Station"] == "30-46-9A-23-FB-FA"; });
    ASSERT_NE(router, stations.end());
    EXPECT_EQ((*router)["VLAN ID"], "");
    ASSERT_EQ((*router)["TCP ports"].size(), 2U);
    EXPECT_EQ((*router)["TCP ports"][0]["TCP port"], "0x50");
    EXPECT_EQ((*router)["UDP ports"][0]["UDP port"], "0x35");
    EXPECT_EQ(statistics["IP ports"]["TCP ports"].size(), 2U);
    EXPECT_EQ(statistics["ARP connections"][0]["IP address"], "10.0.0.1");
}

TEST(ReadCommand, PortRangesDecideWhichPortsGetRows)
{
    auto const ports = [](std::vector<std::string> const & options, char const * table) {
        return read("internet-mixed.pcap", options)["statistics"]["IP ports"][table].size();
    };

    EXPECT_EQ(ports({}, "TCP ports"), 2U);
    EXPECT_EQ(ports({"--tcp-ports", "443-443"}, "TCP ports"), 1U);
    EXPECT_EQ(ports({"--tcp-ports", "443"}, "TCP ports"), 1U);
    EXPECT_EQ(ports({"--tcp-ports", "443-443"}, "UDP ports"), 1U);
    EXPECT_EQ(ports({"--udp-ports", "0-52"}, "UDP ports"), 0U);
    EXPECT_EQ(ports({"--udp-ports", "0-65535"}, "UDP ports"), 125U) << "multicasts open no port";
}

TEST(ReadCommand, TextShowsTheBusiestRowsFirst)
{
    std::string const file = capture("internet-mixed.pcap");
    Outcome const few = ketmon({"read", "--tree", file, "--top", "2"});
    Outcome const all = ketmon({"read", "--tree", file, "--top", "0"});

    EXPECT_THAT(few.output, HasSubstr("\n1.8 IP traffic (the busiest 2 of 121)\n"));
    EXPECT_THAT(few.output, HasSubstr("\n  101  54.192.94.30 "));
    EXPECT_THAT(all.output, HasSubstr("\n1.8 IP traffic\n"));
    EXPECT_GT(std::count(all.output.begin(), all.output.end(), '\n'),
              100 + std::count(few.output.begin(), few.output.end(), '\n'));
    EXPECT_THAT(few.output, testing::ContainsRegex("1.11.2 UDP ports\n  Id  UDP port.*\n   1  53 "));
}

TEST(ReadCommand, TakesTheFileAsAnOptionToo)
{
    EXPECT_EQ(
        ketmon({"read", "-r", capture("nanosecond-big-endian.pcap"), "--json"}).json()["totals"]["frames"],
        10);
}

TEST(ReadCommand, RefusesWhatIsNoCapture)
{
    TemporaryFile const text("This is no capture file, and long enough for the header of one.\n");
    TemporaryFile const nothing("");

    expectRefused(ketmon({"read", text.path()}), text.path() + ": unknown file format");
    expectRefused(ketmon({"read", nothing.path()}), nothing.path() + ": the file is too short for a capture");
    expectRefused(ketmon({"read", "/no/such/file"}), "/no/such/file: No such file or directory");
    expectRefused(ketmon({"read", KETSTATS_CAPTURES}), "is a directory");
}

// What was read in front of the damage is reported, and the damage told.
void expectDamage(Outcome const & outcome, std::string const & told, unsigned int frames)
{
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors.rfind("ketmon: " + told, 0), 0U) << outcome.errors;
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1) << outcome.errors;
    ASSERT_NE(outcome.output, "") << outcome.errors;
    EXPECT_EQ(outcome.json()["frames"], frames);
}

TEST(ReadCommand, CountsAFileThatIsCutShortUpToThere)
{
    std::string const whole = fileContents(capture("nanosecond-big-endian.pcap"));
    for (auto const & [length, frames] :
         {std::pair(whole.size() - 1, 9U), std::pair(std::size_t{24 + 16 + 3}, 0U),
          std::pair(std::size_t{24 + 7}, 0U)}) {
        TemporaryFile const cut(whole.substr(0, length));
        expectDamage(ketmon({"read", "--tree", "--json", "-q", cut.path()}),
                     cut.path() + ": damaged behind frame " + std::to_string(frames) +
                         ": the file ends within",
                     frames);
    }
}

TEST(ReadCommand, CountsAFileUpToADamagedRecord)
{
    std::string damaged = fileContents(capture("truncated-snaplen.pcap"));
    // The captured length of the second record, behind the file header, a record header and 74 or more bytes.
    unsigned char const captured = static_cast<unsigned char>(damaged[24 + 8]);
    damaged.replace(24 + 16 + captured + 8, 4, "\xFF\xFF\xFF\x7F");
    TemporaryFile const file(damaged);

    expectDamage(ketmon({"read", "--tree", "--json", "-q", file.path()}),
                 file.path() + ": damaged behind frame 1: ", 1);
}

TEST(ReadCommand, CountsSeveralFilesAsOne)
{
    ordered_json const one = read("internet-mixed.pcap");
    ordered_json const other = read("many-stations-arp.pcap");
    Outcome const both = ketmon({"read", "--tree", "--json", "-q", capture("internet-mixed.pcap"),
                                 capture("many-stations-arp.pcap")});
    Outcome const swapped = ketmon({"read", "--tree", "--json", "-q", "-r", capture("many-stations-arp.pcap"),
                                    "-r", capture("internet-mixed.pcap")});

    EXPECT_EQ(both.exitCode, 0) << both.errors;
    EXPECT_EQ(both.json()["frames"], one["frames"].get<int>() + other["frames"].get<int>());
    EXPECT_EQ(both.json()["statistics"], swapped.json()["statistics"]);
}

TEST(ReadCommand, ReadsTheOtherFilesBesideADamagedOne)
{
    TemporaryFile const cut(fileContents(capture("nanosecond-big-endian.pcap")).substr(0, 24 + 7));
    Outcome const outcome = ketmon(
        {"read", "--tree", "--json", "-q", "/no/such/file", capture("internet-mixed.pcap"), cut.path()});

    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.json()["frames"], 4709);
    EXPECT_EQ(outcome.errors, "ketmon: /no/such/file: No such file or directory\nketmon: " + cut.path() +
                                  ": damaged behind frame 0: the file ends within the header of a record\n");
}

TEST(ReadCommand, ReadsTheStandardInput)
{
    std::string const program = KETMON_PROGRAM;
    auto const count = [&](std::string const & command) {
        Outcome const outcome = test::run({"sh", "-c", command});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
        return outcome.json()["frames"].get<int>();
    };
    std::string const file = "'" + capture("internet-mixed.pcap") + "'";

    EXPECT_EQ(count("cat " + file + " | '" + program + "' read -q --tree --json -"), 4709);
    EXPECT_EQ(count("'" + program + "' read -q --tree --json - < " + file), 4709);
    EXPECT_EQ(count("gzip -c " + file + " | '" + program + "' read -q --tree --json -r -"), 4709);
    expectRefused(ketmon({"read", "-", "-"}), "-: the standard input can be read only once");
    expectRefused(ketmon({"read", "-"}), "-: the file is too short for a capture");
}

TEST(ReadCommand, TellsHowItEnded)
{
    Outcome const outcome = ketmon({"read", capture("nanosecond-big-endian.pcap")});
    Outcome const quiet = ketmon({"read", "-q", capture("nanosecond-big-endian.pcap")});
    Outcome const empty = ketmon({"read", capture("empty.pcap")});

    EXPECT_THAT(outcome.errors, testing::MatchesRegex("ketmon: 10 frames counted, 0 rows given up, "
                                                      "[0-9T:.-]+Z to [0-9T:.-]+Z\n"));
    EXPECT_EQ(quiet.errors, "");
    EXPECT_EQ(empty.errors, "ketmon: 0 frames counted, 0 rows given up\n");
}

TEST(ReadCommand, TellsFramesThatItLeftOut)
{
    test::BlockBuilder const in;
    TemporaryFile const file(in.section() + in.interface("", 65535, 113) + in.interface() +
                             in.enhanced(1, "cooked", 0) + in.enhanced(2, std::string(60, 'x'), 1));
    Outcome const outcome = ketmon({"read", "-q", "--tree", "--json", file.path()});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.json()["frames"], 1);
    EXPECT_EQ(
        outcome.errors,
        "ketmon: left out: 1 frame of link type LINUX_SLL (113), which can't be counted together with those "
        "of Ethernet\n");
}

TEST(ReadCommand, KeepsAsManyRowsAsItIsTold)
{
    auto const rows = [](std::vector<std::string> const & options, char const * table) {
        return read("many-connections.pcap", options)["statistics"][table].size();
    };

    std::size_t const all = rows({}, "IP traffic");
    EXPECT_GT(all, 100U);
    EXPECT_EQ(rows({"--rows", "ip_traffic=20"}, "IP traffic"), 20U);
    EXPECT_EQ(rows({"--rows", "all=10", "--rows", "ip_traffic=20"}, "IP traffic"), 20U);
    EXPECT_EQ(rows({"--rows", "ip_traffic=20", "--rows", "all=10"}, "IP traffic"), 10U);
    EXPECT_EQ(rows({"--rows", "ip_traffic=20", "--rows", "standard"}, "IP traffic"),
              std::min<std::size_t>(all, 999U));
    // Pairs that came back had more than one row.
    Outcome const outcome =
        ketmon({"read", "--json", capture("many-connections.pcap"), "--rows", "ip_traffic=20"});
    auto const gone = outcome.json()["tables"]["ip_traffic"]["given_up"]["rows"].get<std::size_t>();
    EXPECT_GE(gone, all - 20);
    EXPECT_THAT(outcome.errors, HasSubstr(", " + std::to_string(gone) + " rows given up"));
}

TEST(ReadCommand, RefusesRowsThatNoTableCanHave)
{
    for (char const * const text : {"ip_traffic=0", "ip_traffic=65535", "ip_traffic=", "ip_traffic=1x",
                                    "ip_traffic=-1", "ip_traffic", "all", "=1", "iptraffic=1", "standard=1"})
        expectRefused(ketmon({"read", capture("empty.pcap"), "--rows", text}),
                      "--rows: '" + std::string(text) + "' ");
    EXPECT_EQ(ketmon({"read", capture("empty.pcap"), "--rows", "station_udp_ports=65534"}).exitCode, 0);
}

TEST(ReadCommand, RefusesOtherLinkTypes)
{
    std::string other = fileContents(capture("empty.pcap"));
    other[20] = 105; // without wires
    TemporaryFile const file(other);

    expectRefused(ketmon({"read", file.path()}), "the link type is IEEE802_11 (105), which can't be counted");
}

TEST(ReadCommand, RefusesBadArguments)
{
    std::string const file = capture("empty.pcap");

    expectRefused(ketmon({"read"}), "FILE");
    expectRefused(ketmon({"read", file, "--enable", "1.10"}), "1.10 can't be enabled; it follows 1.8");
    expectRefused(ketmon({"read", file, "--enable", "1.11.1"}), "1.11.1 can't be enabled; it follows 1.8");
    expectRefused(ketmon({"read", file, "--enable", "1.5.2"}), "1.5.2 can't be enabled; it follows 1.5");
    for (char const * const none : {"1", "1.0", "1.12", "2", "2.0", "2.8", "3.1"})
        expectRefused(ketmon({"read", file, "--enable", none}),
                      "can't be enabled; the groups are 1.1 to 1.9 and 2.1 to 2.7");
    expectRefused(ketmon({"read", file, "--enable", "2.4.1"}), "2.4.1 can't be enabled; it follows 2.4");
    expectRefused(ketmon({"read", file, "--enable", "1.x"}), "'1.x'");
    expectRefused(ketmon({"read", file, "--enable", ""}), "''");
    expectRefused(ketmon({"read", file, "--link-speed", "-5"}), "link-speed");
    expectRefused(ketmon({"read", file, "--link-speed", "fast"}), "link-speed");
    for (char const * const ports : {"", "80-", "-80", "90-80", "1-65536", "x", "1-2-3", "80 - 90"})
        expectRefused(ketmon({"read", file, "--tcp-ports=" + std::string(ports)}), "--tcp-ports");
    expectRefused(ketmon({"read", file, "--top", "-1"}), "--top");
    expectRefused(ketmon({"read", file, "--top", ""}), "--top");
    for (char const * const option : {"--tcp-ports", "--udp-ports", "--save-snapshot"})
        expectRefused(ketmon({"read", file, option, ""}), std::string(option) + ": the value is empty");
    for (char const * const seconds : {"0", "0.009", "1000000001", "nan", "inf", "", "1s"})
        expectRefused(ketmon({"read", file, "--save-snapshot", "/no/such/file", "--interval", seconds}),
                      "--interval: '" + std::string(seconds) + "' isn't 0.01 to 1000000000");
    expectRefused(ketmon({"read", file, "-r", file}), "excludes");
    expectRefused(ketmon({"read", file, "--no-such-option"}), "no-such-option");
    expectRefused(ketmon({"nonsense"}), "nonsense");
    expectRefused(ketmon({}), "--help");
}

TEST(ReadCommand, FiguresComeInTheFormThatIsTold)
{
    ordered_json const document =
        ketmon({"read", "--json", capture("internet-mixed.pcap"), "--filter", "tcp"}).json();

    EXPECT_EQ(document["format"], "ketmon/2");
    EXPECT_EQ(document["source"]["kind"], "file");
    EXPECT_EQ(document["source"]["name"], capture("internet-mixed.pcap"));
    EXPECT_EQ(document["totals"]["frames"], 4709);
    EXPECT_EQ(document["filter"]["accepted"], 4321);
    EXPECT_EQ(document["errors"]["crc_errors"], nullptr) << "a file has no adapter";
    EXPECT_EQ(document["tables"].size(), 18U);
    EXPECT_EQ(document["tables"]["ip_traffic"]["rows"].size(), 121U) << "all of them";
}

TEST(ReadCommand, FiguresOfGroupsThatAreOffAreNull)
{
    ordered_json const tables =
        ketmon({"read", "--json", capture("internet-mixed.pcap"), "--enable", "1.5"}).json()["tables"];

    EXPECT_EQ(tables["ip_traffic"]["rows"], nullptr);
    EXPECT_EQ(tables["frame_types"]["rows"], nullptr);
    EXPECT_EQ(tables["stations"]["rows"][0]["tcp_ports"], nullptr);
    EXPECT_TRUE(tables["mac_traffic"]["rows"].is_array());
}

TEST(ReadCommand, ChoosesSortsAndCutsTablesInEveryForm)
{
    std::vector<std::string> const choice{"--select", "ip_traffic", "--sort", "bytes", "--top", "1"};
    auto const read = [&](std::vector<std::string> form) {
        form.insert(form.begin(), {"read", capture("internet-mixed.pcap")});
        form.insert(form.end(), choice.begin(), choice.end());
        return ketmon(form);
    };

    ordered_json const figures = read({"--json"}).json()["tables"];
    ASSERT_EQ(figures.size(), 1U);
    ASSERT_EQ(figures["ip_traffic"]["rows"].size(), 1U);
    EXPECT_EQ(figures["ip_traffic"]["rows"][0]["bytes"], 519578);

    ordered_json const tree = read({"--tree", "--json"}).json()["statistics"];
    EXPECT_EQ(tree.size(), 2U) << "the totals come along";
    ASSERT_EQ(tree["IP traffic"].size(), 1U);
    EXPECT_EQ(tree["IP traffic"][0]["Data transmitted"], 519578);

    std::string const text = read({"--tree", "--exact"}).output;
    EXPECT_THAT(text, HasSubstr("\n1.8 IP traffic (the first 1 of 121 by bytes)\n"));
    EXPECT_THAT(text, HasSubstr(" 519578 "));
    EXPECT_THAT(text, Not(HasSubstr("1.5 Network stations")));
}

TEST(ReadCommand, RefusesTablesAndColumnsThatAreNone)
{
    std::string const file = capture("empty.pcap");

    expectRefused(ketmon({"read", file, "--select", "trafic"}), "--select: 'trafic' is no table; there are ");
    expectRefused(ketmon({"read", file, "--select", "1.8.1"}), "--select: '1.8.1' leads to no statistic");
    expectRefused(ketmon({"read", file, "--select", ""}), "--select");
    expectRefused(ketmon({"read", file, "--sort", "size"}), "--sort: 'size' is no column of any table");
    expectRefused(ketmon({"read", file, "--select", "arp", "--sort", "bytes"}),
                  "there are address, mac_address");
    expectRefused(ketmon({"read", file, "--json", "--precision", "2"}), "--precision");
}

TEST(Program, ShowsNamesThatATerminalWouldObeyWithEscapes)
{
    expectRefused(ketmon({"read", "/no/such/\033[31mfile"}), "/no/such/\\x1b[31mfile");
    expectRefused(ketmon({"\033[2J"}), "there is no command '\\x1b[2J'");
}

TEST(Program, HelpsAndTellsItsVersion)
{
    Outcome const help = ketmon({"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_THAT(help.output, HasSubstr("read"));
    EXPECT_EQ(help.errors, "");

    Outcome const readHelp = ketmon({"read", "--help"});
    EXPECT_EQ(readHelp.exitCode, 0);
    for (char const * const option :
         {"--json", "--enable", "--link-speed", "--save-snapshot", "Usage: ketmon read"})
        EXPECT_THAT(readHelp.output, HasSubstr(option));

    Outcome const version = ketmon({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.output, testing::MatchesRegex("ketmon [0-9]+\\.[0-9]+\\.[0-9]+\n"
                                                      "(with [-a-z0-9, ]+\n)?(without [-a-z0-9, ]+\n)?"));
}

} // namespace
