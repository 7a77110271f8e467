#include "tests/host/Process.h"

#include "host/wire/Fingerprint.h"
#include "host/wire/Greeting.h"
#include "host/wire/SampleMessage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <future>

using namespace ketmon;
using nlohmann::ordered_json;
using test::Agent;
using test::capture;
using test::Process;
using test::RawAgent;
using testing::HasSubstr;
using testing::Not;

namespace {

std::vector<std::string> replay(std::string const & name, std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments = {"-r", capture(name), "--interval", "0.02"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

// One frame; the next one is far away.
std::vector<std::string> endless()
{
    return replay("internet-mixed.pcap", {"--pace", "0.000001"});
}

CWelcome someWelcome()
{
    CWelcome welcome;
    welcome.fingerprint = schemaFingerprint();
    welcome.heartbeat = 1000;
    welcome.groups = 0xFFE;
    welcome.agent = "raw";
    return welcome;
}

// A sample in which nothing changed.
std::string sample(MessageType type, std::uint64_t sequence)
{
    CSampleHead head;
    head.sequence = sequence;
    return encoded(type, head.body({}, std::string_view("\0\0", 2)));
}

std::string welcomed()
{
    return encoded(MessageType::welcome, someWelcome().body());
}

// What a console says to an agent that says that.
std::string failureAgainst(std::string const & bytes)
{
    RawAgent const agent(bytes);
    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--json", "--no-reconnect"});

    EXPECT_EQ(outcome.exitCode, 1);
    std::string const start = "ketmon: " + agent.address() + ": ";
    EXPECT_EQ(outcome.errors.substr(0, start.size()), start);
    EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1);
    return outcome.errors.size() > start.size() ? outcome.errors.substr(start.size()) : "";
}

std::uint64_t framesOf(ordered_json const & rows)
{
    std::uint64_t sum = 0;
    for (ordered_json const & row : rows)
        for (char const * const column : {"frames", "frames_sent", "frames_received"})
            if (row.contains(column))
                sum += row[column].get<std::uint64_t>();
    return sum;
}

std::uint64_t framesOfOthers(ordered_json const & rows)
{
    for (ordered_json const & row : rows)
        if (row.contains("others"))
            return row["frames"].get<std::uint64_t>();
    return 0;
}

std::vector<std::string> linesOf(Process & console)
{
    std::vector<std::string> lines;
    for (std::string line = console.line(); !line.empty(); line = console.line())
        lines.push_back(line);
    return lines;
}

// Waits until a console has seen a frame, and says how many.
std::uint64_t framesWhenCounting(Process & console)
{
    for (std::string line = console.line(); !line.empty(); line = console.line())
        if (auto const frames = ordered_json::parse(line)["totals"]["frames"].get<std::uint64_t>();
            frames > 0)
            return frames;
    return 0;
}

TEST(Console, SaysWhyItCanNotConnect)
{
    std::string address;
    {
        Agent gone(replay("empty.pcap"));
        address = gone.address();
        EXPECT_EQ(gone.process().wait(), 0);
    }
    test::Outcome const outcome = test::ketmon({"console", address});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors, "ketmon: " + address + ": Connection refused\n");
    EXPECT_EQ(test::ketmon({"console", "nonsense:here"}).exitCode, 2);
    EXPECT_EQ(test::ketmon({"console", address, "--select", "1.5.1"}).exitCode, 2);
}

TEST(Console, SaysThatAnAgentIsGone)
{
    Agent agent(endless());
    Process client({"console", agent.address(), "--json", "--no-reconnect"});
    EXPECT_NE(client.line(), "");

    agent.process().signal(SIGKILL);

    EXPECT_EQ(client.wait(), 1);
    EXPECT_THAT(client.errors(), HasSubstr(agent.address() + ": "));
}

TEST(Console, PrintsTablesToo)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0", "--consoles", "1", "--name", "web7"}));
    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--top", "1", "--select", "1.7"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, HasSubstr("web7 counts " + capture("internet-mixed.pcap") + ", since 20"));
    EXPECT_THAT(outcome.output, HasSubstr("Z: live, sample 1\n"));
    EXPECT_THAT(outcome.output, HasSubstr("Z: the agent ended after 4709 frames\n"));
    EXPECT_THAT(outcome.output, HasSubstr("MAC conversations"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("count since")));
}

