#include "host/agent/ConsoleLinks.h"

#include "host/agent/Welcome.h"
#include "host/wire/Fingerprint.h"
#include "host/wire/SampleTime.h"
#include "tests/support/Frames.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/local/connect_pair.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/write.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using namespace ketmon;
using namespace std::chrono_literals;
using testing::HasSubstr;

namespace {

CPeer const ofUser{"process 1 of user 7", "user 7", true};
CPeer const ofOther{"process 2 of user 8", "user 8", true};
CPeer const ofRoot{"process 3 of user 0", "user 0", false};

// The agent's end of connections, whose other ends say and take what a test wants.
class ConsoleLinks : public testing::Test
{
protected:
    explicit ConsoleLinks(KetStats::CTableLimits const & limits = {}) : m_manager(limits)
    {
        m_manager.beginAnalyzing(nullptr);
        links.emplace(context, 4);
    }
    ~ConsoleLinks() override
    {
        links->closeAll();
        run(1ms);
    }

    void run(std::chrono::milliseconds time)
    {
        io.restart();
        io.run_for(time);
        // What is ready is done, however busy the machine was meanwhile.
        do
            io.restart();
        while (io.poll() > 0);
    }

    // A console that has said hello for everything; it takes nothing unless it is read.
    asio::local::stream_protocol::socket console(CPeer const & peer = ofRoot)
    {
        asio::local::stream_protocol::socket own(io);
        asio::local::stream_protocol::socket other(io);
        asio::local::connect_pair(own, other);
        links->add(CStreamSocket(std::move(own)), peer);
        CHello hello;
        hello.fingerprint = schemaFingerprint();
        say(other, encoded(MessageType::hello, hello.body()));
        run(1ms);
        return other;
    }

    static void say(asio::local::stream_protocol::socket & socket, std::string const & bytes)
    {
        asio::write(socket, asio::buffer(bytes));
    }

    // Rounds of samples until one is left out, for the console that there is takes nothing.
    void fallBehind()
    {
        for (unsigned int before = ~0U; samples != before && links->serving() == 1;) {
            std::this_thread::sleep_for(3ms);
            before = samples;
            links->sample();
            run(1ms);
        }
    }

    // All that has come to a console by now, and what comes while it takes that.
    std::vector<CMessage> taken(asio::local::stream_protocol::socket & socket)
    {
        CMessageReader reader(largestToConsole);
        std::vector<char> block(1 << 16);
        socket.non_blocking(true);
        for (;;) {
            run(5ms);
            CErrorCode error;
            std::size_t const count = socket.read_some(asio::buffer(block), error);
            if (error)
                break;
            reader.feed({block.data(), count});
        }
        std::vector<CMessage> messages;
        for (CMessage message; reader.next(message);)
            messages.push_back(message);
        return messages;
    }

