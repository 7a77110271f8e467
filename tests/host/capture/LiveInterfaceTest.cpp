#include "host/capture/FrameBlock.h"
#include "host/capture/LiveCapture.h"
#include "host/capture/Offloads.h"
#include "host/support/Failure.h"
#include "host/support/Log.h"
#include "tests/host/OwnNetwork.h"
#include "tests/host/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/ethtool.h>

#include <csignal>
#include <cstdlib>

using nlohmann::ordered_json;
using test::Agent;
using test::inOwnNetwork;
using test::PassingInterface;
using test::Process;
using testing::HasSubstr;
using testing::Not;

namespace {

// Whether the test that runs could have its interface.
bool made = true;

bool isMade(PassingInterface const & passing)
{
    made = passing.there();
    return made;
}

// A UDP packet from 10.0.0.1 to 10.0.0.2 in a frame of that length.
std::string frame(std::size_t length = 200)
{
    std::string bytes("\2\0\0\0\0\2\2\0\0\0\0\1\x08\0", 14);
    bytes += std::string("\x45\0\0\xba\0\0\0\0\x40\x11\0\0\x0a\0\0\1\x0a\0\0\2", 20);
    bytes += std::string("\0\x35\0\x35\0\xa6\0\0", 8);
    bytes.resize(length, 'x');
    return bytes;
}

// What the system itself sends there is left out.
std::vector<std::string> onlyOurs(std::vector<std::string> options = {})
{
    options.insert(options.begin(), {"-i", "passing0", "-f", "ether src 2:0:0:0:0:1", "--interval", "0.02"});
    return options;
}

// Waits until the console shows so many frames; the state that does. Null if it ends before.
ordered_json stateOf(Process & console, unsigned int frames)
{
    for (std::string line = console.line(); !line.empty(); line = console.line()) {
        ordered_json state = ordered_json::parse(line);
        if (state["totals"]["frames"] == frames)
            return state;
    }
    return {};
}

#define SKIP_UNLESS(permitted)                                                                               \
    if (!(permitted) || !made)                                                                               \
    GTEST_SKIP() << "no right to a network and an interface of its own"

TEST(LiveInterface, IsWaitedForUntilItIsThereAndUp)
{
    SKIP_UNLESS(inOwnNetwork([] {
        Process agent({"agent", "-i", "passing0", "--wait", "--listen", "127.0.0.1:0"});
        ASSERT_TRUE(agent.waitForError("Z ketmon: warning: passing0: there is no such interface; waiting"));
        PassingInterface const passing("passing0");
        if (!isMade(passing))
            return;
        test::Outcome const down = test::ketmon({"agent", "-i", "passing0", "--no-wait"});
        EXPECT_EQ(down.exitCode, 1);
        EXPECT_EQ(down.errors, "ketmon: passing0: the interface is down\n");
        EXPECT_THAT(agent.errors(), Not(HasSubstr("is up")));

        EXPECT_TRUE(passing.setUp(true));

        EXPECT_THAT(agent.line(), HasSubstr("listening on"));
        EXPECT_THAT(agent.errors(), HasSubstr("Z ketmon: passing0: is up, and the capture begins"));
        agent.signal(SIGTERM);
        EXPECT_EQ(agent.wait(), 0);
    }));
}

TEST(LiveInterface, IsWaitedForUntilASignal)
{
    SKIP_UNLESS(inOwnNetwork([] {
        for (int const signal : {SIGINT, SIGTERM}) {
            Process agent({"agent", "-i", "nowhere0", "--wait", "--listen", "127.0.0.1:0"});
            ASSERT_TRUE(agent.waitForError("waiting until"));
            agent.signal(SIGHUP); // which only has it look

            agent.signal(signal);

            EXPECT_EQ(agent.wait(), 0);
            EXPECT_EQ(agent.line(), "");
        }
    }));
}

TEST(LiveInterface, IsWaitedForByAServiceUnlessItIsTold)
{
    SKIP_UNLESS(inOwnNetwork([] {
        setenv("NOTIFY_SOCKET", "1", 1);
        Process agent({"agent", "-i", "nowhere0", "--listen", "127.0.0.1:0"});
        EXPECT_EQ(test::ketmon({"agent", "-i", "nowhere0", "--no-wait"}).exitCode, 1);
        unsetenv("NOTIFY_SOCKET");

        EXPECT_TRUE(agent.waitForError("nowhere0: there is no such interface; waiting until"));
    }));
}

// Their place with the system is another's as soon as it has handed them over.
TEST(LiveInterface, GivesFramesInBlocksThatKeepTheirBytes)
{
    SKIP_UNLESS(inOwnNetwork([] {
        PassingInterface passing("passing0");
        if (!isMade(passing))
            return;
        passing.setUp(true);
        ketmon::CLog log;
        for (unsigned int const snapLength : {ketmon::headersLength, 0U}) {
            ketmon::CLiveOptions options;
            options.interface = "passing0";
            options.filter = "ether src 2:0:0:0:0:1";
            options.bufferBytes = 8 << 20;
            options.snapLength = snapLength;
            auto input = ketmon::openLiveCapture(options, log);
            std::vector<std::string> sent;
            for (std::size_t i = 0; i < 1500; ++i) {
                sent.push_back(frame(60 + i % 1400));
                std::string const number = std::to_string(i);
                sent.back().replace(60 - number.size(), number.size(), number);
                ASSERT_TRUE(passing.send(sent.back()));
            }

            ketmon::CFrameBlock block;
            std::size_t largest = 0;
            for (std::size_t got = 0; got < sent.size();) {
                input->source->nextBlock(block);
                ASSERT_GT(block.size(), 0U);
                largest = std::max(largest, block.size());
                for (std::size_t i = 0; i < block.size(); ++i, ++got) {
                    ketmon::CCapturedFrame const one = block.frame(i);
                    std::size_t const kept = snapLength == 0
                                                 ? sent[got].size()
                                                 : std::min<std::size_t>(snapLength, sent[got].size());
                    ASSERT_EQ(one.length, sent[got].size());
                    ASSERT_EQ(std::string(reinterpret_cast<char const *>(one.data), one.capturedLength),
                              sent[got].substr(0, kept));
                }
            }
            EXPECT_GT(largest, 1U);
        }
    }));
}

TEST(LiveInterface, IsFollowedWhenItGoesDownAndWhenItIsRenamed)
{
    SKIP_UNLESS(inOwnNetwork([] {
        PassingInterface passing("passing0");
        if (!isMade(passing))
            return;
        passing.setUp(true);
        Agent agent(onlyOurs({"--consoles", "1"}));
        Process console({"console", agent.address(), "--json"});
        ASSERT_NE(console.line(), "");

        EXPECT_TRUE(passing.send(frame()));
        EXPECT_FALSE(stateOf(console, 1).is_null());
        passing.setUp(false);
        EXPECT_TRUE(
            agent.process().waitForError("Z ketmon: warning: passing0: is down; the capture goes on"));
        passing.setUp(true);
        EXPECT_TRUE(agent.process().waitForError("Z ketmon: passing0: is up again"));
        EXPECT_TRUE(passing.send(frame()));
        EXPECT_FALSE(stateOf(console, 2).is_null());
        // Too short for anybody to see.
        passing.setUp(false);
        passing.setUp(true);
        EXPECT_TRUE(passing.send(frame()));
        EXPECT_FALSE(stateOf(console, 3).is_null());

        passing.setUp(false);
        ASSERT_TRUE(passing.rename("passed1"));
        passing.setUp(true);
        EXPECT_TRUE(agent.process().waitForError("Z ketmon: warning: passing0: is called passed1 now"));
        EXPECT_TRUE(passing.send(frame()));
        EXPECT_FALSE(stateOf(console, 4).is_null());

        passing.remove();
        EXPECT_EQ(agent.process().wait(), ketmon::exitInterfaceGone);
        EXPECT_THAT(agent.process().errors(), HasSubstr("passed1: the interface is gone"));
        EXPECT_THAT(agent.process().errors(), HasSubstr("4 frames counted, "));
    }));
}

TEST(LiveInterface, IsLookedAtAsFarAsTheSnapLengthGoes)
{
    SKIP_UNLESS(inOwnNetwork([] {
        PassingInterface const passing("passing0");
        if (!isMade(passing))
            return;
        passing.setUp(true);
        auto const rows = [&](std::vector<std::string> const & options) {
            Agent agent(onlyOurs(options));
            Process console({"console", agent.address(), "--json"});
            passing.send(frame(1400));
            ordered_json const state = stateOf(console, 1);
            EXPECT_EQ(state["totals"]["bytes"], 1404) << "the length on the wire";
            return state["tables"]["ip_traffic"]["rows"][0];
        };
        for (std::vector<std::string> const & whole :
             {std::vector<std::string>{"--consoles", "1"}, {"--consoles", "1", "-s", "0"}}) {
            ordered_json const row = rows(whole);
            EXPECT_EQ(row["source"], "10.0.0.1");
            EXPECT_EQ(row["destination"], "10.0.0.2");
        }
        // Behind the captured bytes all is zero.
        EXPECT_EQ(rows({"--consoles", "1", "-s", "30"})["destination"], "0.0.0.0");
    }));
}

TEST(LiveInterface, IsPutInPromiscuousModeUnlessItIsTold)
{
    SKIP_UNLESS(inOwnNetwork([] {
        PassingInterface const passing("passing0");
        if (!isMade(passing))
            return;
        passing.setUp(true);
        {
            Agent const agent({"-i", "passing0"});
            EXPECT_EQ(passing.promiscuity(), 1);
        }
        Agent const agent({"-i", "passing0", "-p"});
        EXPECT_EQ(passing.promiscuity(), 0);
    }));
}

TEST(LiveInterface, ThatMakesFramesLargerIsWarnedOf)
{
    SKIP_UNLESS(inOwnNetwork([] {
        PassingInterface const passing("passing0");
        if (!isMade(passing))
            return;
        passing.setUp(true);
        ASSERT_TRUE(passing.setDriverValue(ETHTOOL_SGRO, 1));
        {
            Agent agent({"-i", "passing0", "-q"});
            EXPECT_TRUE(agent.process().waitForError("on, so frames may look larger"));
            EXPECT_THAT(agent.process().errors(), HasSubstr("'ethtool -K passing0 gro off"));
            EXPECT_THAT(agent.process().errors(), HasSubstr("Z ketmon: warning: passing0: GRO"));
        }
        for (int const command : {ETHTOOL_SGRO, ETHTOOL_STSO, ETHTOOL_SGSO})
            passing.setDriverValue(static_cast<unsigned int>(command), 0);
        Agent none({"-i", "passing0"});
        EXPECT_THAT(none.process().errors(), Not(HasSubstr("larger")));
        Agent loopback({"-i", "lo"});
        EXPECT_THAT(loopback.process().errors(), Not(HasSubstr("larger")));
    }));
}

TEST(LiveInterface, IsListed)
{
    SKIP_UNLESS(inOwnNetwork([] {
        PassingInterface const passing("passing0");
        if (!isMade(passing))
            return;
        test::Outcome const text = test::ketmon({"interfaces"});
        EXPECT_EQ(text.exitCode, 0) << text.errors;
        EXPECT_THAT(text.output, testing::ContainsRegex("\nlo +up +loopback +- +- +127.0.0.1"));
        EXPECT_THAT(text.output, testing::ContainsRegex("\npassing0 +down +Ethernet "));
        EXPECT_EQ(test::ketmon({"-D"}).output, text.output);

        Process rightless({"interfaces", "--json"}, Process::noRights);
        std::string json;
        for (std::string line = rightless.line(); !line.empty(); line = rightless.line())
            json += line;
        ordered_json const list = json.empty() ? test::ketmon({"interfaces", "--json"}).json()
                                               : ordered_json::parse(json); // it may lie where nobody may go
        ASSERT_EQ(list["interfaces"].size(), 2U);
        ordered_json const & listed = list["interfaces"][1];
        EXPECT_EQ(listed["name"], "passing0");
        EXPECT_EQ(listed["up"], false);
        EXPECT_EQ(listed["ethernet"], true);
        EXPECT_EQ(listed["loopback"], false);
        EXPECT_EQ(listed["driver"], "tun");
        EXPECT_EQ(listed["mac"].get<std::string>().size(), 17U);
        EXPECT_EQ(list["interfaces"][0]["addresses"][0], "127.0.0.1");
    }));
}

TEST(LiveInterface, TakesOnlySizesThatAreSome)
{
    for (char const * const size : {"0", "", "x", "16T", "-1", "2048M", "99999999999", "1.5M"})
        test::expectRefused(test::ketmon({"agent", "-i", "lo", "-B", size}),
                            "--buffer: '" + std::string(size) + "' is no size such as 16M");
    test::expectRefused(test::ketmon({"agent", "-i", "lo", "-s", "262145"}), "--snaplen: ");
    test::expectRefused(test::ketmon({"agent", "-i", "lo", "--wait", "--no-wait"}), "excludes");
    test::expectRefused(test::ketmon({"agent", "-r", "-", "--wait"}), "requires");
}

TEST(OffloadWarning, NamesWhatIsOnAndHowToTurnItOff)
{
    EXPECT_EQ(ketmon::offloadWarning("eth0", {}), "");
    EXPECT_EQ(ketmon::offloadWarning("eth0", {"gro"}),
              "eth0: GRO is on, so frames may look larger than they are on the wire; "
              "'ethtool -K eth0 gro off' turns it off");
    EXPECT_EQ(ketmon::offloadWarning("eth0", {"gro", "tso", "gso"}),
              "eth0: GRO, TSO and GSO are on, so frames may look larger than they are on the wire; "
              "'ethtool -K eth0 gro off tso off gso off' turns them off");
}

} // namespace
