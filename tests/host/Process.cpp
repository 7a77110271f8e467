#include "tests/host/Process.h"

#include <arpa/inet.h>
#include <grp.h>
#include <linux/capability.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <thread>

namespace test {

namespace {

// Nothing that is waited for takes that long, on however slow a machine.
constexpr int patience = 120000; // milliseconds

std::chrono::steady_clock::time_point deadline()
{
    return std::chrono::steady_clock::now() + std::chrono::milliseconds(patience);
}

bool readable(int handle)
{
    pollfd poller{handle, POLLIN, 0};
    return poll(&poller, 1, patience) == 1;
}

} // namespace

namespace {

// Nobody, with CAP_NET_RAW and nothing else in any set. The program that is started keeps it.
bool keepOnlyCapture()
{
    constexpr unsigned int nobody = 65534;
    for (unsigned long capability = 0; prctl(PR_CAPBSET_READ, capability, 0, 0, 0) >= 0; ++capability)
        if (capability != CAP_NET_RAW && prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0)
            return false;
    if (prctl(PR_SET_KEEPCAPS, 1, 0, 0, 0) != 0 || setgroups(0, nullptr) != 0 || setgid(nobody) != 0 ||
        setuid(nobody) != 0)
        return false;
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    constexpr unsigned int only = 1U << CAP_NET_RAW;
    __user_cap_data_struct const sets[2] = {{only, only, only}, {0, 0, 0}};
    return syscall(SYS_capset, &header, sets) == 0 &&
           prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_NET_RAW, 0, 0) == 0;
}

} // namespace

Process::Process(std::vector<std::string> const & arguments, Rights rights, std::string const & errorPath)
    : m_errors("")
{
    std::vector<char *> argv{const_cast<char *>(KETMON_PROGRAM)};
    for (std::string const & argument : arguments)
        argv.push_back(const_cast<char *>(argument.c_str()));
    argv.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    m_id = fork();
    if (m_id == 0) {
        int const errors =
            open((errorPath.empty() ? m_errors.path() : errorPath).c_str(), O_WRONLY | O_APPEND);
        int const nothing = open("/dev/null", O_RDONLY);
        if (dup2(nothing, STDIN_FILENO) < 0 || dup2(ends[1], STDOUT_FILENO) < 0 ||
            dup2(errors, STDERR_FILENO) < 0)
            _exit(127);
        constexpr unsigned int nobody = 65534;
        if (rights == noRights && getuid() == 0 && (setgid(nobody) != 0 || setuid(nobody) != 0))
            _exit(127);
        if (rights == captureRight && !keepOnlyCapture())
            _exit(127);
        execv(KETMON_PROGRAM, argv.data());
        _exit(127);
    }
    close(ends[1]);
    m_output = ends[0];
    if (m_id < 0)
        throw std::runtime_error("can't start ketmon");
}

Process::~Process()
{
    if (m_id > 0) {
        kill(m_id, SIGKILL);
        waitpid(m_id, nullptr, 0);
    }
    closeOutput();
}

void Process::closeOutput()
{
    if (m_output >= 0)
        close(m_output);
    m_output = -1;
}

bool Process::fill()
{
    char block[65536];
    if (!readable(m_output))
        throw std::runtime_error("ketmon is silent: " + errors());
    ssize_t const count = read(m_output, block, sizeof block);
    if (count > 0)
        m_read.append(block, static_cast<std::size_t>(count));
    return count > 0;
}

std::string Process::line()
{
    std::size_t end = m_read.find('\n');
    while (end == m_read.npos) {
        std::size_t const searched = m_read.size();
        if (!fill())
            return {};
        end = m_read.find('\n', searched);
    }
    std::string const taken = m_read.substr(0, end);
    m_read.erase(0, end + 1);
    return taken;
}

int Process::wait()
{
    int status = 0;
    for (auto const end = deadline(); waitpid(m_id, &status, WNOHANG) == 0;) {
        if (std::chrono::steady_clock::now() > end) {
            kill(m_id, SIGKILL);
            waitpid(m_id, &status, 0);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    m_id = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void Process::signal(int number) const
{
    kill(m_id, number);
}

std::size_t Process::memory() const
{
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/" + std::to_string(m_id) + "/statm") >> all >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) >> 20;
}

bool Process::waitForError(std::string const & text) const
{
    for (auto const end = deadline(); errors().find(text) == std::string::npos;) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

namespace {

std::vector<std::string> agentArguments(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "agent");
    if (std::find(arguments.begin(), arguments.end(), "--listen") == arguments.end())
        arguments.insert(arguments.end(), {"--listen", "127.0.0.1:0"});
    return arguments;
}

} // namespace

Agent::Agent(std::vector<std::string> arguments, std::string const & errors, Process::Rights rights)
    : m_process(agentArguments(std::move(arguments)), rights, errors)
{
    std::string const line = m_process.line();
    std::string const start = "listening on ";
    if (line.rfind(start, 0) != 0)
        throw std::runtime_error("no agent: " + line + m_process.errors());
    m_address = line.substr(start.size());
}

unsigned short Agent::port() const
{
    return static_cast<unsigned short>(std::stoi(m_address.substr(m_address.rfind(':') + 1)));
}

RawClient::RawClient(Agent const & agent, int receiveBuffer)
    : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    if (receiveBuffer > 0)
        setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(agent.port());
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
        throw std::runtime_error("can't connect");
}

RawClient::~RawClient()
{
    close(m_socket);
}

void RawClient::send(std::string const & bytes) const
{
    // The agent may have hung up already, which is its good right.
    static_cast<void>(::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL));
}

std::string RawClient::receive() const
{
    char block[4096];
    if (!readable(m_socket))
        throw std::runtime_error("the agent is silent");
    ssize_t const count = recv(m_socket, block, sizeof block, 0);
    return count <= 0 ? std::string() : std::string(block, static_cast<std::size_t>(count));
}

std::string RawClient::receiveAll() const
{
    std::string all;
    for (std::string more = receive(); !more.empty(); more = receive())
        all += more;
    return all;
}

RawAgent::RawAgent(std::vector<std::string> connections)
    : m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(m_listener, 1) != 0)
        throw std::runtime_error("can't listen");
    m_thread = std::thread([this, connections = std::move(connections)] {
        for (std::string const & bytes : connections)
            if (readable(m_listener))
                serve(bytes);
    });
}

void RawAgent::serve(std::string const & bytes)
{
    int const peer = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
    for (std::size_t sent = 0; sent < bytes.size();) {
        ssize_t const count = ::send(peer, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            break;
        sent += static_cast<std::size_t>(count);
    }
    ::shutdown(peer, SHUT_WR);
    char block[4096];
    for (ssize_t count = 1; count > 0 && readable(peer);) {
        count = recv(peer, block, sizeof block, 0);
        if (count > 0)
            m_heard.append(block, static_cast<std::size_t>(count));
    }
    close(peer);
}

RawAgent::~RawAgent()
{
    if (m_thread.joinable())
        m_thread.join();
    close(m_listener);
}

std::string RawAgent::address() const
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size);
    return "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

std::string RawAgent::heard()
{
    m_thread.join();
    return m_heard;
}

ConsoleOutput outputOf(Process & console)
{
    ConsoleOutput output;
    for (std::string line = console.line(); !line.empty(); line = console.line()) {
        output.last = nlohmann::ordered_json::parse(line);
        ++output.lines;
    }
    return output;
}

} // namespace test
