#include "host/console/SignalWatch.h"
#include "tests/host/Process.h"
#include "tests/host/Sandboxed.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

// A console whose output is taken no more.

using namespace std::chrono_literals;
using test::Agent;
using test::capture;

namespace {

// `ketmon console` with an output that a test made, of which it reads nothing.
class Console
{
public:
    Console(std::string const & agent, int output)
    {
        m_id = fork();
        if (m_id == 0) {
            dup2(output, STDOUT_FILENO);
            execl(KETMON_PROGRAM, KETMON_PROGRAM, "console", agent.c_str(), nullptr);
            _exit(127);
        }
    }
    ~Console()
    {
        if (m_id > 0) {
            kill(m_id, SIGKILL);
            waitpid(m_id, nullptr, 0);
        }
    }
    Console(Console const &) = delete;
    Console & operator=(Console const &) = delete;

    void signal(int number) const { kill(m_id, number); }
    pid_t id() const { return m_id; }

    // The exit code, within some time; -1 otherwise, and where a signal ended it.
    int wait()
    {
        int status = 0;
        for (int i = 0; i < 6000; ++i, std::this_thread::sleep_for(5ms))
            if (waitpid(m_id, &status, WNOHANG) == m_id) {
                m_id = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
        return -1;
    }

private:
    pid_t m_id = -1;
};

// The agent sends samples all the while, so that a console which does nothing is stuck. One that has joined hears
// signals, too.
void waitUntilStuck(Agent & agent, Console const & console)
{
    ASSERT_TRUE(agent.process().waitForError(": joined"));
    std::string before;
    for (int same = 0; same < 50; std::this_thread::sleep_for(10ms)) {
        std::string const now = test::statusOf(console.id(), "voluntary_ctxt_switches");
        same = now == before ? same + 1 : 0;
        before = now;
    }
}

// One frame; the next one is far away.
std::vector<std::string> endless()
{
    return {"-r",
            capture("internet-mixed.pcap"),
            "--pace",
            "0.000001",
            "--longest-gap",
            "1000000",
            "--interval",
            "0.005"};
}

class Pipe
{
public:
    Pipe()
    {
        if (pipe2(m_ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
    }
    ~Pipe()
    {
        close(m_ends[0]);
        close(m_ends[1]);
    }
    Pipe(Pipe const &) = delete;
    Pipe & operator=(Pipe const &) = delete;

    int input() const { return m_ends[1]; }

private:
    int m_ends[2];
};

// A terminal that nobody looks at.
class Terminal
{
public:
    Terminal() : m_screen(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (m_screen >= 0 && grantpt(m_screen) == 0 && unlockpt(m_screen) == 0)
            m_output = open(ptsname(m_screen), O_RDWR | O_NOCTTY | O_CLOEXEC);
    }
    ~Terminal()
    {
        close(m_output);
        close(m_screen);
    }
    Terminal(Terminal const &) = delete;
    Terminal & operator=(Terminal const &) = delete;

    int output() const { return m_output; }

private:
    int m_screen;
    int m_output = -1;
};

TEST(StuckConsole, EndsAtASignalWhereNobodyReadsItsPipe)
{
    for (int const signal : {SIGINT, SIGTERM}) {
        Agent agent(endless());
        Pipe const pipe;
        Console console(agent.address(), pipe.input());
        waitUntilStuck(agent, console);

        console.signal(signal);

        EXPECT_EQ(console.wait(), 0);
    }
}

TEST(StuckConsole, EndsAtASignalWhereNobodyReadsItsTerminal)
{
    Terminal const terminal;
    if (terminal.output() < 0)
        GTEST_SKIP() << "no terminal to be had";
    Agent agent(endless());
    Console console(agent.address(), terminal.output());
    waitUntilStuck(agent, console);

    console.signal(SIGINT);

    EXPECT_EQ(console.wait(), 0);
}

TEST(StuckConsole, EndsAtASignalWhereItsTerminalWasStopped)
{
    Terminal const terminal;
    if (terminal.output() < 0)
        GTEST_SKIP() << "no terminal to be had";
    ASSERT_EQ(tcflow(terminal.output(), TCOOFF), 0);
    Agent agent(endless());
    Console console(agent.address(), terminal.output());
    waitUntilStuck(agent, console);

    console.signal(SIGINT);

    EXPECT_EQ(console.wait(), 0);
}

// Whatever the thread is stuck in that made it.
TEST(SignalWatch, EndsTheProgramAtTheSecondSignal)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const stuck = [] {
        ketmon::CSignalWatch const watch([] { kill(getpid(), SIGTERM); });
        kill(getpid(), SIGINT);
        for (;;)
            pause();
    };

    EXPECT_EXIT(stuck(), testing::ExitedWithCode(0), "");
}

} // namespace