TEST(Console, MarksWhatCountsSinceTheAgentBegan)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0", "--consoles", "1"}));

    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--tree"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.output, HasSubstr("\nIP subprotocols, IP ports and ARP connections count since 20"));
}

TEST(Console, EverySampleHasItsNumberItsTimeAndItsInterval)
{
    Agent agent(endless());
    Process client({"console", agent.address(), "--json", "--count", "3", "--select", "stations"});

    std::vector<ordered_json> samples;
    for (std::string line = client.line(); !line.empty(); line = client.line())
        samples.push_back(ordered_json::parse(line));

    ASSERT_EQ(samples.size(), 3U) << client.errors();
    EXPECT_EQ(samples[0]["source"]["kind"], "agent");
    EXPECT_EQ(samples[0]["interval_seconds"], nullptr);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        EXPECT_EQ(samples[i]["format"], "ketmon/2");
        EXPECT_EQ(samples[i]["sample"], i + 1);
        EXPECT_EQ(samples[i]["zero"], samples[0]["zero"]);
        EXPECT_FALSE(samples[i].contains("end"));
        if (i > 0) {
            EXPECT_GT(samples[i]["time"], samples[i - 1]["time"]);
            EXPECT_GT(samples[i]["interval_seconds"].get<double>(), 0.0);
        }
    }
}

TEST(Console, SaysThatTheAgentWasInterrupted)
{
    Agent agent(endless());
    Process client({"console", agent.address(), "--json"});
    EXPECT_NE(client.line(), "");

    agent.process().signal(SIGTERM);

    EXPECT_EQ(outputOf(client).last["end"]["reason"], "interrupted");
    EXPECT_EQ(client.wait(), 0) << client.errors();
}

// What has no zero point in a sample begins with the console as all else does.
TEST(Console, HasOneZeroPoint)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0", "--consoles", "1", "--linger", "3600"}));
    Process early({"console", agent.address(), "--json"});
    ordered_json const whole = outputOf(early).last;
    EXPECT_EQ(early.wait(), 0) << early.errors();

    Process late({"console", agent.address(), "--json"});
    ordered_json const rest = outputOf(late).last;
    EXPECT_EQ(late.wait(), 0) << late.errors();

    EXPECT_EQ(rest["totals"]["frames"], 0);
    for (char const * const table : {"ip_protocols", "tcp_ports", "udp_ports", "ip_traffic"}) {
        EXPECT_GT(framesOf(whole["tables"][table]["rows"]), 0U) << table;
        EXPECT_EQ(framesOf(rest["tables"][table]["rows"]), 0U) << table;
        EXPECT_EQ(rest["tables"][table]["zero"], rest["zero"]) << table;
    }
    std::uint64_t portFrames = 0;
    for (ordered_json const & station : rest["tables"]["stations"]["rows"])
        portFrames += framesOf(station["tcp_ports"]) + framesOf(station["udp_ports"]);
    EXPECT_EQ(portFrames, 0U);
    // Bindings are what is known, whenever it was learned.
    EXPECT_EQ(rest["tables"]["arp"]["rows"], whole["tables"]["arp"]["rows"]);
    EXPECT_LT(rest["tables"]["arp"]["zero"], rest["zero"]);
    agent.process().signal(SIGTERM);
    EXPECT_EQ(agent.process().wait(), 0);
}

