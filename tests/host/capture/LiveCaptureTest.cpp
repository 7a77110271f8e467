#include "tests/host/OwnNetwork.h"
#include "tests/host/Process.h"

#include "host/capture/posix/InterfaceCounters.h"
#include "host/support/Failure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

using ketmon::CInterfaceCounters;
using nlohmann::ordered_json;
using test::Agent;
using test::inOwnNetwork;
using test::PassingInterface;
using test::Process;
using testing::HasSubstr;

namespace {

constexpr unsigned short port = 4000;
constexpr std::size_t payload = 100;

// Sends datagrams to that port of the loopback interface until it is told to stop.
class Talker
{
public:
    explicit Talker(unsigned short to) : m_socket(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        m_to.sin_family = AF_INET;
        m_to.sin_port = htons(to);
        m_to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_thread = std::thread([this] {
            std::string const bytes(payload, 'x');
            while (!m_stop) {
                sendto(m_socket, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&m_to),
                       sizeof m_to);
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            }
        });
    }
    ~Talker()
    {
        m_stop = true;
        m_thread.join();
        close(m_socket);
    }
    Talker(Talker const &) = delete;
    Talker & operator=(Talker const &) = delete;

private:
    int m_socket;
    sockaddr_in m_to{};
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

// Sends that many of the largest datagrams to the port at once.
void flood(unsigned int datagrams)
{
    int const handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::string const bytes(65507, 'x');
    for (unsigned int i = 0; i < datagrams; ++i)
        sendto(handle, bytes.data(), bytes.size(), 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
    close(handle);
}

TEST(LiveCapture, CountsWhatPassesTheFilter)
{
    bool const permitted = inOwnNetwork([] {
        Agent agent({"-i", "lo", "-f", "udp dst port 4000", "-c", "200", "--consoles", "1", "--interval",
                     "0.02", "--link-speed", "8000000"});
        Process console({"console", agent.address(), "--json", "--tree"});
        Talker const heard(port);
        Talker const filtered(port + 1);

        ordered_json const last = outputOf(console).last;

        auto const & statistics = last["statistics"];
        std::size_t const length = 14 + 20 + 8 + payload + 4;
        EXPECT_EQ(last["ended"], 200) << agent.process().errors();
        EXPECT_EQ(last["frames"], 200);
        EXPECT_EQ(statistics["Global statistics"]["Global transmitted data"], 200 * length);
        EXPECT_GT(statistics["Global statistics"]["Average network utilisation"].get<double>(), 0.0);
        EXPECT_EQ(statistics["Global errors"]["Accuracy"], 100.0);
        EXPECT_EQ(statistics["IP traffic"][0]["Source"], "127.0.0.1");
        EXPECT_EQ(statistics["IP traffic"][0]["Frames transmitted"], 200);
        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
        EXPECT_EQ(console.wait(), 0) << console.errors();
    });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own";
}

// Of each frame only the headers are kept, so that a flood fits the buffer, and all of its bytes are counted.
TEST(LiveCapture, HoldsAFloodOfLargeFramesByTheirHeaders)
{
    bool const permitted = inOwnNetwork([] {
        constexpr unsigned int sent = 1000;
        Agent agent({"-i", "lo", "-f", "udp dst port 4000", "-c", "1000", "--consoles", "1"});
        Process console({"console", agent.address(), "--json"});
        ASSERT_NE(console.line(), "") << agent.process().errors();

        agent.process().signal(SIGSTOP);
        flood(sent);
        agent.process().signal(SIGCONT);

        ordered_json const last = test::outputOf(console).last;
        EXPECT_EQ(last["totals"]["frames"], sent);
        EXPECT_EQ(last["capture"]["dropped_by_kernel"], 0);
        // Of a length the low 16 bits count.
        EXPECT_EQ(last["totals"]["bytes"], sent * ((14 + 20 + 8 + 65507) % 65536 + 4));
        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
    });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own";
}

TEST(LiveCapture, HoldsNoMoreThanTheBufferThatItIsGiven)
{
    bool const permitted = inOwnNetwork([] {
        Agent agent(
            {"-i", "lo", "-f", "udp dst port 4000", "-B", "64", "--consoles", "1", "--interval", "0.02"});
        Process console({"console", agent.address(), "--json"});
        ASSERT_NE(console.line(), "") << agent.process().errors();

        agent.process().signal(SIGSTOP);
        flood(1000);
        agent.process().signal(SIGCONT);

        ordered_json dropped = 0;
        for (int samples = 0; samples < 500 && dropped == 0; ++samples)
            dropped = ordered_json::parse(console.line())["capture"]["dropped_by_kernel"];
        EXPECT_GT(dropped, 0);
    });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own";
}

// An agent that is held up loses what its buffer can't take, and knows how much.
TEST(LiveCapture, TellsHowManyFramesWereLost)
{
    bool const permitted = inOwnNetwork([] {
        constexpr unsigned int sent = 1000; // far more than the buffer takes
        Agent agent(
            {"-i", "lo", "-f", "udp dst port 4000", "--consoles", "1", "--interval", "0.02", "-s", "0"});
        Process console({"console", agent.address(), "--json", "--tree"});
        ASSERT_NE(console.line(), "") << agent.process().errors();

        agent.process().signal(SIGSTOP);
        flood(sent);
        agent.process().signal(SIGCONT);

        ordered_json statistics;
        unsigned int heard = 0;
        unsigned int lost = 0;
        // A loopback interface shows the system every frame twice, on its way out and in. Of those that
        // aren't lost the former is left out; of the first that doesn't fit only the latter may be lost.
        for (int samples = 0; samples < 500 && heard + (lost + 1) / 2 < sent; ++samples) {
            std::string const line = console.line();
            ASSERT_NE(line, "") << console.errors();
            statistics = ordered_json::parse(line)["statistics"];
            heard = statistics["Global statistics"]["Global transmitted frames"];
            lost = statistics["Global errors"]["Software overflows"];
        }
        EXPECT_GT(heard, 0U);
        EXPECT_GT(lost, 0U);
        EXPECT_EQ(heard + (lost + 1) / 2, sent);
        EXPECT_DOUBLE_EQ(statistics["Global errors"]["Accuracy"].get<double>(),
                         100.0 * heard / (heard + lost));
        agent.process().signal(SIGINT);
        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
    });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own";
}

TEST(LiveCapture, OfAnInterfaceThatGoesAwayEndsWithThatReason)
{
    static bool made = true;
    bool const permitted = inOwnNetwork([] {
        PassingInterface passing("passing0");
        made = passing.there() && passing.setUp(true);
        if (!made)
            return;
        Agent agent({"-i", "passing0", "--interval", "0.02"});
        Process console({"console", agent.address(), "--json"});
        EXPECT_NE(console.line(), "");

        passing.remove();

        ordered_json const last = outputOf(console).last;
        EXPECT_EQ(last["end"]["reason"], "interface_gone");
        EXPECT_EQ(last["capture"]["dropped_by_kernel"], 0);
        EXPECT_NE(last["capture"]["received"], nullptr);
        EXPECT_EQ(last["errors"]["software_overflows"], 0);
        EXPECT_EQ(console.wait(), 1);
        EXPECT_THAT(console.errors(), HasSubstr("the agent lost its interface: passing0: "));
        EXPECT_EQ(agent.process().wait(), ketmon::exitInterfaceGone);
    });
    if (!permitted || !made)
        GTEST_SKIP() << "no right to a network and an interface of its own";
}

TEST(LiveCapture, EndsOnASignalWithoutAFrame)
{
    bool const permitted = inOwnNetwork([] {
        Agent agent({"-i", "lo", "-f", "udp port 4000", "--consoles", "1"});
        Process console({"console", agent.address(), "--json", "--tree"});
        EXPECT_NE(console.line(), "");

        agent.process().signal(SIGINT);

        EXPECT_EQ(outputOf(console).last["ended"], 0);
        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
        EXPECT_EQ(console.wait(), 0) << console.errors();
    });
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own";
}

TEST(LiveCapture, SaysWhatIsWrongWithItsInput)
{
    bool const permitted = inOwnNetwork([] {
        test::Outcome const noInterface = test::ketmon({"agent", "-i", "no-such-if", "--no-wait"});
        EXPECT_EQ(noInterface.exitCode, 1);
        EXPECT_THAT(noInterface.errors, HasSubstr("no-such-if: there is no such interface"));

        test::Outcome const noFilter = test::ketmon({"agent", "-i", "lo", "-f", "nonsense expression"});
        EXPECT_EQ(noFilter.exitCode, 2);
        EXPECT_THAT(noFilter.errors, HasSubstr("'nonsense expression' is no capture filter: "));
    });
    EXPECT_EQ(test::ketmon({"agent", "-r", test::capture("empty.pcap"), "-i", "lo"}).exitCode, 2);
    EXPECT_EQ(test::ketmon({"agent", "-r", test::capture("empty.pcap"), "-f", "ip"}).exitCode, 2);
    if (!permitted)
        GTEST_SKIP() << "no right to a network of its own";
}

TEST(LiveCapture, WithoutTheRightSaysWhatToDo)
{
    Process agent({"agent", "-i", "lo"}, Process::noRights);
    int const exitCode = agent.wait();
    if (exitCode == 127 || agent.errors().find("error while loading") != std::string::npos)
        GTEST_SKIP() << "ketmon can't be started without rights";

    EXPECT_EQ(exitCode, 1);
    EXPECT_THAT(agent.errors(), HasSubstr("ketmon: lo: no permission to capture; run as root, or "));
    std::string const errors = agent.errors();
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1);
}

// A folder such as the system has for an interface.
class InterfaceFolder
{
public:
    InterfaceFolder() { std::filesystem::create_directories(m_path + "/statistics"); }
    ~InterfaceFolder() { std::filesystem::remove_all(m_path); }
    InterfaceFolder(InterfaceFolder const &) = delete;
    InterfaceFolder & operator=(InterfaceFolder const &) = delete;

