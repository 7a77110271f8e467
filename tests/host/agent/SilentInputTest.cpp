#include "host/agent/CaptureThread.h"

#include "host/capture/CaptureFiles.h"
#include "tests/host/CaptureBuilder.h"
#include "tests/host/Fifo.h"
#include "tests/host/Process.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <thread>

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

// A file that tells how many frames it has given.
class Watched : public CCaptureSource
{
public:
    explicit Watched(std::string const & path) : m_files({path}, FirstRead::byNext) {}

    bool next(CCapturedFrame & frame) override
    {
        bool const given = m_files.next(frame);
        m_given += given ? 1 : 0;
        return given;
    }
    void stop() override { m_files.stop(); }
    CSourceFaults faults() const override { return m_files.faults(); }

    unsigned int given() const { return m_given; }

private:
    CCaptureFiles m_files;
    std::atomic<unsigned int> m_given{0};
};

// A capture thread that reads a file.
class Capture
{
public:
    explicit Capture(std::string const & path, CFeedOptions const & options = {})
        : m_source(path),
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

    // Waits until the file has given so many frames.
    void waitForFrames(unsigned int frames) const
    {
        while (m_source.given() < frames)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    static double longest() { return m_longest; }

private:
    KetStats::CKetrinStatManager m_manager;
    Watched m_source;
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
        capture.waitForFrames(2); // of which the second is due in a while

        EXPECT_EQ(capture.stop().frames, 1U);
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
    for (std::size_t const length : {0U, 10U, 50U}) {
        Fifo fifo;
        fifo.write(twoFrames().substr(0, length));
        Agent agent({"-r", fifo.path()});

        agent.process().signal(SIGTERM);

        EXPECT_EQ(agent.process().wait(), 0) << agent.process().errors();
    }
}

// A terminal that waits for more bytes than come, or for a pause of 25 s between two of them, says that there is
// something to read, and then keeps who reads.
TEST(SilentInput, WhoseReadHangsEndsTheAgentAtTheSecondSignal)
{
    int const master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        GTEST_SKIP() << "there are no terminals here";
    std::string const name = ptsname(master);
    int const slave = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios mode{};
    ASSERT_EQ(tcgetattr(slave, &mode), 0);
    cfmakeraw(&mode);
    mode.c_cc[VMIN] = mode.c_cc[VTIME] = 255;
    ASSERT_EQ(tcsetattr(slave, TCSANOW, &mode), 0);
    TemporaryFile const errors("");
    int output[2];
    ASSERT_EQ(pipe2(output, O_CLOEXEC), 0);
    pid_t const id = fork();
    if (id == 0) {
        dup2(slave, STDIN_FILENO);
        dup2(output[1], STDOUT_FILENO);
        dup2(open(errors.path().c_str(), O_WRONLY), STDERR_FILENO);
        execl(KETMON_PROGRAM, "ketmon", "agent", "-r", "-", "--listen", "127.0.0.1:0",
              static_cast<char *>(nullptr));
        _exit(127);
    }
    char first = 0;
    EXPECT_EQ(read(output[0], &first, 1), 1) << "it doesn't listen";
    // Now and then one byte more, so that it goes on for a minute.
    std::jthread dripping([&](std::stop_token const & stop) {
        while (!stop.stop_requested()) {
            static_cast<void>(write(master, "x", 1));
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    });
    std::this_thread::sleep_for(std::chrono::seconds(2));

    kill(id, SIGTERM);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    int status = 0;
    EXPECT_EQ(waitpid(id, &status, WNOHANG), 0) << "it doesn't hang";
    kill(id, SIGTERM);
    auto const start = std::chrono::steady_clock::now();
    while (waitpid(id, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() - start > std::chrono::seconds(20))
            kill(id, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_THAT(test::fileContents(errors.path()), HasSubstr("the capture hangs in its input"));
    dripping.request_stop();
    dripping.join();
    for (int const handle : {slave, master, output[0], output[1]})
        close(handle);
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

// What a line of shell left behind, and how much memory the largest of its programs took.
struct Measured
{
    int exitCode;
    std::string errors;
    long kilobytes;
};

// `line` has the program as $0 and `argument` as $1.
Measured measured(std::string const & line, std::string const & argument)
{
    TemporaryFile const errors("");
    pid_t const id = fork();
    if (id == 0) {
        std::string const whole = line + " 2>\"$2\" >/dev/null";
        execlp("bash", "bash", "-c", whole.c_str(), KETMON_PROGRAM, argument.c_str(), errors.path().c_str(),
               static_cast<char *>(nullptr));
        _exit(127);
    }
    int status = 0;
    rusage usage{};
    if (wait4(id, &status, 0, &usage) != id)
        throw std::runtime_error("no shell");
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, test::fileContents(errors.path()), usage.ru_maxrss};
}

constexpr long bound = 500000;

// Behind these nothing comes that would tell of an end.
TEST(EndlessInput, IsRefusedByWhatItBeginsWith)
{
    for (std::string const command : {"read", "show", "bench", "filter", "agent -r"})
        for (char const * const file : {"/dev/zero", "-"}) {
            std::string const row = command == "filter" ? " 1.5.1" : "";

            Measured const outcome = measured("\"$0\" " + command + " \"$1\"" + row + " </dev/zero", file);

            EXPECT_EQ(outcome.exitCode, 2) << command;
            EXPECT_THAT(outcome.errors,
                        testing::AnyOf(HasSubstr(": unknown file format"), HasSubstr(": no saved snapshot")))
                << command;
            EXPECT_LT(outcome.kilobytes, bound) << command;
        }
}

TEST(EndlessInput, BehindASnapshotIsRefused)
{
    TemporaryFile const snapshot("");
    std::string const file = test::capture("jumbo-ssh.pcap");
    ASSERT_EQ(test::ketmon({"read", "-q", file, "--save-snapshot", snapshot.path()}).exitCode, 0);

    Measured const outcome = measured("cat \"$1\" /dev/zero 2>/dev/null | \"$0\" show -", snapshot.path());

    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_EQ(outcome.errors, "ketmon: -: there are bytes behind its end\n");
    EXPECT_LT(outcome.kilobytes, bound);
}

} // namespace