    unsigned int samples = 0; // and one for each console
    asio::io_context io;
    KetStats::CKetrinStatManager m_manager;
    CLog log{LogLevel::error};
    CAgentWelcome m_welcome{m_manager, 1000ms, {}};
    CLinkContext context{m_manager,
                         [this] { return m_welcome.now(); },
                         std::size_t{1} << 30,
                         [this] {
                             ++samples;
                             return CCaptureCounters{};
                         },
                         [this](CConsoleLink const & link) { return links->objection(link.peer()); },
                         [] { return std::string(); },
                         [] {},
                         [] {},
                         log};
    std::optional<CConsoleLinks> links;
};

CSampleHead headOf(CMessage const & message)
{
    std::string_view rest;
    return CSampleHead::parsed(message.body, {}, rest);
}

TEST_F(ConsoleLinks, AConsoleThatIsBehindGetsLongerSamples)
{
    context.backlog = 1000;
    auto slow = console();
    fallBehind();
    ASSERT_EQ(links->serving(), 1U) << "it is only slow";

    std::vector<CMessage> messages = taken(slow);
    ASSERT_GT(messages.size(), 3U);
    std::size_t const late = messages.size();
    std::this_thread::sleep_for(20ms);
    links->sample();
    for (CMessage const & message : taken(slow))
        messages.push_back(message);

    ASSERT_GT(messages.size(), late);
    EXPECT_EQ(messages[1].type, MessageType::full);
    long long moment = headOf(messages[1]).zero;
    for (std::size_t i = 1; i < messages.size(); ++i) {
        CSampleHead const head = headOf(messages[i]);
        EXPECT_EQ(head.sequence, i);
        EXPECT_EQ(head.moment, moment + head.interval);
        moment = head.moment;
    }
    EXPECT_GT(headOf(messages[late]).interval, ticksPerSecond / 100);
}

TEST_F(ConsoleLinks, AConsoleThatIsBehindGetsTheLastSampleAndTheEnd)
{
    context.backlog = 0;
    auto slow = console();
    fallBehind();
    std::this_thread::sleep_for(20ms);
    long long const before = statisticsTime();
    links->sample();
    links->end({EndReason::ended, 5, ""});

    std::vector<CMessage> const messages = taken(slow);

    ASSERT_GT(messages.size(), 3U);
    EXPECT_EQ(messages.back().type, MessageType::end);
    EXPECT_GT(headOf(messages[messages.size() - 2]).moment + ticksPerSecond / 10, before);
}

TEST_F(ConsoleLinks, AConsoleWhoseSampleWouldBeTooLargeIsRefused)
{
    context.largest = 1100;
    auto large = console();

    std::vector<CMessage> const messages = taken(large);

    ASSERT_EQ(messages.size(), 1U);
    EXPECT_EQ(messages[0].type, MessageType::refusal);
    EXPECT_THAT(messages[0].body, HasSubstr("is more than a console takes, 1100: select less"));
}

TEST_F(ConsoleLinks, AConsoleWhoseSampleGrowsTooLargeIsRefused)
{
    auto large = console();
    context.largest = 10;
    std::this_thread::sleep_for(5ms);
    links->sample();

    std::vector<CMessage> const messages = taken(large);

    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[2].type, MessageType::refusal);
    EXPECT_THAT(messages[2].body, HasSubstr("is more than a console takes, 10: select less"));
}

TEST_F(ConsoleLinks, AConsoleThatSaysTooMuchIsRefused)
{
    auto busy = console();
    std::string heartbeats;
    for (int i = 0; i < 90; ++i)
        heartbeats += encoded(MessageType::heartbeat, "");
    say(busy, heartbeats);
    run(20ms);
    EXPECT_EQ(links->serving(), 1U);

    for (int i = 0; i < 50; ++i)
        say(busy, heartbeats);
    std::vector<CMessage> const messages = taken(busy);

    EXPECT_EQ(links->serving(), 0U);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back().type, MessageType::refusal);
    EXPECT_EQ(messages.back().body, "the console says more than 100 messages a second");
}

TEST_F(ConsoleLinks, OneUserIsServedHalfOfThemAtMost)
{
    auto const first = console(ofUser);
    auto const second = console(ofUser);
    auto third = console(ofUser);
    EXPECT_EQ(links->serving(), 2U);
    EXPECT_EQ(taken(third).back().body,
              "the agent has 2 consoles from user 7 already, and serves no more from there");

    auto const other = console(ofOther);
    EXPECT_EQ(links->serving(), 3U);
    links->closeAll();

    std::vector<asio::local::stream_protocol::socket> many;
    for (int i = 0; i < 4; ++i)
        many.push_back(console());
    EXPECT_EQ(links->serving(), 4U);
}

TEST_F(ConsoleLinks, OneUserComesNotAllTheTime)
{
    int refused = 0;
    for (int i = 0; i < 1000; ++i) {
        refused += links->objection(ofUser).empty() ? 0 : 1;
        EXPECT_EQ(links->objection(ofRoot), "");
    }

    EXPECT_GT(refused, 0);
    EXPECT_EQ(links->objection(ofOther), "");
}

TEST_F(ConsoleLinks, WhatARefusedOneWasStillToBeSentIsLetGo)
{
    context.backlog = 20000;
    auto stalled = console();
    fallBehind();
    EXPECT_TRUE(links->refuseLast("enough"));

    std::vector<CMessage> const messages = taken(stalled);

    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back().type, MessageType::refusal);
    EXPECT_LT(messages.size() + 50, samples);
}

