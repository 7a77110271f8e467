#include "tests/host/Process.h"

#include "host/wire/Fingerprint.h"
#include "host/wire/Greeting.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <list>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

// An agent among clients that break off, say nothing or too much, and a system that fails it.

using namespace ketmon;
using nlohmann::ordered_json;
using test::Agent;
using test::capture;
using test::Process;
using test::RawClient;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

// One frame; the next one is far away. Samples are few, for consoles whose output isn't read all the while.
std::vector<std::string> endless(std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments = {
        "-r", capture("internet-mixed.pcap"), "--pace", "0.000001", "--longest-gap", "1000000", "--interval",
        "0.2"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

std::string hello()
{
    CHello hello;
    hello.fingerprint = schemaFingerprint();
    hello.selection = {"1.1"};
    return encoded(MessageType::hello, hello.body());
}

void expectServing(std::string const & address)
{
    Process console({"console", address, "--json", "--count", "2", "--no-reconnect"});
    EXPECT_EQ(test::outputOf(console).lines, 2U) << console.errors();
    EXPECT_EQ(console.wait(), 0) << console.errors();
}

std::string firstText(RawClient const & client)
{
    CMessageReader reader(largestToConsole);
    reader.feed(client.receiveAll());
    CMessage message;
    return reader.next(message) && message.type == MessageType::refusal ? message.body : "";
}

std::string temporaryPath(std::string const & name)
{
    return std::filesystem::temp_directory_path() / ("ketmon-" + std::to_string(getpid()) + "-" + name);
}

TEST(AgentPeers, ALogThatCanNotBeWrittenEndsNothing)
{
    Agent agent(endless(), "/dev/full");
    for (int i = 0; i < 300; ++i)
        RawClient(agent).send("garbage, which is logged");

    expectServing(agent.address());

    agent.process().signal(SIGTERM);
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(AgentPeers, ClientsCanNotFillTheLog)
{
    Agent agent(endless());
    for (int i = 0; i < 2000; ++i)
        RawClient(agent).send("garbage, which is logged");

    expectServing(agent.address());

    agent.process().signal(SIGTERM);
    EXPECT_EQ(agent.process().wait(), 0);
    EXPECT_LT(agent.process().errors().size(), 60000U);
    EXPECT_THAT(agent.process().errors(), HasSubstr("lines were left out here"));
}

TEST(AgentPeers, ACommandThatFailsWithoutAnErrorOutputStillSaysSoByItsStatus)
{
    for (char const * const output : {"2>&-", "2>/dev/full"})
        EXPECT_EQ(test::run({"sh", "-c", std::string("exec \"$0\" \"$@\" ") + output, KETMON_PROGRAM, "read",
                             "/no/such/file"})
                      .exitCode,
                  2);
}

TEST(AgentPeers, WhoSaysNothingLocksNobodyOut)
{
    Agent agent(endless());
    std::list<RawClient> mute;
    for (int i = 0; i < 150; ++i)
        mute.emplace_back(agent);

    expectServing(agent.address());

    EXPECT_EQ(firstText(mute.front()), "too many connect and don't say hello");
}

TEST(AgentPeers, WhoSaysHelloTooLateIsClosed)
{
    Agent agent(endless());
    RawClient const mute(agent);
    RawClient const slow(agent);
    slow.send(hello().substr(0, 10));

    EXPECT_EQ(mute.receiveAll(), "");
    EXPECT_EQ(slow.receiveAll(), "");

    EXPECT_TRUE(agent.process().waitForError("said nothing that makes sense in time"));
}

TEST(AgentPeers, TheConsoleBeyondTheLimitHearsWhy)
{
    Agent agent(endless({"--most-consoles", "2"}));
    Process one({"console", agent.address(), "--json", "--select", "totals"});
    Process two({"console", agent.address(), "--json", "--select", "totals"});
    EXPECT_NE(one.line(), "");
    EXPECT_NE(two.line(), "");

    test::Outcome const three = test::ketmon({"console", agent.address()});
    EXPECT_EQ(three.exitCode, 1);
    EXPECT_THAT(three.errors, HasSubstr("refused: the agent has 2 consoles already, and serves no more\n"));

    one.signal(SIGINT);
    EXPECT_EQ(one.wait(), 0);
    EXPECT_TRUE(agent.process().waitForError(": left"));
    expectServing(agent.address());
}

TEST(AgentPeers, AConsoleThatIsNoLongerHeardOfIsGivenUp)
{
    Agent agent(endless());
    RawClient const silent(agent);
    silent.send(hello());

    EXPECT_THAT(silent.receiveAll(), testing::Not(""));

    EXPECT_TRUE(agent.process().waitForError("lost: nothing was heard for"));
}

TEST(AgentPeers, AHangUpOfTheTerminalEndsNothing)
{
    Agent agent(endless());

    agent.process().signal(SIGHUP);

    EXPECT_TRUE(agent.process().waitForError("SIGHUP"));
    expectServing(agent.address());
    agent.process().signal(SIGTERM);
    EXPECT_EQ(agent.process().wait(), 0);
}

TEST(AgentPeers, AConsoleComesBackToAnAgentAndTellsTheGap)
{
    auto agent = std::make_unique<Agent>(endless());
    std::string const address = agent->address();
    Process console({"console", address, "--json", "--select", "totals"});
    ordered_json before = ordered_json::parse(console.line());
    EXPECT_FALSE(before.contains("gap"));
    agent->process().signal(SIGKILL);
    EXPECT_EQ(agent->process().wait(), -1);

    EXPECT_TRUE(console.waitForError("; trying again in "));
    agent = std::make_unique<Agent>(endless({"--listen", address}));

    ordered_json sample;
    do {
        before = sample.is_null() ? before : sample;
        sample = ordered_json::parse(console.line());
    } while (sample["sample"] != 1);
    EXPECT_EQ(sample["gap"]["from"], before["time"]);
    EXPECT_EQ(sample["gap"]["to"], sample["zero"]);
    EXPECT_GT(sample["zero"], before["time"]);
    EXPECT_FALSE(ordered_json::parse(console.line()).contains("gap"));
    console.signal(SIGINT);
    EXPECT_EQ(console.wait(), 0);
}

TEST(AgentPeers, ASocketInTheFileSystemHasItsPermissionsAndNamesWhoComes)
{
    std::string const path = temporaryPath("socket");
    std::string const address = "unix:" + path;
    {
        Agent agent(endless({"--listen", address, "--socket-mode", "600"}));
        EXPECT_EQ(agent.address(), address);
        struct stat about
        {};
        ASSERT_EQ(stat(path.c_str(), &about), 0);
        EXPECT_EQ(about.st_mode & 0777, 0600U);

        expectServing(address);
        EXPECT_TRUE(agent.process().waitForError("of user " + std::to_string(getuid()) + ": joined"));

        test::Outcome const second =
            test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", address});
        EXPECT_EQ(second.exitCode, 1);
        EXPECT_THAT(second.errors, HasSubstr("can't listen on " + address + ": Address already in use"));
    }
    // Killed, it has left the file behind.
    ASSERT_TRUE(std::filesystem::exists(path));
    Agent next(endless({"--listen", address}));
    expectServing(address);
    std::filesystem::remove(path);

    test::TemporaryFile const file("precious");
    EXPECT_EQ(
        test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", "unix:" + file.path()}).exitCode, 1);
    EXPECT_EQ(test::fileContents(file.path()), "precious");
    EXPECT_EQ(
        test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", "unix:" + std::string(200, 'x')})
            .exitCode,
        2);
}

TEST(AgentPeers, AnotherUserIsServedHalfOfTheConsolesAtASocketInTheFileSystem)
{
    if (getuid() != 0)
        GTEST_SKIP() << "takes another user";
    std::string const path = temporaryPath("users");
    std::string const address = "unix:" + path;
    Agent agent(endless({"--listen", address, "--socket-mode", "666", "--most-consoles", "3"}));
    std::vector<std::string> const totals = {"console", address, "--json", "--select", "totals"};
    Process const own(totals);
    Process nobody(totals, Process::noRights);
    EXPECT_NE(nobody.line(), "");

    Process second(totals, Process::noRights);

    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(), HasSubstr("the agent has 1 consoles from user 65534 already"));
    expectServing(address);
    std::filesystem::remove(path);
}

TEST(AgentPeers, AnAgentThatAcceptsNobodyIsThereAllTheSame)
{
    std::string const path = temporaryPath("full");
    int const listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    auto const * const name = reinterpret_cast<sockaddr const *>(&address);
    ASSERT_EQ(bind(listener, name, sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    std::vector<int> queued;
    do
        queued.push_back(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    while (connect(queued.back(), name, sizeof address) == 0 && queued.size() < 100);
    EXPECT_EQ(errno, EAGAIN);

    Process second({"agent", "-r", capture("empty.pcap"), "--listen", "unix:" + path});

    EXPECT_EQ(second.wait(), 1);
    EXPECT_THAT(second.errors(), HasSubstr("Address already in use"));
    queued.push_back(listener);
    for (int const handle : queued)
        close(handle);
    std::filesystem::remove(path);
}

TEST(AgentPeers, WhatOthersCanReachMustBeMeant)
{
    test::Outcome const refused =
        test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", "0.0.0.0:0"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_THAT(refused.errors, HasSubstr("say --plain if that is meant"));

    Agent agent(endless({"--listen", "0.0.0.0:0", "--plain"}));
    EXPECT_TRUE(agent.process().waitForError("warning: whoever reaches 0.0.0.0:"));
    expectServing("127.0.0.1:" + std::to_string(agent.port()));

    test::Outcome const far = test::ketmon({"console", "192.0.2.1:7290"});
    EXPECT_EQ(far.exitCode, 2);
    EXPECT_THAT(far.errors, HasSubstr("say --plain if that is meant"));
}

template <class Number>
void append(std::string & bytes, Number number)
{
    bytes.append(reinterpret_cast<char const *>(&number), sizeof number);
}

// A capture in which every frame is from another station to another one, over IPv4.
std::string flood(unsigned int frames)
{
    std::string file;
    for (std::uint32_t const word : {0xA1B2C3D4U, 0x00040002U, 0U, 0U, 65535U, 1U})
        append(file, word);
    for (unsigned int i = 0; i < frames; ++i) {
        std::string frame(60, '\0');
        for (std::size_t const place : {std::size_t{2}, std::size_t{8}, std::size_t{26}, std::size_t{30}})
            for (std::size_t byte = 0; byte < 4; ++byte)
                frame[place + byte] =
                    static_cast<char>((2 * i + (place % 8 == 2 ? 0 : 1)) >> (24 - 8 * byte));
        frame[12] = 8; // IPv4
        frame[14] = 0x45;
        frame[17] = 46;
        frame[23] = 17;
        for (std::uint32_t const word : {i, 0U, 60U, 60U})
            append(file, word);
        file += frame;
    }
    return file;
}

TEST(AgentPeers, AConsoleThatCanNotBeAffordedIsRefusedAlone)
{
    test::TemporaryFile const file(flood(20000));
    std::vector<std::string> const all = {"-r",         file.path(), "--pace",   "0",
                                          "--consoles", "1",         "--linger", "3600"};
    std::vector<std::string> const totals = {"--json", "--no-reconnect", "--select", "totals"};
    auto const filled = [&](Agent & agent) {
        std::vector<std::string> arguments = {"console", agent.address()};
        arguments.insert(arguments.end(), totals.begin(), totals.end());
        Process first(arguments);
        EXPECT_EQ(test::outputOf(first).last["end"]["frames"], 20000) << first.errors();
    };
    Agent rich(all);
    std::size_t const before = rich.process().memory();
    filled(rich);
    std::size_t const after = rich.process().memory();
    ASSERT_GT(after, before + 3);
    EXPECT_EQ(test::ketmon({"console", rich.address(), "--json"}).exitCode, 0);

    std::string const ceiling = std::to_string(std::max<std::size_t>(16, (before + after) / 2));
    std::vector<std::string> little = all;
    little.insert(little.end(), {"--memory", ceiling});
    Agent poor(little);
    filled(poor);
    test::Outcome const second = test::ketmon({"console", poor.address(), "--json"});
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_THAT(second.errors,
                HasSubstr("refused: the agent has no memory left for another console, of the " + ceiling +
                          " MiB that it may have\n"));

    for (Agent * const ended : {&poor, &rich}) {
        ended->process().signal(SIGTERM);
        EXPECT_EQ(ended->process().wait(), 0) << ended->process().errors();
        EXPECT_THAT(ended->process().errors(), HasSubstr("20000 frames counted"));
    }
}

} // namespace
