#include "tests/host/CaptureBuilder.h"
#include "tests/host/Program.h"
#include "tests/support/Frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

using nlohmann::ordered_json;
using namespace test;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string const mixed = "internet-mixed.pcap";

struct CPrinted
{
    std::string expression;
    int frames;
};

CPrinted filter(std::string const & name, std::string const & oid, std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments{"filter", capture(name), oid, "--frames"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Outcome const outcome = ketmon(arguments);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    CPrinted printed{"", -1};
    std::istringstream lines(outcome.output);
    std::getline(lines, printed.expression);
    lines >> printed.frames;
    return printed;
}

ordered_json statistics(std::string const & path, std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments{"read", "--tree", "--json", path};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return ketmon(arguments).json()["statistics"];
}

// What the capture filter of "Global filter" accepts of a bundled capture.
ordered_json accepted(std::string const & name, std::string const & expression)
{
    return statistics(capture(name), {"--filter", expression})["Global filter"];
}

} // namespace

TEST(FilterCommand, PrintsAnExpressionThatSelectsTheFramesOfTheRow)
{
    ordered_json const rows = statistics(capture(mixed))["IP traffic"];

    for (std::size_t i = 0; i < rows.size(); i += 20) {
        CPrinted const printed = filter(mixed, "1.8." + std::to_string(rows[i]["id"].get<int>()));

        EXPECT_EQ(printed.frames, rows[i]["Frames transmitted"]);
        EXPECT_EQ(accepted(mixed, printed.expression)["Accepted frames"], printed.frames);
    }
}

TEST(FilterCommand, SelectsAPortAtAStation)
{
    // Port 80 at the station with the rows of ports.
    CPrinted const printed = filter(mixed, "1.5.7.7.1");

    EXPECT_THAT(printed.expression, HasSubstr("ether src 30:46:9a:23:fb:fa"));
    EXPECT_EQ(accepted(mixed, printed.expression)["Accepted frames"], printed.frames);
    EXPECT_GT(printed.frames, 1000);
}

// The last of four equal packets lies behind three tags, where no expression looks.
TEST(FilterCommand, TellsOnHowManyFramesTheExpressionDecidesOtherwise)
{
    ClassicBuilder const builder;
    std::string contents = builder.header();
    Bytes frame = udpFrame(hostA, hostB, 53, 53);
    for (unsigned int tags = 0; tags <= 3; ++tags, frame = tagged(frame, 5))
        contents += builder.record(tags, 0, {frame.begin(), frame.end()});
    TemporaryFile const file(contents);

    Outcome const counted = ketmon({"filter", "-q", file.path(), "1.8.1", "--frames"});
    Outcome const printed = ketmon({"filter", "-q", file.path(), "1.8.1"});
    Outcome const agreed = ketmon({"filter", "-q", capture(mixed), "1.8.101"});

    std::string const told = "ketmon: " + file.path() +
                             ": the expression decides otherwise than the row's own filter on 1 frame, ";
    EXPECT_EQ(counted.exitCode, 0);
    EXPECT_THAT(counted.output, HasSubstr("\n4\n"));
    EXPECT_THAT(counted.errors, StartsWith(told));
    EXPECT_THAT(printed.errors, StartsWith(told));
    EXPECT_EQ(agreed.errors, "");
}

TEST(FilterCommand, TakesRowsOfIPv6)
{
    std::string const services = "ipv6-services.pcap";
    for (char const * const oid : {"2.1.1", "2.2.1", "2.3.2.1"}) {
        CPrinted const printed = filter(services, oid);

        EXPECT_GT(printed.frames, 0) << oid;
        EXPECT_EQ(accepted(services, printed.expression)["Accepted frames"], printed.frames) << oid;
    }
}

TEST(FilterCommand, TakesAColumnForItsRow)
{
    CPrinted const row = filter(mixed, "1.6.1");
    CPrinted const column = filter(mixed, "1.6.1.3");

    EXPECT_EQ(column.expression, row.expression);
    EXPECT_EQ(column.frames, row.frames);
}

TEST(FilterCommand, CountsWithTheOptionsOfTheAnalysis)
{
    // Only the last port of the range has rows, so it is row 1.
    EXPECT_THAT(filter(mixed, "1.11.1.1", {"--tcp-ports", "443"}).expression, HasSubstr("= 443"));
    EXPECT_THAT(filter(mixed, "1.11.1.1").expression, HasSubstr("= 80"));
}

TEST(FilterCommand, WritesTheFramesThatPass)
{
    TemporaryFile const output("");

    Outcome const outcome = ketmon({"filter", capture(mixed), "1.8.101", "--write", output.path()});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(std::count(outcome.output.begin(), outcome.output.end(), '\n'), 1) << "only the expression";
    ordered_json const written = statistics(output.path());
    ordered_json const rows = statistics(capture(mixed))["IP traffic"];
    ASSERT_EQ(written["IP traffic"].size(), 1U);
    auto const original =
        std::find_if(rows.begin(), rows.end(), [](auto const & row) { return row["id"] == 101; });
    for (char const * column : {"Source", "Destination", "Data transmitted", "Frames transmitted"})
        EXPECT_EQ(written["IP traffic"][0][column], (*original)[column]) << column;
    EXPECT_EQ(written["Global statistics"]["Global transmitted frames"], (*original)["Frames transmitted"]);
}

