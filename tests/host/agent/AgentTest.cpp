#include "tests/host/Process.h"

#include "host/agent/Identity.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/Greeting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <thread>

#include <unistd.h>

using namespace ketmon;
using nlohmann::ordered_json;
using test::Agent;
using test::capture;
using test::ConsoleOutput;
using test::Process;
using test::RawClient;
using testing::HasSubstr;

namespace {

std::vector<std::string> console(Agent const & agent, std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments = {"console", agent.address(), "--json", "--tree"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

std::vector<std::string> replay(std::string const & name, std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments = {"-r", capture(name), "--interval", "0.02"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

// With the limits that an agent has unless told.
ordered_json readStatistics(std::string const & name)
{
    return test::ketmon({"read", "--tree", "--json", "--rows", "all=4096", capture(name)})
        .json()["statistics"];
}

// Takes out what depends on when samples were taken, and percentages to the hundredth within which they stay
// as they are.
void forgetTime(ordered_json & node)
{
    if (node.is_object()) {
        node.erase("Sample number");
        for (char const * const kind : {"Current", "Average", "Peak"})
            node.erase(std::string(kind) + " network utilisation");
        if (node.contains("Percentage"))
            node["Percentage"] = std::trunc(node["Percentage"].get<double>() * 100.0);
    }
    if (node.is_structured())
        for (auto & child : node)
            forgetTime(child);
}

ordered_json timeless(ordered_json node)
{
    forgetTime(node);
    return node;
}

std::string hello(std::vector<std::string> const & selection)
{
    CHello hello;
    hello.fingerprint = schemaFingerprint();
    hello.selection = selection;
    return encoded(MessageType::hello, hello.body());
}

// The refusal that an agent answers with.
CRefusal refusalOf(RawClient const & client)
{
    CMessageReader reader(largestToConsole);
    reader.feed(client.receiveAll());
    CMessage message;
    if (!reader.next(message) || message.type != MessageType::refusal)
        return {};
    return CRefusal::parsed(message.body);
}

// One that would be the same another time.
auto lasts(std::string const & text)
{
    return testing::AllOf(testing::Field(&CRefusal::text, HasSubstr(text)),
                          testing::Field(&CRefusal::lasting, true));
}

TEST(Agent, ConsolesSeeWhatReadSees)
{
    for (std::string const & name :
         {std::string("internet-mixed.pcap"), std::string("many-stations-arp.pcap"),
          std::string("llc-snap-ipx-vlan.pcap"), std::string("empty.pcap")}) {
        Agent agent(replay(name, {"--pace", "0", "--consoles", "3"}));
        Process whole(console(agent));
        Process stations(console(agent, {"--select", "1.5", "--select", "1.9"}));
        Process types(console(agent, {"--select", "1.4.1"}));

        ordered_json const all = outputOf(whole).last;
        ordered_json const some = outputOf(stations).last;
        ordered_json const few = outputOf(types).last;

        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
        EXPECT_EQ(whole.wait(), 0) << whole.errors();
        EXPECT_EQ(stations.wait(), 0) << stations.errors();
        EXPECT_EQ(types.wait(), 0) << types.errors();
        ordered_json const expected = timeless(readStatistics(name));
        EXPECT_EQ(timeless(all["statistics"]), expected) << name;
        EXPECT_EQ(all["ended"], all["frames"]);
        EXPECT_EQ(timeless(some["statistics"]),
                  (ordered_json{{"Global statistics", expected["Global statistics"]},
                                {"Network stations", expected["Network stations"]},
                                {"ARP connections", expected["ARP connections"]}}));
        EXPECT_EQ(
            timeless(few["statistics"]),
            (ordered_json{{"Global statistics", expected["Global statistics"]},
                          {"Frame tables", {{"Frame types", expected["Frame tables"]["Frame types"]}}}}));
    }
}

TEST(Agent, DeltasOfAPacedCaptureAddUpToTheWhole)
{
    Agent agent(replay("file-service-fragments.pcap", {"--pace", "200", "--consoles", "2"}));
    Process one(console(agent));
    Process two(console(agent, {"--select", "1.8"}));

    ConsoleOutput const all = outputOf(one);
    ConsoleOutput const pairs = outputOf(two);

    ordered_json const expected = timeless(readStatistics("file-service-fragments.pcap"));
    EXPECT_EQ(timeless(all.last["statistics"]), expected);
    EXPECT_EQ(timeless(pairs.last["statistics"])["IP traffic"], expected["IP traffic"]);
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(Agent, AConsoleThatComesBackStartsAnew)
{
    Agent agent(replay("many-stations-arp.pcap", {"--pace", "0", "--consoles", "2", "--linger", "3600"}));
    Process killed(console(agent));
    EXPECT_NE(killed.line(), "");
    killed.signal(SIGKILL);
    EXPECT_EQ(killed.wait(), -1);
    // Only then is it sure not to count as one of the two. It has left or was lost.
    EXPECT_TRUE(agent.process().waitForError(": l"));

    Process first(console(agent));
    Process again(console(agent));
    ordered_json const seen = outputOf(again).last;

    ordered_json const expected = readStatistics("many-stations-arp.pcap");
    EXPECT_EQ(timeless(seen["statistics"]), timeless(expected));
    EXPECT_EQ(timeless(outputOf(first).last["statistics"]), timeless(expected));
    EXPECT_EQ(again.wait(), 0) << again.errors();
    EXPECT_EQ(first.wait(), 0) << first.errors();

    // After the end: what has no zero point is there at once; the rest counts from now.
    Process late(console(agent, {"--select", "1.9"}));
    ordered_json const rest = outputOf(late).last;
    EXPECT_EQ(late.wait(), 0) << late.errors();
    EXPECT_EQ(rest["statistics"]["ARP connections"], expected["ARP connections"]);
    EXPECT_EQ(rest["frames"], 0);
    EXPECT_EQ(rest["ended"], expected["Global statistics"]["Global transmitted frames"]);
    agent.process().signal(SIGTERM);
    EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
}

TEST(Agent, ZeroPointsAreEachConsolesOwn)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0.000001", "--consoles", "1"}));
    Process early(console(agent));
    // The first frame is counted at once and the next one is far away.
    ordered_json state;
    do
        state = ordered_json::parse(early.line());
    while (state["frames"] == 0);

    Process late(console(agent, {"--count", "2"}));
    ConsoleOutput const output = outputOf(late);

    EXPECT_EQ(late.wait(), 0) << late.errors();
    EXPECT_EQ(output.lines, 2U);
    EXPECT_EQ(output.last["frames"], 0);
    EXPECT_EQ(output.last["statistics"]["Global statistics"]["Sample number"], 2);
    early.signal(SIGINT);
    EXPECT_EQ(early.wait(), 0);
    agent.process().signal(SIGINT);
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(Agent, ASignalEndsItInGoodOrder)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0.000001", "--consoles", "1"}));
    Process client(console(agent));
    EXPECT_NE(client.line(), "");

    agent.process().signal(SIGTERM);

    EXPECT_TRUE(outputOf(client).last.contains("ended"));
    EXPECT_EQ(client.wait(), 0) << client.errors();
    EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
}

TEST(Agent, ASignalEndsItWhileItWaitsForConsoles)
{
    Agent agent(replay("internet-mixed.pcap", {"--consoles", "1"}));

    agent.process().signal(SIGINT);

    EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
}

TEST(Agent, RefusesConsolesThatDoNotMatch)
{
    Agent agent(replay("internet-mixed.pcap", {"--consoles", "1"}));
    CHello greeting;
    greeting.fingerprint = schemaFingerprint();
    greeting.version = 1;
    RawClient const otherVersion(agent);
    otherVersion.send(encoded(MessageType::hello, greeting.body()));
    EXPECT_THAT(refusalOf(otherVersion), lasts("the console speaks version 1 of the protocol"));

    greeting.version = protocolVersion;
    greeting.fingerprint ^= 1;
    RawClient const otherSchema(agent);
    otherSchema.send(encoded(MessageType::hello, greeting.body()));
    EXPECT_THAT(refusalOf(otherSchema), lasts("other statistics"));

    for (std::string const name : {"1.99", "1.5.1", "x", "", "65537.5"}) {
        RawClient const badSelection(agent);
        badSelection.send(hello({"1.4", name}));
        EXPECT_THAT(refusalOf(badSelection), lasts("'" + name + "'"));
    }
    EXPECT_TRUE(agent.process().waitForError("refused: '65537.5'"));
}

TEST(Agent, ClosesOnGarbageAndServesOn)
{
    Agent agent(replay("jumbo-ssh.pcap", {"--pace", "0", "--consoles", "1"}));
    for (std::string const & garbage :
         {std::string("GET / HTTP/1.1\r\n\r\n"), std::string(100000, 'x'), std::string(8, '\0'),
          encoded(MessageType::hello, ""), encoded(MessageType::full, "abc"),
          encoded(static_cast<MessageType>(200), ""), std::string("\1\0\1\0\1", 5),
          std::string("\xFF\xFF\xFF\xFF")}) {
        RawClient const client(agent);
        client.send(garbage);
        // It may be cut off while it still talks, so what arrives of the answer isn't looked at.
        client.receiveAll();
    }
    for (unsigned int length = 0; length < 20; ++length)
        RawClient(agent).send(hello({"1.5"}).substr(0, length));
    EXPECT_TRUE(agent.process().waitForError("refused: a client of HTTP is at the other end"));

    Process client(console(agent));

    EXPECT_EQ(timeless(outputOf(client).last["statistics"]), timeless(readStatistics("jumbo-ssh.pcap")));
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(Agent, AConsoleThatSaysMoreThanHelloIsRefused)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0.000001"}));
    RawClient const client(agent);

    client.send(hello({"1.1"}) + hello({"1.1"}));

    EXPECT_NE(client.receiveAll(), "");
    EXPECT_TRUE(agent.process().waitForError("a message of type 1 doesn't belong here"));
}

TEST(Agent, AConsoleThatStallsIsDroppedAndDelaysNobody)
{
    std::string const stamped = capture("many-stations-arp.pcap");
    Agent agent(
        {"-r", stamped, "--pace", "1", "--interval", "0.001", "--consoles", "2", "--backlog", "20000"});
    RawClient const stalled(agent, 4096);
    stalled.send(hello({}));
    Process client(console(agent));
    // It is read all the while, or it would stall as well.
    std::future<ConsoleOutput> output = std::async(std::launch::async, [&] { return outputOf(client); });

    // It says that it is there, so that is no reason.
    std::string const reason = "lost: it took nothing of what it was sent for";
    for (int i = 0; i < 400 && agent.process().errors().find(reason) == std::string::npos; ++i) {
        stalled.send(encoded(MessageType::heartbeat, ""));
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    }
    EXPECT_THAT(agent.process().errors(), HasSubstr(reason));
    EXPECT_THAT(agent.process().errors(), HasSubstr("doesn't keep up"));
    agent.process().signal(SIGTERM);

    ConsoleOutput const seen = output.get();
    EXPECT_TRUE(seen.last.contains("ended")) << client.errors();
    EXPECT_GT(seen.lines, 2U);
    EXPECT_EQ(client.wait(), 0) << client.errors();
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(Agent, DamageInTheCaptureEndsItWithWhatWasCounted)
{
    std::string const whole = test::fileContents(capture("nanosecond-big-endian.pcap"));
    test::TemporaryFile const cut(whole.substr(0, whole.size() - 1));
    Agent agent({"-r", cut.path(), "--pace", "0", "--consoles", "1"});
    Process client({"console", agent.address(), "--json"});

    ordered_json const last = outputOf(client).last;

    EXPECT_EQ(last["end"]["reason"], "failed");
    EXPECT_EQ(last["end"]["frames"], 9);
    EXPECT_EQ(last["totals"]["frames"], 9);
    EXPECT_EQ(client.wait(), 1);
    EXPECT_THAT(client.errors(), HasSubstr(": the agent failed: "));
    EXPECT_THAT(client.errors(), HasSubstr("damaged behind frame 9"));
    EXPECT_EQ(agent.process().wait(), 2);
    EXPECT_THAT(agent.process().errors(), HasSubstr("damaged behind frame 9"));
}

TEST(Agent, EndsAfterACountOfFrames)
{
    Agent agent(replay("internet-mixed.pcap", {"--pace", "0", "--consoles", "1", "-c", "100"}));
    Process client(console(agent));

    EXPECT_EQ(outputOf(client).last["frames"], 100);
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(Agent, SaysWhyItCanNotStart)
{
    Agent taken(replay("empty.pcap", {"--consoles", "1"}));

    EXPECT_EQ(test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", taken.address()}).exitCode, 1);
    EXPECT_EQ(test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", "127.0.0.1:x"}).exitCode, 2);
    EXPECT_EQ(test::ketmon({"agent", "-r", "/no/such/file"}).exitCode, 2);
    EXPECT_EQ(test::ketmon({"agent"}).exitCode, 2);
}

TEST(Agent, RefusesTimesThatAreNone)
{
    std::vector<std::string> const command{"agent", "-r", test::capture("empty.pcap"), "--listen",
                                           "127.0.0.1:0"};
    for (char const * const option : {"--interval", "--linger", "--pace"})
        for (char const * const value : {"nan", "-1", "inf", ""}) {
            std::vector<std::string> arguments = command;
            arguments.insert(arguments.end(), {option, value});
            test::expectRefused(test::ketmon(arguments), std::string(option) + ": '" + value + "' isn't ");
        }
}

// The messages that come first: welcome and full.
std::vector<CMessage> firstMessages(RawClient const & client, std::size_t count)
{
    CMessageReader reader(largestToConsole);
    std::vector<CMessage> messages;
    while (messages.size() < count) {
        CMessage message;
        if (reader.next(message))
            messages.push_back(message);
        else
            reader.feed(client.receive());
    }
    return messages;
}

CWelcome welcomeOf(Agent const & agent)
{
    RawClient const client(agent);
    client.send(hello({}));
    return CWelcome::parsed(firstMessages(client, 1).front().body, schemaFingerprint());
}

TEST(Agent, SaysWhoItIsAndWhatItCounts)
{
    std::string const identity = "000102030405060708090a0b0c0d0eff";
    std::string const file = capture("internet-mixed.pcap");
    Agent const agent({"-r", file, "--consoles", "2", "--interval", "4.5", "--name", "web7", "--identity",
                       identity, "--link-speed", "1000000", "--enable", "1.5"});

    CWelcome const welcome = welcomeOf(agent);

    EXPECT_EQ(welcome.agent, "web7");
    EXPECT_EQ(identityText(welcome.identity), identity);
    EXPECT_EQ(welcome.kind, SourceKind::file);
    EXPECT_EQ(welcome.source, file);
    EXPECT_EQ(welcome.linkSpeed, 1000000U);
    EXPECT_EQ(welcome.interval, 4500U);
    EXPECT_EQ(welcome.heartbeat, 4500U);
    EXPECT_EQ(welcome.groups.to_ulong(), 0b1010101010U);
    EXPECT_TRUE(welcome.errors.none());
    EXPECT_EQ(welcome.limits.stations, 4097U);
    EXPECT_EQ(welcome.limits.stationTcpPorts, KetStats::CTableLimits().stationTcpPorts);
    EXPECT_EQ(test::ketmon({"agent", "-r", file, "--identity", "123"}).exitCode, 2);
}

TEST(Agent, TellsTheLimitsThatItWasGiven)
{
    Agent const agent(
        replay("empty.pcap", {"--consoles", "2", "--rows", "standard", "--rows", "stations=7"}));

    KetStats::CTableLimits expected;
    expected.stations = 8;
    EXPECT_EQ(welcomeOf(agent).limits, expected);
}

TEST(Agent, KeepsItsIdentityInTheFolderOfItsService)
{
    std::filesystem::path const folder =
        std::filesystem::temp_directory_path() / ("ketmon-state-" + std::to_string(getpid()));
    std::filesystem::create_directory(folder);
    ASSERT_EQ(setenv("STATE_DIRECTORY", folder.c_str(), 1), 0);

    CIdentity const first = welcomeOf(Agent(replay("empty.pcap", {"--consoles", "2"}))).identity;
    CIdentity const second = welcomeOf(Agent(replay("empty.pcap", {"--consoles", "2"}))).identity;
    unsetenv("STATE_DIRECTORY");
    CIdentity const other = welcomeOf(Agent(replay("empty.pcap", {"--consoles", "2"}))).identity;

    EXPECT_EQ(first, second);
    EXPECT_NE(first, other);
    EXPECT_EQ(test::fileContents(folder / "identity"), identityText(first) + "\n");

    // One that is damaged is told of as all else is.
    std::filesystem::resize_file(folder / "identity", 7);
    ASSERT_EQ(setenv("STATE_DIRECTORY", folder.c_str(), 1), 0);
    Agent damaged(replay("empty.pcap", {"--consoles", "2"}));
    unsetenv("STATE_DIRECTORY");
    EXPECT_THAT(damaged.process().errors(),
                HasSubstr("Z ketmon: warning: " + (folder / "identity").string() + ": has no identity"));
    std::filesystem::remove_all(folder);
}

TEST(Agent, SendsAHeartbeatWhenItHasNothingToSay)
{
    Agent agent(replay("internet-mixed.pcap", {"--consoles", "2"}));
    RawClient const client(agent);
    client.send(hello({"1.1"}));
    // A console says that it is there, too.
    client.send(encoded(MessageType::heartbeat, ""));

    std::vector<CMessage> const messages = firstMessages(client, 4);

    EXPECT_EQ(messages[0].type, MessageType::welcome);
    EXPECT_EQ(messages[1].type, MessageType::full);
    EXPECT_EQ(messages[2].type, MessageType::heartbeat);
    EXPECT_EQ(messages[3].type, MessageType::heartbeat);
    EXPECT_EQ(messages[3].body, "");
}

TEST(Agent, SaysWhenItsFirstLineCanNotBeWritten)
{
    test::Outcome const outcome =
        test::run({"sh", "-c", "exec \"$0\" \"$@\" >/dev/full", KETMON_PROGRAM, "agent", "-r",
                   capture("empty.pcap"), "--listen", "127.0.0.1:0"});

    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "ketmon: the output can't be written: No space left on device\n");
}

} // namespace
