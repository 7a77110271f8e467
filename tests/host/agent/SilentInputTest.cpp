#include "host/agent/CaptureThread.h"

#include "host/capture/CaptureFiles.h"
#include "tests/host/CaptureBuilder.h"
#include "tests/host/Fifo.h"
#include "tests/host/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <optional>

using namespace ketmon;
using test::Agent;
using test::Fifo;
using test::Process;
using test::TemporaryFile;
using testing::HasSubstr;

namespace {

// Two frames an hour apart.
std::string twoFrames()
{
    test::ClassicBuilder const in;
    return in.header() + in.record(0, 0, std::string(60, 'x')) + in.record(3600, 0, std::string(60, 'y'));
}

std::string compressed(std::string const & bytes)
{
    TemporaryFile const file(bytes);
    return test::run({"gzip", "--stdout", file.path()}).output;
}

// A capture thread that reads a file.
class Capture
{
public:
    explicit Capture(std::string const & path, CFeedOptions const & options = {})
        : m_source({path}, FirstRead::byNext),
          m_thread(m_manager, m_source, options)
    {
        m_manager.beginAnalyzing(nullptr);
        m_thread.start([this](CEnd const & end) { m_end = end; });
    }

    // Ends it, which must not take until a byte comes or a pause is over.
    CEnd stop()
    {
        auto const start = std::chrono::steady_clock::now();
        m_thread.stop();
        m_thread.join();
        auto const took = std::chrono::steady_clock::now() - start;
        EXPECT_LT(took, std::chrono::seconds(60));
        m_longest = std::max(m_longest, std::chrono::duration<double>(took).count());
        return m_end.value();
    }

    static double longest() { return m_longest; }

private:
    KetStats::CKetrinStatManager m_manager;
    CCaptureFiles m_source;
    std::optional<CEnd> m_end;
    CCaptureThread m_thread; // stands last: it uses the others
    static inline double m_longest = 0.0;
};

TEST(SilentInput, EndsWhereverThePipeFallsSilent)
{
    std::string const plain = twoFrames();
    for (std::string const & bytes : {plain, compressed(plain)})
        for (std::size_t length = 0; length <= bytes.size(); length += length < 50 ? 1 : 7) {
            Fifo fifo;
            fifo.write(bytes.substr(0, length));
            Capture capture(fifo.path());
            ASSERT_TRUE(fifo.waitUntilRead());

            CEnd const end = capture.stop();

            EXPECT_EQ(end.reason, EndReason::ended) << length << ' ' << end.text;
            EXPECT_LE(end.frames, 2U);
        }
    RecordProperty("longest", std::to_string(Capture::longest()));
}

TEST(SilentInput, EndsWithoutAWriter)
{
    Fifo const fifo;
    Capture capture(fifo.path());

    EXPECT_EQ(capture.stop().frames, 0U);
}

TEST(SilentInput, EndsWithinThePausesOfAPacedFile)
{
    TemporaryFile const file(twoFrames());
    for (double const gap : {10.0, 3600.0}) {
        Capture capture(file.path(), {.pace = 1.0, .longestGap = gap});

        EXPECT_LE(capture.stop().frames, 1U);
    }
}

TEST(SilentInput, ThatComesToLifeIsCounted)
{
    Fifo fifo;
    Agent agent({"-r", fifo.path(), "--pace", "0", "--consoles", "1"});
    Process console({"console", agent.address(), "--json"});
    EXPECT_NE(console.line(), "") << "it serves before there is a writer";
    std::string const bytes = twoFrames();

    fifo.write(bytes.substr(0, 50));
    ASSERT_TRUE(fifo.waitUntilRead());
    fifo.write(bytes.substr(50));
    ASSERT_TRUE(fifo.waitUntilRead());
    fifo.hangUp();

    EXPECT_EQ(test::outputOf(console).last["end"]["frames"], 2);
    EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
}

TEST(SilentInput, ThatTurnsOutToBeNoCaptureFailsTheAgent)
{
    Fifo fifo;
    Agent agent({"-r", fifo.path(), "--consoles", "1"});
    Process console({"console", agent.address(), "--json"});

    fifo.write("no capture at all");

    EXPECT_EQ(test::outputOf(console).last["end"]["reason"], "failed");
    EXPECT_EQ(agent.process().wait(), 2);
    EXPECT_THAT(agent.process().errors(), HasSubstr(fifo.path() + ": unknown file format"));
}

TEST(SilentInput, EndsTheAgentAtASignal)
{
    for (std::size_t const length : {0, 10, 50}) {
        Fifo fifo;
        fifo.write(twoFrames().substr(0, length));
        Agent agent({"-r", fifo.path()});

        agent.process().signal(SIGTERM);

        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
    }
}

TEST(SilentInput, LeavesTheOtherCommandsToTheirSignals)
{
    for (std::vector<std::string> const & command :
         {std::vector<std::string>{"read"}, {"show"}, {"filter"}, {"bench"}}) {
        Fifo fifo;
        fifo.write("k");
        std::vector<std::string> arguments = command;
        arguments.push_back(fifo.path());
        if (command.front() == "filter")
            arguments.push_back("1.5.1");
        Process process(arguments);
        ASSERT_TRUE(fifo.waitUntilRead());

        process.signal(SIGTERM);

        EXPECT_EQ(process.wait(), -1) << command.front();
    }
}

// Behind these nothing comes that would tell of an end.
TEST(EndlessInput, IsRefusedByWhatItBeginsWith)
{
    for (char const * const command : {"read", "show", "bench", "filter", "agent -r"})
        for (char const * const file : {"/dev/zero", "-"}) {
            std::string const row = std::string(command) == "filter" ? " 1.5.1" : "";
            // What it takes is bounded to some hundreds of megabytes, of which most is reserved alone.
            test::Outcome const outcome = test::run(
                {"bash", "-c",
                 "ulimit -v 1000000; \"$0\" " + std::string(command) + " " + file + row + " < /dev/zero",
                 KETMON_PROGRAM});

            EXPECT_EQ(outcome.exitCode, 2) << command << ' ' << outcome.errors;
            EXPECT_THAT(outcome.errors,
                        testing::AnyOf(HasSubstr(": unknown file format"), HasSubstr(": no saved snapshot")))
                << command;
        }
}

TEST(EndlessInput, BehindASnapshotIsRefused)
{
    TemporaryFile const snapshot("");
    ASSERT_EQ(
        test::ketmon({"read", "-q", test::capture("jumbo-ssh.pcap"), "--save-snapshot", snapshot.path()})
            .exitCode,
        0);

    test::Outcome const outcome =
        test::run({"bash", "-c", "ulimit -v 1000000; cat \"$1\" /dev/zero | \"$0\" show -", KETMON_PROGRAM,
                   snapshot.path()});

    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, "ketmon: -: there are bytes behind its end\n");
}

} // namespace