    void write(std::string const & name, std::string const & text) const
    {
        std::ofstream(m_path + '/' + name) << text << '\n';
    }
    std::string const & path() const { return m_path; }

private:
    std::string m_path =
        std::filesystem::temp_directory_path() / ("ketmon-interface-" + std::to_string(getpid()));
};

TEST(InterfaceCounters, AreReadAnewEachTime)
{
    InterfaceFolder const folder;
    CInterfaceCounters counters(folder.path(), 0);
    folder.write("statistics/rx_crc_errors", "7");
    folder.write("statistics/collisions", "8");
    folder.write("statistics/rx_over_errors", "20");
    folder.write("statistics/rx_fifo_errors", "3");

    EXPECT_EQ(counters.GetLong(0x0002020D), 7);
    EXPECT_EQ(counters.GetLong(0x01020103), 8);
    EXPECT_EQ(counters.GetLong(0x01020203), 23);
    EXPECT_EQ(counters.GetLong(0x01020206), 0) << "the system has no such file";
    EXPECT_EQ(counters.GetLong(0x01020102), 0) << "the system has no such counter";
    folder.write("statistics/rx_crc_errors", "9");
    EXPECT_EQ(counters.GetLong(0x0002020D), 9);
    counters.setCapture({100, 5, 4});
    EXPECT_EQ(counters.GetMissedFrames(), 4);
    EXPECT_EQ(counters.GetSoftMissedFrames(), 5);
}

TEST(InterfaceCounters, TellWhichErrorsTheyKnow)
{
    InterfaceFolder const folder;
    CInterfaceCounters counters(folder.path(), 0);
    EXPECT_TRUE(counters.errors().none());

    folder.write("statistics/rx_crc_errors", "7");
    folder.write("statistics/collisions", "8");
    counters.setCapture({100, 5, {}});

    // Software overflows, CRC errors, multiple collisions.
    EXPECT_EQ(counters.errors().to_ulong(), 1U << 2 | 1U << 4 | 1U << 7);
}

TEST(InterfaceCounters, KeepWhatTheyWereWhereTheyCanNotBeRead)
{
    InterfaceFolder const folder;
    CInterfaceCounters counters(folder.path(), 0);
    folder.write("statistics/rx_crc_errors", "7");
    folder.write("statistics/rx_missed_errors", "100");
    counters.beginCapture();
    EXPECT_EQ(counters.GetLong(0x0002020D), 7);
    folder.write("statistics/rx_missed_errors", "105");
    EXPECT_EQ(counters.droppedSinceBegin(), 5U);

    std::filesystem::remove(folder.path() + "/statistics/rx_crc_errors");
    folder.write("statistics/rx_missed_errors", "");

    EXPECT_EQ(counters.GetLong(0x0002020D), 7);
    EXPECT_TRUE(counters.errors()[4]);
    EXPECT_EQ(counters.droppedSinceBegin(), 5U);
    // The driver starts anew.
    folder.write("statistics/rx_crc_errors", "2");
    folder.write("statistics/rx_missed_errors", "1");
    EXPECT_EQ(counters.GetLong(0x0002020D), 9);
    EXPECT_EQ(counters.droppedSinceBegin(), 6U);
}

TEST(InterfaceCounters, AreNotClaimedUnlessTheyCouldBeRead)
{
    InterfaceFolder const folder;
    CInterfaceCounters counters(folder.path(), 0);
    folder.write("statistics/rx_crc_errors", "");
    folder.write("statistics/rx_missed_errors", "");
    folder.write("statistics/rx_over_errors", "1");
    counters.beginCapture();

    EXPECT_TRUE(counters.errors().none());
    EXPECT_EQ(counters.droppedSinceBegin(), std::nullopt);
    // It comes too late to say what this capture lost.
    folder.write("statistics/rx_missed_errors", "1000");
    EXPECT_EQ(counters.droppedSinceBegin(), std::nullopt);
}

TEST(InterfaceCounters, SpeedIsTheInterfacesOwnUnlessGiven)
{
    InterfaceFolder const folder;

    EXPECT_EQ(CInterfaceCounters(folder.path(), 0).GetLinkSpeed(), 0);
    folder.write("speed", "-1");
    EXPECT_EQ(CInterfaceCounters(folder.path(), 0).GetLinkSpeed(), 0);
    folder.write("speed", "10000");
    EXPECT_EQ(CInterfaceCounters(folder.path(), 0).GetLinkSpeed(), 10000000000);
    EXPECT_EQ(CInterfaceCounters(folder.path(), 64000).GetLinkSpeed(), 64000);
}

} // namespace
