#include "tests/host/Process.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

// A console whose output is taken no more.

using namespace std::chrono_literals;
using test::Agent;
using test::capture;

namespace {

// What waits at the end of its output for somebody to read it.
int waiting(int end)
{
    int bytes = 0;
    return ioctl(end, FIONREAD, &bytes) == 0 ? bytes : -1;
}

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

// Waits until something was written to the other end of `end`, and nothing more for a while.
void waitUntilStuck(int end)
{
    for (int before = 0, same = 0; same < 50; std::this_thread::sleep_for(10ms)) {
        int const now = waiting(end);
        same = now > 0 && now == before ? same + 1 : 0;
        before = now;
    }
}

std::vector<std::string> busy()
{
    return {"-r",         capture("internet-mixed.pcap"),
            "--pace",     "0",
            "--consoles", "1",
            "--linger",   "3600",
            "--interval", "0.005"};
}

TEST(StuckConsole, EndsAtASignalWhereNobodyReadsItsPipe)
{
    for (int const signal : {SIGINT, SIGTERM}) {
        Agent const agent(busy());
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
        Console console(agent.address(), ends[1]);
        waitUntilStuck(ends[0]);

        console.signal(signal);

        EXPECT_EQ(console.wait(), 0);
        close(ends[0]);
        close(ends[1]);
    }
}

TEST(StuckConsole, EndsAtASignalWhereItsTerminalTakesNothing)
{
    int const terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0 || grantpt(terminal) != 0 || unlockpt(terminal) != 0)
        GTEST_SKIP() << "no terminal to be had";
    int const output = open(ptsname(terminal), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(output, 0);
    Agent const agent(busy());
    Console console(agent.address(), output);
    waitUntilStuck(terminal);

    console.signal(SIGINT);

    EXPECT_EQ(console.wait(), 0);
    close(output);
    close(terminal);
}

// The second one leaves it no time to tidy up, and its status is the same.
TEST(StuckConsole, EndsAtTwoSignalsAtOnce)
{
    Agent const agent(busy());
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Console console(agent.address(), ends[1]);
    waitUntilStuck(ends[0]);

    console.signal(SIGSTOP);
    console.signal(SIGINT);
    console.signal(SIGTERM);
    console.signal(SIGCONT);

    EXPECT_EQ(console.wait(), 0);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
