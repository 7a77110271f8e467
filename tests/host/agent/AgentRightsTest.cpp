#include "tests/host/OwnNetwork.h"
#include "tests/host/Process.h"
#include "tests/host/Sandboxed.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include <unistd.h>

using nlohmann::ordered_json;
using test::Agent;
using test::capture;
using test::Process;
using test::statusOf;
using testing::HasSubstr;

namespace {

constexpr char const * nothing = "0000000000000000";
constexpr unsigned short port = 4000;

// What every thread of a process may do.
void expectNoRights(pid_t process)
{
    int threads = 0;
    for (auto const & entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        pid_t const thread = std::stoi(entry.path().filename().string());
        for (char const * const set : {"CapInh", "CapPrm", "CapEff", "CapAmb"})
            EXPECT_EQ(statusOf(thread, set), nothing) << set;
        EXPECT_EQ(statusOf(thread, "NoNewPrivs"), "1");
        if (test::hasSystemCallFilter()) {
            EXPECT_EQ(statusOf(thread, "Seccomp"), "2");
        }
        ++threads;
    }
    EXPECT_GE(threads, 2) << "the server's and that of the capture";
}

// Sees an agent count what passes after it gave up its rights, and end.
void expectToCount(Agent & agent)
{
    Process console({"console", agent.address(), "--json"});
    ASSERT_NE(console.line(), "") << agent.process().errors();
    expectNoRights(agent.process().id());

    test::sendDatagram(port, "counted");
    test::sendDatagram(port, "counted");

    ordered_json const last = outputOf(console).last;
    EXPECT_EQ(last["totals"]["frames"], 2);
    EXPECT_EQ(console.wait(), 0) << console.errors();
    EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
}

std::vector<std::string> twoDatagrams(std::vector<std::string> const & more = {})
{
    std::vector<std::string> arguments = {"-i", "lo",         "-f", "udp dst port 4000", "-c",
                                          "2",  "--consoles", "1",  "--interval",        "0.02"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

// Whether there are rights to lose, and a build that drops them.
bool canLoseRights()
{
    return geteuid() == 0 && test::hasCapabilities();
}

TEST(AgentRights, OneCapabilityIsEnoughAndIsGivenUp)
{
    bool const permitted =
        canLoseRights() && test::inOwnNetwork([] {
            Agent agent(twoDatagrams(), "", Process::captureRight);
            EXPECT_EQ(statusOf(agent.process().id(), "Uid"), "65534\t65534\t65534\t65534");
            expectToCount(agent);
            // Nobody may clear the bounding set without another capability, and that is told.
            EXPECT_THAT(
                agent.process().errors(),
                HasSubstr("rights: no capabilities (the bounding set could not be cleared of net_raw), no "
                          "new privileges, user nobody"));
        });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own, or a build that drops none";
}

TEST(AgentRights, RootKeepsNone)
{
    bool const permitted =
        canLoseRights() && test::inOwnNetwork([] {
            Agent agent(twoDatagrams({"--user", "nobody"}));
            EXPECT_EQ(statusOf(agent.process().id(), "Uid"), "65534\t65534\t65534\t65534");
            EXPECT_EQ(statusOf(agent.process().id(), "CapBnd"), nothing);
            expectToCount(agent);
            EXPECT_THAT(agent.process().errors(),
                        HasSubstr("rights: no capabilities, no new privileges, user nobody"));
        });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own, or a build that drops none";
}

TEST(AgentRights, AStrictSandboxLetsAWholeRunThrough)
{
    if (!test::hasSystemCallFilter() || !test::hasLandlock())
        GTEST_SKIP() << "no filter of system calls, or no Landlock";
    // Several files, of which all but the first are opened again when their time has come.
    Agent agent({"-r", capture("internet-mixed.pcap"), "-r", capture("many-stations-arp.pcap"), "-r",
                 capture("empty.pcap"), "--pace", "0", "--consoles", "2", "--interval", "0.02", "--linger",
                 "3600", "--sandbox", "strict"});
    {
        Process const lost({"console", agent.address()});
    }
    Process one({"console", agent.address(), "--json"});
    Process two({"console", agent.address(), "--json", "--select", "1.5"});

    test::ConsoleOutput const all = outputOf(one);
    EXPECT_EQ(one.wait(), 0) << one.errors();
    outputOf(two);
    EXPECT_EQ(two.wait(), 0) << two.errors();
    EXPECT_EQ(all.last["totals"]["frames"], test::ketmon({"read", "--json", capture("internet-mixed.pcap"),
                                                          capture("many-stations-arp.pcap")})
                                                .json()["totals"]["frames"]);
    agent.process().signal(SIGINT);
    EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
    EXPECT_THAT(agent.process().errors(), HasSubstr("system calls by seccomp (strict)"));
}

TEST(AgentRights, AStrictSandboxLetsALiveCaptureThrough)
{
    if (!test::hasSystemCallFilter() || !test::hasLandlock())
        GTEST_SKIP() << "no filter of system calls, or no Landlock";
    bool const permitted = canLoseRights() && test::inOwnNetwork([] {
                               Agent agent(twoDatagrams({"--user", "nobody", "--sandbox", "strict"}));
                               expectToCount(agent);
                           });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own, or a build that drops none";
}

TEST(AgentRights, AUserWhoIsntThereIsRefused)
{
    test::expectRefused(test::ketmon({"agent", "-r", capture("empty.pcap"), "--listen", "127.0.0.1:0",
                                      "--user", "no-such-user"}),
                        "--user: there is no user 'no-such-user'");
}

} // namespace
