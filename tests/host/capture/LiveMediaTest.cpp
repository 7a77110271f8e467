#include "host/capture/LinkType.h"
#include "host/capture/MediumExpression.h"
#include "tests/host/OwnNetwork.h"
#include "tests/host/Process.h"
#include "tests/support/Filters.h"
#include "tests/support/IPv6Frames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <thread>
#include <utility>

using nlohmann::ordered_json;
using test::operator+;
using test::Agent;
using test::inOwnNetwork;
using test::PassingInterface;
using test::Process;
using testing::HasSubstr;

namespace {

constexpr unsigned short port = 4000;

// A UDP packet from 10.0.0.1 to 10.0.0.2, of 186 bytes.
std::string packet()
{
    std::string bytes("\x45\0\0\xba\0\0\0\0\x40\x11\0\0\x0a\0\0\1\x0a\0\0\2", 20);
    bytes += std::string("\0\x35\0\x35\0\xa6\0\0", 8);
    bytes.resize(186, 'x');
    return bytes;
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

void expectNoStations(ordered_json const & state)
{
    EXPECT_TRUE(state["tables"]["stations"]["rows"].is_null());
    EXPECT_TRUE(state["tables"]["mac_traffic"]["rows"].is_null());
    EXPECT_TRUE(state["tables"]["vlans"]["rows"].is_null());
}

#define SKIP_UNLESS(PERMITTED)                                                                               \
    if (!(PERMITTED))                                                                                        \
    GTEST_SKIP() << "no permission for a network of its own, or for an interface in it"

TEST(LiveMedia, ATunnelIsCountedByItsPackets)
{
    bool made = true;
    SKIP_UNLESS(inOwnNetwork([&] {
                    PassingInterface const tunnel("tunnel0", PassingInterface::packets);
                    made = tunnel.there();
                    if (!made)
                        return;
                    tunnel.setUp(true);
                    Agent agent({"-i", "tunnel0", "-f", "src host 10.0.0.1", "--interval", "0.02",
                                 "--consoles", "1"});
                    Process console({"console", agent.address(), "--json"});
                    ASSERT_NE(console.line(), "") << agent.process().errors();
                    EXPECT_TRUE(tunnel.send(packet()));
                    ordered_json const state = stateOf(console, 1);

                    ASSERT_FALSE(state.is_null()) << agent.process().errors();
                    EXPECT_EQ(state["source"]["link_type"], "raw");
                    EXPECT_EQ(state["totals"]["bytes"], 186) << "there is no frame check sequence";
                    EXPECT_EQ(state["tables"]["ip_traffic"]["rows"][0]["source"], "10.0.0.1");
                    EXPECT_EQ(state["tables"]["ip_traffic"]["rows"][0]["destination"], "10.0.0.2");
                    EXPECT_EQ(state["tables"]["udp_ports"]["rows"][0]["port"], 53);
                    expectNoStations(state);

                    test::Outcome const listed = test::ketmon({"interfaces"});
                    EXPECT_THAT(listed.output, testing::ContainsRegex("\ntunnel0 +up +IP "));
                }) &&
                made);
}

// It is no interface that could be gone, or down.
TEST(LiveMedia, AllInterfacesAreCountedAsOne)
{
    SKIP_UNLESS(inOwnNetwork([] {
        Agent agent({"-i", "any", "-f", "udp dst port 4000", "--interval", "0.02", "--consoles", "1"});
        Process console({"console", agent.address(), "--json"});
        ASSERT_NE(console.line(), "") << agent.process().errors();
        for (unsigned int sent = 1; sent <= 3; ++sent) {
            test::sendDatagram(port, std::string(100, 'x'));
            ordered_json const state = stateOf(console, sent);

            ASSERT_FALSE(state.is_null()) << agent.process().errors();
            EXPECT_EQ(state["source"]["link_type"], "linux_sll");
            EXPECT_EQ(state["source"]["link_bits_per_second"], nullptr);
            EXPECT_EQ(state["totals"]["bytes"], sent * (16 + 20 + 8 + 100));
            EXPECT_EQ(state["tables"]["ip_traffic"]["rows"][0]["source"], "127.0.0.1");
            expectNoStations(state);
            // Longer than it takes to look at an interface.
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
        }
        agent.process().signal(SIGTERM);
        while (!console.line().empty()) {
        }
        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
        EXPECT_THAT(agent.process().errors(), HasSubstr("3 frames counted"));
    }));
}

TEST(LiveMedia, ALoopbackStaysOneOfEthernet)
{
    SKIP_UNLESS(inOwnNetwork([] {
        Agent agent({"-i", "lo", "-f", "udp dst port 4000", "--interval", "0.02", "--consoles", "1"});
        Process console({"console", agent.address(), "--json"});
        ASSERT_NE(console.line(), "") << agent.process().errors();
        test::sendDatagram(port, std::string(100, 'x'));
        ordered_json const state = stateOf(console, 1);

        ASSERT_FALSE(state.is_null()) << agent.process().errors();
        EXPECT_EQ(state["source"]["link_type"], "ethernet");
        EXPECT_EQ(state["tables"]["stations"]["rows"][0]["address"], "00:00:00:00:00:00");
    }));
}

// Behind an extension header, where the kernel looks for it itself.
TEST(LiveMedia, TheFilterOfARowOfIPv6SelectsItsFrames)
{
    std::pair<char const *, std::uint32_t> const interfaces[] = {{"tunnel0", ketmon::linktype::raw},
                                                                 {"any", ketmon::linktype::linuxSll}};
    test::Filter const row =
        test::all(test::protocol(0x86DD), test::protocol6(6), test::port6(80, CIPPortFilter::ptTCP));
    auto const toPort = [](unsigned int number) {
        test::Bytes const bytes = test::ipv6Packet(test::v6A, test::v6B, 60,
                                                   test::extension(6, 16) + test::tcpHeader(4000, number));
        return std::string(bytes.begin(), bytes.end());
    };
    for (auto const & each : interfaces) {
        auto const & name = each.first;
        auto const linkType = each.second;
        bool made = true;
        SKIP_UNLESS(inOwnNetwork([&] {
                        PassingInterface const tunnel("tunnel0", PassingInterface::packets);
                        made = tunnel.there();
                        if (!made)
                            return;
                        tunnel.setUp(true);
                        std::string const filter = ketmon::mediumExpression(*row, linkType);
                        Agent agent({"-i", name, "-f", "(" + filter + ") or udp dst port 53", "--interval",
                                     "0.02", "--consoles", "1"});
                        Process console({"console", agent.address(), "--json"});
                        ASSERT_NE(console.line(), "") << agent.process().errors();
                        EXPECT_TRUE(tunnel.send(toPort(81)));
                        EXPECT_TRUE(tunnel.send(toPort(80)));
                        EXPECT_TRUE(tunnel.send(packet()));
                        ordered_json tables;
                        do {
                            std::string const line = console.line();
                            ASSERT_NE(line, "") << agent.process().errors();
                            tables = ordered_json::parse(line)["tables"];
                        } while (tables["udp_ports"]["rows"].empty());

                        ordered_json const ports = tables["ipv6_tcp_ports"]["rows"];
                        ASSERT_EQ(ports.size(), 1U) << name;
                        EXPECT_EQ(ports[0]["port"], 80) << name;
                    }) &&
                    made);
    }
}

TEST(LiveMedia, AFilterIsOneForTheMediumOfTheInterface)
{
    SKIP_UNLESS(inOwnNetwork([] {
        test::Outcome const outcome = test::ketmon({"agent", "-i", "any", "-f", "ether src 2:0:0:0:0:1"});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_THAT(outcome.errors, HasSubstr("'ether src 2:0:0:0:0:1' is no capture filter"));
    }));
}

} // namespace