TEST(FilterCommand, RefusesWhatHasNoFilter)
{
    std::string const file = capture(mixed);

    expectRefused(ketmon({"filter", file, "1.1.3"}), "no filter");
    expectRefused(ketmon({"filter", file, "1.5"}), "no filter");
    expectRefused(ketmon({"filter", file, "1"}), "no filter");
    expectRefused(ketmon({"filter", file, "1.5.700"}), "there is no statistic 1.5.700");
    expectRefused(ketmon({"filter", file, "2.5.1"}), "there is no statistic 2.5.1");
    expectRefused(ketmon({"filter", file, "1.5.65537"}), "no identifier");
    expectRefused(ketmon({"filter", file, "stations"}), "no identifier");
    expectRefused(ketmon({"filter", "/nowhere.pcap", "1.5.1"}), "/nowhere.pcap");
}

TEST(FilterCommand, LeavesNoFileBehindWhenItCannotWrite)
{
    Outcome const outcome = ketmon({"filter", capture(mixed), "1.8.101", "--write", "/nowhere/out.pcap"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("/nowhere/out.pcap"));
}

TEST(FilterCommand, MayWriteOverTheFileThatItReads)
{
    std::string const original = fileContents(capture("jumbo-ssh.pcap"));
    TemporaryFile const file(original);
    TemporaryFile const unfinished(original);
    std::string const link = file.path() + ".link";
    std::filesystem::create_symlink(file.path(), link);
    std::filesystem::rename(unfinished.path(), file.path() + ".part");

    // Through a link, and from where the writer would put what it has so far.
    Outcome const linked = ketmon({"filter", file.path(), "1.5.1", "--frames", "--write", link});
    Outcome const beside =
        ketmon({"filter", file.path() + ".part", "1.5.1", "--frames", "--write", file.path()});

    EXPECT_EQ(linked.exitCode, 0) << linked.errors;
    EXPECT_EQ(beside.output, linked.output);
    EXPECT_EQ(fileContents(file.path() + ".part"), original);
    EXPECT_THAT(linked.output, HasSubstr("\n45\n"));
    EXPECT_EQ(statistics(file.path())["Global statistics"]["Global transmitted frames"], 45);
    std::filesystem::remove(link);
    std::filesystem::remove(file.path() + ".part");
}

// A pipe would have nothing more, or nobody at its other end.
TEST(FilterCommand, RefusesToReadAPipeTwice)
{
    std::string const command =
        std::string("cat ") + capture(mixed) + " | " + KETMON_PROGRAM + " filter /dev/stdin 1.8.101 ";
    TemporaryFile const output("what was there before");

    expectRefused(run({"bash", "-c", command + "--frames"}), "/dev/stdin: is read twice");
    expectRefused(run({"bash", "-c", command + "--write " + output.path()}), "/dev/stdin: is read twice");

    EXPECT_EQ(fileContents(output.path()), "what was there before");
    EXPECT_EQ(run({"bash", "-c", command}).output, ketmon({"filter", capture(mixed), "1.8.101"}).output);
}

TEST(FilterCommand, RefusesAnEmptyNameOfAFile)
{
    expectRefused(ketmon({"filter", capture(mixed), "1.8.101", "--write", ""}),
                  "--write: the value is empty");
}

TEST(ReadCommand, CountsWhatAFilterAcceptsAndRejects)
{
    ordered_json const with = statistics(capture(mixed), {"--filter", "tcp port 443"});
    ordered_json const without = statistics(capture(mixed));

    EXPECT_EQ(with["Global filter"], (ordered_json{{"Filtered frames", 4709},
                                                   {"Accepted frames", 1069},
                                                   {"Rejected frames", 3640},
                                                   {"Accepted frames in last sample", 1069},
                                                   {"Rejected frames in last sample", 3640}}));
    EXPECT_EQ(without["Global filter"]["Filtered frames"], 0);
    EXPECT_EQ(with["Network stations"], without["Network stations"]) << "the others count every frame";
}

// libpcap's optimiser refuses the first and makes another of the second.
TEST(ReadCommand, TakesAFilterAsItIsWritten)
{
    ordered_json const neither = accepted(mixed, "tcp and udp");
    ordered_json const either = accepted(mixed, "ip proto 17 or ether src 6c:f0:49:b2:de:6e");
    ordered_json const both = accepted(mixed, "ip proto 17 and ether src 6c:f0:49:b2:de:6e");
    ordered_json const one = accepted(mixed, "not (not (ip proto 17 or ether src 6c:f0:49:b2:de:6e) or "
                                             "(ether src 6c:f0:49:b2:de:6e and ip proto 17))");

    EXPECT_EQ(neither["Accepted frames"], 0);
    EXPECT_EQ(neither["Rejected frames"], 4709);
    EXPECT_GT(both["Accepted frames"], 0);
    EXPECT_EQ(one["Accepted frames"],
              either["Accepted frames"].get<int>() - both["Accepted frames"].get<int>());
}

TEST(ReadCommand, RefusesATextThatIsNoFilter)
{
    expectRefused(ketmon({"read", capture(mixed), "--filter", "tcp and and"}), "is no capture filter");
    expectRefused(ketmon({"read", capture(mixed), "--filter", ""}), "--filter: the value is empty");
}