// Few rows, given up all the while: rows and ledgers come to what was counted since the console came, whenever
// that was.
TEST(Console, TablesAndWhatTheyGaveUpComeToTheWhole)
{
    // Slow enough for a busy machine to start the second console meanwhile.
    Agent agent({"-r", capture("many-connections.pcap"), "--interval", "0.1", "--pace", "0.25", "--rows",
                 "all=20", "--consoles", "1"});
    Process early({"console", agent.address(), "--json", "--select", "totals", "--select", "protocols",
                   "--select", "ip_traffic", "--select", "ip_protocols"});
    EXPECT_GT(framesWhenCounting(early), 0U);
    Process late({"console", agent.address(), "--json"});

    // Both are read all the while: a console that is held up is given up.
    std::future<std::vector<std::string>> earlyLines =
        std::async(std::launch::async, [&] { return linesOf(early); });
    std::vector<std::string> const lateLines = linesOf(late);
    std::uint64_t withoutRow = 0;
    for (std::vector<std::string> const & lines : {earlyLines.get(), lateLines}) {
        unsigned int samples = 0;
        for (std::string const & line : lines) {
            ordered_json const tables = ordered_json::parse(line)["tables"];
            std::uint64_t const pairs = framesOf(tables["ip_traffic"]["rows"]) +
                                        tables["ip_traffic"]["given_up"]["frames"].get<std::uint64_t>();
            std::uint64_t const protocols = framesOf(tables["ip_protocols"]["rows"]) +
                                            tables["ip_protocols"]["given_up"]["frames"].get<std::uint64_t>();
            ASSERT_EQ(pairs, protocols) << line;
            // What a console saw of pairs that went stands with the others.
            withoutRow = framesOfOthers(tables["ip_traffic"]["rows"]) +
                         tables["ip_traffic"]["given_up"]["frames"].get<std::uint64_t>();
            ++samples;
        }
        EXPECT_GT(samples, 2U);
        EXPECT_GT(withoutRow, 0U);
    }
    EXPECT_EQ(early.wait(), 0) << early.errors();
    EXPECT_EQ(late.wait(), 0) << late.errors();
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(Console, TellsWhatIsNotCounted)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0", "--consoles", "1", "--enable", "1.8"}));
    Process client({"console", agent.address(), "--json"});

    ordered_json const last = outputOf(client).last;

    EXPECT_EQ(last["tables"]["stations"]["rows"], nullptr);
    EXPECT_NE(last["tables"]["ip_traffic"]["rows"], nullptr);
    EXPECT_EQ(last["capture"]["received"], nullptr);
    EXPECT_EQ(last["errors"]["crc_errors"], nullptr);
}

TEST(Console, NamesAStrangerInThePlaceOfAnAgent)
{
    EXPECT_THAT(failureAgainst("HTTP/1.1 400 Bad Request\r\n\r\n"), HasSubstr("a web server is"));
    EXPECT_THAT(failureAgainst("SSH-2.0-server\r\n"), HasSubstr("a speaker of SSH is"));
    EXPECT_THAT(failureAgainst(std::string("\x15\x03\x01\x00\x02\x02\x46", 7)), HasSubstr("of TLS is"));
    // Before the welcome nothing is large.
    EXPECT_THAT(failureAgainst(std::string("\1\0\1\0\2", 5)), HasSubstr("is at the other end"));
}

TEST(Console, RefusesAnAgentOfVersionOne)
{
    CWelcome welcome = someWelcome();
    welcome.version = 1;

    EXPECT_THAT(failureAgainst(encoded(MessageType::welcome, welcome.body().substr(0, 18))),
                HasSubstr("the agent speaks version 1 of the protocol, and this end version 2"));
}

TEST(Console, ShowsARefusalEscapedAndShort)
{
    std::string const refusal = "\x1B[2J" + std::string(longestText - 4, 'x');

    std::string const shown = failureAgainst(encoded(MessageType::refusal, refusal));

    EXPECT_THAT(shown, testing::StartsWith("refused: \\x1b[2Jxxx"));
    EXPECT_LT(shown.size(), 1100U);
    EXPECT_THAT(failureAgainst(encoded(MessageType::refusal, refusal + "x")),
                HasSubstr("a refusal of 1025 bytes is announced, and 1024 are allowed"));
}

// An agent that was replaced by one of another version, to which no try more would lead.
// As an agent says that reads a hello to the end of the selection, and knows no more.
std::string unknownRest()
{
    return encoded(MessageType::refusal, CRefusal{"a message is too long", true}.body());
}

TEST(Console, AsksAnAgentOfBeforeForTheFirstTree)
{
    RawAgent agent({unknownRest(), welcomed() + sample(MessageType::full, 1)});
    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--json", "--count", "1"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    ordered_json const told = ordered_json::parse(outcome.output);
    EXPECT_EQ(told["sample"], 1);
    EXPECT_TRUE(told["tables"]["ipv6_traffic"]["rows"].is_null());
    CHello plain;
    plain.fingerprint = schemaFingerprint();
    plain.selection = {"1"};
    EXPECT_THAT(agent.heard(), HasSubstr(encoded(MessageType::hello, plain.body())));
}

TEST(Console, TellsThatAnAgentOfBeforeLacksWhatIsAskedFor)
{
    RawAgent const agent({unknownRest()});
    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--json", "--select", "vlans"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("refused: a message is too long"));
}

TEST(Console, EndsAtARefusalThatLasts)
{
    std::string const served = welcomed() + sample(MessageType::full, 1);
    RawAgent const agent(std::vector<std::string>{
        served, encoded(MessageType::refusal, CRefusal{"another version", true}.body())});

    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--json"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("the agent closed the connection; trying again in "));
    EXPECT_THAT(outcome.errors, testing::EndsWith(": refused: another version\n"));
}

