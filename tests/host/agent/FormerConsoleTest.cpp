#include "host/agent/ConsoleLinks.h"

#include "host/agent/Welcome.h"
#include "host/wire/Fingerprint.h"
#include "tests/snapshot/Clock.h"
#include "tests/support/IPv6Frames.h"
#include "tests/support/Traffic.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <sstream>

// A console that knows the first tree alone, as all did before there was a second one: each byte that an agent tells it,
// as an agent of then told it. With KETSTATS_WRITE_GOLDEN in the environment the record is written anew, which only an
// agent of then may do.

using namespace ketmon;
using namespace std::chrono_literals;

namespace {

KetStats::CTableLimits small()
{
    KetStats::CTableLimits limits;
    limits.stations = 9;
    limits.protocols = 4;
    limits.macConnections = 12;
    limits.ipConnections = 17;
    limits.arpTable = 5;
    limits.ipSubprotocols = 3;
    limits.tcpPorts = 6;
    limits.udpPorts = 3;
    limits.stationTcpPorts = 3;
    limits.stationUdpPorts = 2;
    return limits;
}

struct Scene
{
    char const * name;
    KetStats::CTableLimits limits{};
    std::vector<std::string> selection{};
    // Of the first tree; the second one is on throughout.
    std::vector<std::string> groups{"1.4", "1.5", "1.6", "1.7", "1.8"};
    // What a hello ends with.
    std::string behind{};
};

// Frames of which the second tree counts all that it can.
test::Traffic ofBothTrees()
{
    using namespace test;
    Traffic traffic;
    auto const add = [&](Bytes const & frame) {
        traffic.push_back({frame, static_cast<unsigned int>(frame.size())});
    };
    for (unsigned int i = 1; i < 40; ++i) {
        Ipv6Host const from{host(i).mac, "2001:db8::" + std::to_string(i)};
        add(tagged(ipv6Frame(from, v6B, 6, tcpHeader(5000 + i, 80, 2)), i));
        add(tagged(tagged(ipv6Frame(v6B, from, 17, udpHeader(53, 1000 + i)), i), 2 * i, 0x88A8));
        add(ipv6Frame({macC, "fe80::1"}, {multicastMac, "ff02::1"}, 58,
                      icmpv6(136, 0, Bytes(4) + ipv6Bytes(from.ip) + addressOption(2, from.mac)), 255));
        add(ipv6Frame(from, v6A, 47));
        add(arpReply(host(i), hostA));
    }
    return traffic;
}

std::string hex(std::string_view bytes)
{
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        char digits[5];
        std::snprintf(digits, sizeof digits, "%s%02X", i % 32 == 0 ? "\n " : "",
                      static_cast<unsigned int>(static_cast<unsigned char>(bytes[i])));
        text += digits;
    }
    return text;
}