// With much in its tables.
class ConsoleLinksWithoutMemory : public ConsoleLinks
{
protected:
    ConsoleLinksWithoutMemory() : ConsoleLinks(manyConnections())
    {
        for (int group = 1; group <= 9; ++group)
            m_manager.enableStatistic("1." + std::to_string(group));
        for (unsigned int i = 1; i <= connections; ++i) {
            test::Frame frame(test::ipFrame(test::hostA, test::host(i), 17));
            m_manager.analyzeFrame(&frame);
        }
    }

    // The system has taken a part of the first sample of a console only.
    void expectTheFirstWholeAndARefusal(std::vector<CMessage> const & messages, std::string const & why)
    {
        EXPECT_EQ(links->serving(), 0U);
        ASSERT_EQ(messages.size(), 3U);
        EXPECT_EQ(messages[1].type, MessageType::full);
        EXPECT_EQ(messages[2].type, MessageType::refusal);
        EXPECT_THAT(messages[2].body, HasSubstr(why));
    }

private:
    static constexpr unsigned int connections = 30000;

    static KetStats::CTableLimits manyConnections()
    {
        KetStats::CTableLimits limits;
        limits.ipConnections = connections;
        return limits;
    }
};

TEST_F(ConsoleLinksWithoutMemory, WhoCameLastIsTold)
{
    context.joined = [] { throw std::bad_alloc(); };
    auto last = console();

    std::vector<CMessage> const messages = taken(last);

    EXPECT_EQ(links->serving(), 0U);
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back().type, MessageType::refusal);
    EXPECT_THAT(messages.back().body, HasSubstr("the agent has no memory left for another console"));
}

TEST_F(ConsoleLinksWithoutMemory, WhoseNextSampleCannotBeHadGetsTheFirstWholeAndIsTold)
{
    context.backlog = std::size_t{10} << 20;
    auto slow = console();
    ASSERT_EQ(links->serving(), 1U);
    std::this_thread::sleep_for(5ms);
    context.counters = []() -> CCaptureCounters { throw std::bad_alloc(); };
    links->sample();

    expectTheFirstWholeAndARefusal(taken(slow), "the agent has no memory left for this console");
}

TEST_F(ConsoleLinksWithoutMemory, WhoIsLetGoOfGetsTheFirstWholeAndIsTold)
{
    context.backlog = std::size_t{10} << 20;
    auto slow = console();
    EXPECT_TRUE(links->refuseLast("enough"));

    expectTheFirstWholeAndARefusal(taken(slow), "enough");
}

TEST_F(ConsoleLinksWithoutMemory, WhoIsTurnedAwayAndTakesNothingIsGivenUp)
{
    context.backlog = std::size_t{10} << 20;
    auto const stalled = console();
    std::this_thread::sleep_for(5ms);
    context.counters = []() -> CCaptureCounters { throw std::bad_alloc(); };
    links->sample();
    EXPECT_FALSE(links->sweep());
    run(5500ms);

    EXPECT_TRUE(links->sweep());
}

// By how much the clock of the statistics is behind that of the day.
long long behindTheDay = 0;

long long shifted()
{
    return ticksOfStamp(std::chrono::duration_cast<std::chrono::seconds>(
                            std::chrono::system_clock::now().time_since_epoch())
                            .count(),
                        0) -
           behindTheDay;
}

TEST(AgentWelcome, TellsItsEpochByTheClockAsItIs)
{
    constexpr long long hour = 3600 * ticksPerSecond;
    KetStats::CSystemTime::setSource(&shifted);
    KetStats::CKetrinStatManager const manager;
    CAgentWelcome welcome(manager, 1000ms, {});
    long long const epoch = welcome.now().epoch;

    behindTheDay = hour;
    long long const later = welcome.now().epoch;
    long long const again = welcome.now().epoch;

    KetStats::CSystemTime::setSource(nullptr);
    behindTheDay = 0;
    EXPECT_NEAR(static_cast<double>(later - epoch), static_cast<double>(hour), 2.0 * ticksPerSecond);
    EXPECT_NEAR(static_cast<double>(again - later), 0.0, 2.0 * ticksPerSecond);
}

} // namespace