TEST(Console, ComesBackBehindARefusalThatPasses)
{
    std::string const served = welcomed() + sample(MessageType::full, 1);
    RawAgent const agent(std::vector<std::string>{served,
                                                  encoded(MessageType::refusal, CRefusal{"too many"}.body()),
                                                  served + encoded(MessageType::end, CEnd().body())});

    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--json"});

    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors, HasSubstr(": refused: too many; trying again in "));
}

TEST(Console, ShowsTheNameOfAnAgentEscaped)
{
    CWelcome welcome = someWelcome();
    welcome.agent = "a\x1B]0;b";
    RawAgent const agent(encoded(MessageType::welcome, welcome.body()) + sample(MessageType::full, 1) +
                         encoded(MessageType::end, CEnd().body()));

    test::Outcome const outcome = test::ketmon({"console", agent.address(), "--select", "1.1"});

    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("a\\x1b]0;b counts"));
    EXPECT_EQ(outcome.output.find('\x1B'), std::string::npos);
}

TEST(Console, RefusesMessagesThatDoNotBelongWhereTheyAre)
{
    std::string const full = sample(MessageType::full, 1);

    EXPECT_THAT(failureAgainst(full), HasSubstr("a message of type 4"));
    EXPECT_THAT(failureAgainst(encoded(MessageType::heartbeat, "")), HasSubstr("a message of type 7"));
    EXPECT_THAT(failureAgainst(welcomed() + sample(MessageType::delta, 1)), HasSubstr("a message of type 5"));
    EXPECT_THAT(failureAgainst(welcomed() + encoded(MessageType::end, CEnd().body())),
                HasSubstr("a message of type 6"));
    EXPECT_THAT(failureAgainst(welcomed() + welcomed()), HasSubstr("a message of type 2"));
    EXPECT_THAT(failureAgainst(welcomed() + full + sample(MessageType::delta, 3)),
                HasSubstr("sample 3 came where 2 was due"));
    EXPECT_THAT(failureAgainst(welcomed() + full), HasSubstr("the agent closed the connection"));
}

TEST(Console, ExitsWithOneIfTheAgentLostItsInterface)
{
    CEnd const end{EndReason::interfaceGone, 5, "eth0: it disappeared"};

    EXPECT_EQ(
        failureAgainst(welcomed() + sample(MessageType::full, 1) + encoded(MessageType::end, end.body())),
        "the agent lost its interface: eth0: it disappeared\n");
}

TEST(Console, EndsAfterACountOfSamplesHoweverTheyCome)
{
    RawAgent const agent(welcomed() + sample(MessageType::full, 1) + sample(MessageType::delta, 2) +
                         sample(MessageType::delta, 3) + sample(MessageType::delta, 4));

    Process console({"console", agent.address(), "--json", "--count", "2"});

    EXPECT_EQ(linesOf(console).size(), 2U);
    EXPECT_EQ(console.wait(), 0);
}

TEST(Console, AsksForWhatIsSelected)
{
    RawAgent agent(welcomed());
    EXPECT_EQ(test::ketmon({"console", agent.address(), "--select", "1.5"}).exitCode, 1);

    CMessageReader reader(largestToAgent);
    reader.feed(agent.heard());
    CMessage message;
    ASSERT_TRUE(reader.next(message));
    EXPECT_EQ(message.type, MessageType::hello);
    EXPECT_EQ(CHello::parsed(message.body, schemaFingerprint()).selection,
              (std::vector<std::string>{"1.1", "1.5"}));
}

TEST(Console, SaysWhenItsOutputCanNotBeWritten)
{
    Agent agent(endless());

    test::Outcome const full = test::run(
        {"sh", "-c", "exec \"$0\" \"$@\" >/dev/full", KETMON_PROGRAM, "console", agent.address(), "--json"});
    EXPECT_EQ(full.exitCode, 1);
    EXPECT_EQ(full.errors, "ketmon: the output can't be written: No space left on device\n");

    Process client({"console", agent.address()});
    EXPECT_NE(client.line(), "");
    client.closeOutput();
    EXPECT_EQ(client.wait(), 1);
    EXPECT_EQ(client.errors(), "ketmon: the output can't be written: Broken pipe\n");
}

} // namespace