std::string hash(std::string_view bytes)
{
    std::uint64_t value = 0xCBF29CE484222325;
    for (char const byte : bytes)
        value = (value ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    char digits[20];
    std::snprintf(digits, sizeof digits, " %016llx", static_cast<unsigned long long>(value));
    return digits;
}

// Short ones in full. The clock of the day tells another time with each run: zeros stand for what it told.
std::string shown(CMessage message)
{
    auto const hide = [&](std::size_t at, std::size_t size) { message.body.replace(at, size, size, '\0'); };
    if (message.type == MessageType::welcome)
        hide(38, 8); // epoch
    else if (message.type == MessageType::full || message.type == MessageType::delta)
        hide(8, 16); // zero point and moment
    constexpr std::size_t longest = 600;
    std::string_view const body = message.body;
    return std::to_string(static_cast<int>(message.type)) + ' ' + std::to_string(body.size()) +
           (body.size() > longest ? hash(body) : hex(body)) + '\n';
}

// An agent's end of one connection, and the other end.
class Conversation
{
public:
    explicit Conversation(Scene const & scene) : m_manager(scene.limits)
    {
        for (std::string const & group : scene.groups)
            m_manager.enableStatistic(KetStats::COid(group));
        for (int group = 1; group <= 7; ++group)
            m_manager.enableStatistic(KetStats::COid("2." + std::to_string(group)));
        m_manager.beginAnalyzing(nullptr);
        m_welcome.emplace(m_manager, 1000ms, served());
        count(test::bundledTraffic("many-stations-arp.pcap"));
        asio::local::connect_pair(m_own, m_other);
        m_links.add(CStreamSocket(std::move(m_own)), {"process 3 of user 0", "user 0", false});
        CHello hello;
        hello.fingerprint = schemaFingerprint();
        hello.selection = scene.selection;
        asio::write(m_other, asio::buffer(encoded(MessageType::hello, hello.body() + scene.behind)));
        m_io.run_for(1ms);
    }
    ~Conversation()
    {
        m_links.closeAll();
        m_io.restart();
        m_io.run_for(1ms);
    }

    void sample(test::Traffic const & traffic)
    {
        count(traffic);
        m_clock.advance(test::Clock::second);
        m_links.sample();
    }
    void end() { m_links.end({EndReason::ended, 12345, ""}); }

    // All messages that came by now.
    std::string record()
    {
        std::string text;
        CMessageReader reader(largestToConsole);
        std::vector<char> block(1 << 16);
        m_other.non_blocking(true);
        // As much as there is, however the machine shares its time.
        for (unsigned int empty = 0; empty < 3;) {
            m_io.restart();
            m_io.run_for(2ms);
            CErrorCode error;
            std::size_t const size = m_other.read_some(asio::buffer(block), error);
            if (error)
                ++empty;
            else
                reader.feed({block.data(), size});
            for (CMessage message; reader.next(message);)
                text += shown(message);
        }
        return text;
    }

private:
    void count(test::Traffic const & traffic)
    {
        CNetworkFrame view;
        for (test::Captured const & frame : traffic) {
            view.Assign(frame.data.data(), static_cast<unsigned int>(frame.data.size()), frame.length);
            m_manager.analyzeFrame(&view);
        }
    }
    static CServed served()
    {
        CServed served;
        served.agent = "web7";
        served.identity = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
        served.source = "one.pcap";
        return served;
    }

    test::Clock m_clock;
    asio::io_context m_io;
    KetStats::CKetrinStatManager m_manager;
    CLog m_log{LogLevel::error};
    std::optional<CAgentWelcome> m_welcome;
    CLinkContext m_context{m_manager,
                           [this] { return m_welcome->now(); },
                           std::size_t{1} << 30,
                           [] { return CCaptureCounters{}; },
                           [](CConsoleLink const &) { return std::string(); },
                           [] { return std::string(); },
                           [] {},
                           [] {},
                           m_log};
    CConsoleLinks m_links{m_context, 4};
    asio::local::stream_protocol::socket m_own{m_io};
    asio::local::stream_protocol::socket m_other{m_io};
};

std::string conversation(Scene const & scene)
{
    Conversation conversation(scene);
    conversation.sample({});
    conversation.sample(test::bundledTraffic("internet-mixed.pcap"));
    conversation.sample(ofBothTrees());
    conversation.sample({});
    conversation.sample(test::bundledTraffic("llc-snap-ipx-vlan.pcap"));
    conversation.end();
    return conversation.record();
}

// All that is selected, parts of it, tables that give up rows, groups that are off, and what is no statistic.
std::vector<Scene> const scenes = {
    {.name = "all"},
    {.name = "all of small tables", .limits = small()},
    {.name = "protocols", .selection = {"1.6"}},
    {.name = "some tables", .selection = {"1.8", "1.9", "1.4.1"}},
    {.name = "only what is always there", .selection = {"1.1"}, .groups = {}},
    {.name = "a table of the other tree", .selection = {"1.6", "2.1"}},
    {.name = "all of the other tree", .selection = {"2"}},
};

std::string const goldenFile = KETSTATS_TEST_DATA "/host/agent/golden/former-console.txt";

std::string golden()
{
    std::ifstream stream(goldenFile);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string recordOfAll(std::string const & behind = "")
{
    std::string text;
    for (Scene scene : scenes) {
        scene.behind = behind;
        text += scene.name;
        text += ":\n" + conversation(scene);
    }
    return text;
}

TEST(FormerConsole, IsToldWhatItAlwaysWas)
{
    std::string const made = recordOfAll();
    if (std::getenv("KETSTATS_WRITE_GOLDEN"))
        std::ofstream(goldenFile) << made;
    EXPECT_EQ(made, golden());
}

// One whose second tree is another than the agent's: neither could read the other's.
TEST(FormerConsole, IsAsWellWhoeverKnowsAnotherSecondTree)
{
    std::string behind(sizeof(std::uint64_t), '\0');
    std::uint64_t const other = extendedFingerprint() + 1;
    for (std::size_t i = 0; i < behind.size(); ++i)
        behind[i] = static_cast<char>(other >> 8 * i);

    EXPECT_EQ(recordOfAll(behind), golden());
}

TEST(FormerConsole, IsToldLessThanOneThatKnowsBothTrees)
{
    CHello hello;
    hello.extendedFingerprint = extendedFingerprint();
    std::string const body = hello.body();
    Scene scene = scenes.front();
    scene.behind = body.substr(body.size() - sizeof(std::uint64_t));

    std::string const told = conversation(scene);

    EXPECT_EQ(told.rfind("2 149\n", 0), 0U) << told.substr(0, 100);
    EXPECT_NE(told.substr(0, 1000), golden().substr(golden().find('\n') + 1, 1000));
}

} // namespace
