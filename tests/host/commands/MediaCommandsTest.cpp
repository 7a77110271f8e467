#include "tests/host/Fifo.h"
#include "tests/host/Process.h"
#include "tests/host/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using nlohmann::ordered_json;
using test::ketmon;
using test::Outcome;
using test::TemporaryFile;
using testing::HasSubstr;
using testing::Not;

namespace {

struct Medium
{
    char const * file;
    char const * linkType;
    unsigned char number; // in a capture file
};

constexpr Medium media[] = {
    {"null.pcap", "null", 0},
    {"null-other-order.pcap", "null", 0},
    {"loop.pcap", "loop", 108},
    {"raw.pcap", "raw", 101},
    {"ipv4.pcap", "ipv4", 228},
    {"ipv6.pcap", "ipv6", 229},
    {"ppp.pcap", "ppp", 9},
    {"linux-sll.pcap", "linux_sll", 113},
    {"linux-sll-rewritten.pcap", "linux_sll", 113},
    {"linux-sll2.pcap", "linux_sll2", 276 - 256},
};

std::string pathOf(Medium const & medium)
{
    return test::capture(std::string("media/") + medium.file);
}

ordered_json read(std::string const & path, std::vector<std::string> more = {})
{
    more.insert(more.begin(), {"read", "-q", "--json", path});
    return ketmon(more).json();
}

struct Filtered
{
    std::string expression;
    unsigned int frames = 0;
};

Filtered filtered(std::string const & path, std::string const & oid)
{
    Outcome const outcome = ketmon({"filter", "-q", path, oid, "--frames"});
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.errors, "") << path << ' ' << oid << ": the expression decides as the filter";
    Filtered result;
    std::istringstream lines(outcome.output);
    std::getline(lines, result.expression);
    lines >> result.frames;
    return result;
}

TEST(MediaCommands, WhatCanNotBeKnownIsNotCounted)
{
    for (Medium const & medium : media) {
        ordered_json const figures = read(pathOf(medium));

        EXPECT_EQ(figures["source"]["link_type"], medium.linkType) << medium.file;
        EXPECT_GT(figures["totals"]["frames"], 20) << medium.file;
        for (char const * const table : {"stations", "mac_traffic", "vlans", "inner_vlans"}) {
            EXPECT_TRUE(figures["tables"][table]["rows"].is_null()) << medium.file << ' ' << table;
            EXPECT_TRUE(figures["tables"][table]["row_count"].is_null()) << medium.file << ' ' << table;
            EXPECT_TRUE(figures["tables"][table]["given_up"].is_null()) << medium.file << ' ' << table;
        }
        EXPECT_TRUE(read(pathOf(medium), {"--enable", "1.5"})["tables"]["stations"]["rows"].is_null());
        EXPECT_TRUE(read(pathOf(medium), {"--enable", "2.4"})["tables"]["vlans"]["rows"].is_null());
    }
}

TEST(MediaCommands, TheReportSaysWhatIsNotCountedAndWhy)
{
    std::string const text = ketmon({"read", "-q", pathOf(media[3])}).output;

    EXPECT_THAT(text, HasSubstr("raw.pcap, raw\n"));
    EXPECT_THAT(text,
                HasSubstr("Not counted: stations (1.5), MAC conversations (1.7), VLANs (2.4.1), inner VLANs "
                          "(2.4.2)\n"));
    EXPECT_THAT(text, HasSubstr("Frames of raw don't tell the addresses of both ends"));
    EXPECT_THAT(text, Not(HasSubstr("Ethernet")));
}

TEST(MediaCommands, ARowHasAFilterForItsMedium)
{
    unsigned int ipv6Rows = 0;
    for (Medium const & medium : media) {
        ordered_json const tables = read(pathOf(medium))["tables"];
        for (char const * const table :
             {"protocols", "ip_traffic", "ip_protocols", "tcp_ports", "udp_ports", "ipv6_traffic",
              "ipv6_protocols", "ipv6_tcp_ports", "ipv6_udp_ports"})
            for (ordered_json const & row : tables[table]["rows"]) {
                Filtered const result = filtered(pathOf(medium), row["oid"]);

                // Those of IP and IPv6 count unicasts alone, which all are but some of IPv6.
                std::string const name = table;
                if (name == "protocols" || name == "ip_traffic") {
                    EXPECT_EQ(result.frames, row["frames"]) << medium.file << ' ' << row;
                } else if (name == "ipv6_traffic") {
                    EXPECT_GE(result.frames, row["frames"]) << medium.file << ' ' << row;
                }
                EXPECT_GT(result.frames, 0U) << medium.file << ' ' << row;
                ipv6Rows += name.starts_with("ipv6_");
            }
        // Nobody is told whom a binding is of but by the sender's address of LINUX_SLL.
        for (char const * const table : {"arp", "neighbours"})
            for (ordered_json const & row : tables[table]["rows"])
                filtered(pathOf(medium), row["oid"]);
    }
    EXPECT_GT(ipv6Rows, 20U);
}

