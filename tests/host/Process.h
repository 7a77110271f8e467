#pragma once

#include "tests/host/Program.h"

#include <nlohmann/json.hpp>

#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace test {

// A ketmon that runs beside the test. It is killed with the object if it is still there.
class Process
{
public:
    enum Rights
    {
        ownRights,
        noRights, // those of nobody, which takes a test that runs as root; exit code 127 if it can't be done
        captureRight, // the same, and the capability to capture, alone; only for a test that runs as root
    };

    // What it writes to stderr goes to `errors` instead of a file of the test's, if that is named.
    explicit Process(std::vector<std::string> const & arguments, Rights rights = ownRights,
                     std::string const & errors = "");
    ~Process();
    Process(Process const &) = delete;
    Process & operator=(Process const &) = delete;

    // The next line of its output, waited for; empty at the end of it.
    std::string line();
    // Waits for its end and gives the exit code; -1 if a signal ended it, or if it has to be killed.
    int wait();
    void signal(int number) const;
    // Memory that it has, in MiB.
    std::size_t memory() const;
    pid_t id() const { return m_id; }
    // Reads its output no more.
    void closeOutput();

    // All that it wrote to stderr by now.
    std::string errors() const { return fileContents(m_errors.path()); }
    // Waits until it has written that to stderr.
    bool waitForError(std::string const & text) const;

private:
    bool fill();

    TemporaryFile m_errors;
    pid_t m_id = -1;
    int m_output = -1;
    std::string m_read;
};

// An agent on a port that the system chose, unless it is told where to listen.
class Agent
{
public:
    explicit Agent(std::vector<std::string> arguments, std::string const & errors = "",
                   Process::Rights rights = Process::ownRights);

    std::string const & address() const { return m_address; }
    unsigned short port() const;
    Process & process() { return m_process; }

private:
    Process m_process;
    std::string m_address;
};

// A connection that says whatever a test wants.
class RawClient
{
public:
    explicit RawClient(Agent const & agent, int receiveBuffer = 0);
    ~RawClient();
    RawClient(RawClient const &) = delete;
    RawClient & operator=(RawClient const &) = delete;

    void send(std::string const & bytes) const;
    // At least one byte more, waited for; empty at the end, also one that came with a reset.
    std::string receive() const;
    // All up to the end.
    std::string receiveAll() const;

private:
    int m_socket;
};

// An agent on a port that the system chose which says whatever a test wants, once a console is there.
class RawAgent
{
public:
    explicit RawAgent(std::string const & bytes) : RawAgent(std::vector<std::string>{bytes}) {}
    // The same for one connection behind the other.
    explicit RawAgent(std::vector<std::string> connections);
    ~RawAgent();
    RawAgent(RawAgent const &) = delete;
    RawAgent & operator=(RawAgent const &) = delete;

    std::string address() const;
    // All that the console said.
    std::string heard();

private:
    void serve(std::string const & bytes);

    int m_listener;
    std::string m_heard;
    std::thread m_thread; // stands last: it uses the others
};

// The last of a console's lines, and how many there were.
struct ConsoleOutput
{
    nlohmann::ordered_json last;
    unsigned int lines = 0;
};

ConsoleOutput outputOf(Process & console);

} // namespace test