// As people write them, whichever form the frames of a medium have.
TEST(MediaCommands, AnExpressionIsForTheMediumOfTheFile)
{
    for (Medium const & medium : media) {
        ordered_json const rows = read(pathOf(medium))["tables"]["protocols"]["rows"];
        for (auto const & [number, name] : {std::pair(0x0800, "ip"), std::pair(0x86DD, "ip6")}) {
            unsigned int frames = 0;
            for (ordered_json const & row : rows)
                if (row["protocol"] == number)
                    frames = row["frames"];
            // libpcap doesn't look behind tags and 802.2 headers there.
            if (medium.file == std::string("linux-sll-rewritten.pcap"))
                continue;
            ordered_json const filter = read(pathOf(medium), {"--filter", name})["filter"];
            EXPECT_EQ(filter["accepted"], frames) << medium.file << ' ' << name;
        }
    }

    Outcome const outcome = ketmon({"read", "-q", pathOf(media[3]), "--filter", "ether src 2:0:0:0:0:1"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("is no capture filter for the link type RAW (101): "));
}

TEST(MediaCommands, FramesAreWrittenWithTheirLinkType)
{
    for (Medium const & medium : media) {
        TemporaryFile const written("");
        ordered_json const row = read(pathOf(medium))["tables"]["protocols"]["rows"][0];
        Outcome const outcome =
            ketmon({"filter", "-q", pathOf(medium), row["oid"].get<std::string>(), "-w", written.path()});
        EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;

        EXPECT_EQ(static_cast<unsigned char>(test::fileContents(written.path())[20]), medium.number);
        ordered_json const again = read(written.path());
        EXPECT_EQ(again["totals"]["frames"], row["frames"]) << medium.file;
        EXPECT_EQ(again["tables"]["protocols"]["rows"][0]["bytes"], row["bytes"]) << medium.file;
    }

    TemporaryFile const written("");
    Outcome const several =
        ketmon({"filter", "-q", test::capture("media/several.pcapng"), "1.8.1", "-w", written.path()});
    EXPECT_EQ(several.exitCode, 1);
    EXPECT_THAT(several.errors, HasSubstr("and the file can tell one"));
}

TEST(MediaCommands, ASavedSnapshotKnowsItsMedium)
{
    for (Medium const & medium : media) {
        TemporaryFile const saved("");
        ordered_json const figures = read(pathOf(medium), {"--save-snapshot", saved.path()});
        ordered_json const shown = ketmon({"show", saved.path(), "--json"}).json();

        EXPECT_EQ(shown["source"]["link_type"], medium.linkType);
        EXPECT_EQ(shown["tables"], figures["tables"]) << medium.file;
    }
}

TEST(MediaCommands, AnAgentTellsItsConsoles)
{
    for (Medium const & medium : {media[0], media[3], media[9]}) {
        test::Agent agent({"-r", pathOf(medium), "--consoles", "1", "--interval", "0.1"});
        test::Process console({"console", agent.address(), "--json"});
        std::string last;
        for (std::string line = console.line(); !line.empty(); line = console.line())
            last = line;
        ordered_json const told = ordered_json::parse(last);

        EXPECT_EQ(told["source"]["link_type"], medium.linkType);
        EXPECT_TRUE(told["tables"]["stations"]["rows"].is_null()) << medium.file;
        EXPECT_TRUE(told["tables"]["vlans"]["rows"].is_null()) << medium.file;
        EXPECT_EQ(told["totals"]["frames"], read(pathOf(medium))["totals"]["frames"]) << medium.file;
    }
}

// Consoles that come then are told, and stations are left out from the first frame on.
TEST(MediaCommands, AnAgentLearnsTheMediumOfAPipeWithItsFirstFrame)
{
    test::Fifo pipe;
    test::Agent agent({"-r", pipe.path(), "--interval", "0.1"});
    auto const stateOf = [](test::Process & console, unsigned int frames) {
        ordered_json state;
        for (std::string line = console.line(); !line.empty(); line = console.line()) {
            state = ordered_json::parse(line);
            if (state["totals"]["frames"] == frames)
                break;
        }
        return state;
    };
    test::Process early({"console", agent.address(), "--json"});
    ASSERT_NE(early.line(), "") << early.errors();

    pipe.write(test::fileContents(pathOf(media[3])));

    ordered_json const counted = stateOf(early, 50);
    EXPECT_EQ(counted["tables"]["stations"]["row_count"], 0) << "though it was told that they are counted";
    test::Process late({"console", agent.address(), "--json"});
    ordered_json const told = ordered_json::parse(late.line());
    EXPECT_EQ(told["source"]["link_type"], "raw");
    EXPECT_TRUE(told["tables"]["stations"]["rows"].is_null());
    EXPECT_TRUE(told["tables"]["inner_vlans"]["rows"].is_null());
}

TEST(MediaCommands, TheBenchCountsThemToo)
{
    Outcome const outcome =
        ketmon({"bench", test::capture("media/several.pcapng"), "--passes", "2", "--json"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(outcome.json()["frames"], 102);
}

TEST(MediaCommands, FilesOfEthernetAndOthersCountTheFormer)
{
    std::string const ethernet = test::capture("multicast-ip-options.pcap");
    Outcome const both = ketmon({"read", "--json", pathOf(media[3]), ethernet});

    EXPECT_EQ(both.json()["source"]["link_type"], "ethernet");
    EXPECT_EQ(both.json()["tables"], read(ethernet)["tables"]);
    EXPECT_THAT(both.errors, HasSubstr("left out: 50 frames of link type RAW (101), which can't be counted "
                                       "together with those of Ethernet\n"));
}

} // namespace
